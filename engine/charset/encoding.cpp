#include "engine/charset/encoding.h"

#include <algorithm>
#include <array>
#include <string>

namespace trfilter {
namespace {

using enum Encoding::Kind;

constexpr std::uint32_t unnumbered = 0;

constexpr std::array table{
    Encoding{53, utf8, "UTF-8", "UTF-8",
             " utf-8 utf8 unicode-1-1-utf-8 unicode11utf8 unicode20utf8 x-unicode20utf8 cp65001 "},
    Encoding{unnumbered, utf16_little, "UTF-16LE", "UTF-16LE",
             " utf-16 utf-16le utf16 utf16le unicode unicodefeff ucs-2 iso-10646-ucs-2 csunicode "
             "cp1200 "},
    Encoding{unnumbered, utf16_big, "UTF-16BE", "UTF-16BE",
             " utf-16be utf16be unicodefffe cp1201 "},
    Encoding{unnumbered, utf32_little, "UTF-32LE", "UTF-32LE",
             " utf-32 utf-32le utf32 utf32le ucs-4 iso-10646-ucs-4 cp12000 "},
    Encoding{unnumbered, utf32_big, "UTF-32BE", "UTF-32BE", " utf-32be utf32be cp12001 "},

    Encoding{
        unnumbered, single_byte, "windows-1252", "windows-1252",
        " windows-1252 cp1252 x-cp1252 iso-8859-1 iso8859-1 iso_8859-1 iso_8859-1:1987 iso88591 "
        "latin1 latin-1 l1 csisolatin1 ibm819 cp819 iso-ir-100 ascii us-ascii ansi_x3.4-1968 us "
        "iso646-us ansi "},
    Encoding{unnumbered, single_byte, "windows-1250", "windows-1250",
             " windows-1250 cp1250 x-cp1250 "},
    Encoding{unnumbered, single_byte, "windows-1251", "windows-1251",
             " windows-1251 cp1251 x-cp1251 win-1251 "},
    Encoding{unnumbered, single_byte, "windows-1253", "windows-1253",
             " windows-1253 cp1253 x-cp1253 "},
    Encoding{
        unnumbered, single_byte, "windows-1254", "windows-1254",
        " windows-1254 cp1254 x-cp1254 iso-8859-9 iso8859-9 iso_8859-9 iso_8859-9:1989 iso88599 "
        "latin5 l5 csisolatin5 iso-ir-148 "},
    Encoding{unnumbered, single_byte, "windows-1255", "windows-1255",
             " windows-1255 cp1255 x-cp1255 "},
    Encoding{unnumbered, single_byte, "windows-1256", "windows-1256",
             " windows-1256 cp1256 x-cp1256 "},
    Encoding{unnumbered, single_byte, "windows-1257", "windows-1257",
             " windows-1257 cp1257 x-cp1257 "},
    Encoding{unnumbered, single_byte, "windows-1258", "windows-1258",
             " windows-1258 cp1258 x-cp1258 "},
    Encoding{unnumbered, single_byte, "windows-874", "windows-874-2000",
             " windows-874 cp874 dos-874 tis-620 tis620 iso-8859-11 iso8859-11 iso885911 "},

    Encoding{unnumbered, single_byte, "ISO-8859-2", "ISO-8859-2",
             " iso-8859-2 iso8859-2 iso_8859-2 iso_8859-2:1987 iso88592 latin2 l2 csisolatin2 "
             "iso-ir-101 "},
    Encoding{unnumbered, single_byte, "ISO-8859-3", "ISO-8859-3",
             " iso-8859-3 iso8859-3 iso_8859-3 iso_8859-3:1988 iso88593 latin3 l3 csisolatin3 "
             "iso-ir-109 "},
    Encoding{unnumbered, single_byte, "ISO-8859-4", "ISO-8859-4",
             " iso-8859-4 iso8859-4 iso_8859-4 iso_8859-4:1988 iso88594 latin4 l4 csisolatin4 "
             "iso-ir-110 "},
    Encoding{
        unnumbered, single_byte, "ISO-8859-5", "ISO-8859-5",
        " iso-8859-5 iso8859-5 iso_8859-5 iso_8859-5:1988 iso88595 cyrillic csisolatincyrillic "
        "iso-ir-144 "},
    Encoding{unnumbered, single_byte, "ISO-8859-6", "ISO-8859-6",
             " iso-8859-6 iso-8859-6-e iso-8859-6-i iso8859-6 iso_8859-6 iso_8859-6:1987 iso88596 "
             "arabic "
             "asmo-708 ecma-114 csisolatinarabic iso-ir-127 "},
    Encoding{
        unnumbered, single_byte, "ISO-8859-7", "ISO-8859-7",
        " iso-8859-7 iso8859-7 iso_8859-7 iso_8859-7:1987 iso88597 greek greek8 ecma-118 elot_928 "
        "sun_eu_greek csisolatingreek iso-ir-126 "},
    Encoding{unnumbered, single_byte, "ISO-8859-8", "ISO-8859-8",
             " iso-8859-8 iso-8859-8-e iso-8859-8-i iso8859-8 iso_8859-8 iso_8859-8:1988 iso88598 "
             "hebrew "
             "logical visual csisolatinhebrew iso-ir-138 "},
    Encoding{unnumbered, single_byte, "ISO-8859-10", "iso-8859_10-1998",
             " iso-8859-10 iso8859-10 iso885910 latin6 l6 csisolatin6 iso-ir-157 "},
    Encoding{unnumbered, single_byte, "ISO-8859-13", "ISO-8859-13",
             " iso-8859-13 iso8859-13 iso885913 latin7 "},
    Encoding{unnumbered, single_byte, "ISO-8859-14", "iso-8859_14-1998",
             " iso-8859-14 iso8859-14 iso885914 latin8 l8 "},
    Encoding{unnumbered, single_byte, "ISO-8859-15", "ISO-8859-15",
             " iso-8859-15 iso8859-15 iso_8859-15 iso885915 latin9 latin-9 l9 csisolatin9 "},

    Encoding{unnumbered, single_byte, "KOI8-R", "KOI8-R", " koi8-r koi8_r koi8 koi cskoi8r "},
    Encoding{unnumbered, single_byte, "KOI8-U", "KOI8-U", " koi8-u koi8-ru "},
    Encoding{unnumbered, single_byte, "IBM437", "ibm-437", " ibm437 cp437 437 cspc8codepage437 "},
    Encoding{unnumbered, single_byte, "IBM737", "ibm-737", " ibm737 cp737 737 "},
    Encoding{unnumbered, single_byte, "IBM775", "ibm-775", " ibm775 cp775 775 "},
    Encoding{unnumbered, single_byte, "IBM850", "ibm-850", " ibm850 cp850 850 ibm858 cp858 "},
    Encoding{unnumbered, single_byte, "IBM852", "ibm-852", " ibm852 cp852 852 cspcp852 "},
    Encoding{unnumbered, single_byte, "IBM855", "ibm-855", " ibm855 cp855 855 "},
    Encoding{unnumbered, single_byte, "IBM857", "ibm-857", " ibm857 cp857 857 "},
    Encoding{unnumbered, single_byte, "IBM862", "ibm-862", " ibm862 cp862 862 dos-862 "},
    Encoding{unnumbered, single_byte, "IBM866", "ibm-866",
             " ibm866 cp866 866 csibm866 dos-866 windows-866 "},
    Encoding{unnumbered, single_byte, "macintosh", "macintosh",
             " macintosh mac x-mac-roman macroman csmacintosh "},
    Encoding{unnumbered, single_byte, "x-mac-cyrillic", "x-mac-cyrillic",
             " x-mac-cyrillic x-mac-ukrainian mac-cyrillic "},
    Encoding{unnumbered, single_byte, "x-mac-centraleurroman", "x-mac-centraleurroman",
             " x-mac-ce x-mac-centraleurroman mac-centraleurope "},
    Encoding{unnumbered, single_byte, "x-mac-greek", "x-mac-greek", " x-mac-greek mac-greek "},
    Encoding{unnumbered, single_byte, "x-mac-turkish", "x-mac-turkish",
             " x-mac-turkish mac-turkish "},
    Encoding{unnumbered, single_byte, "IBM1129", "ibm-1129", " ibm1129 cp1129 "},

    Encoding{unnumbered, multi_byte, "Shift_JIS", "ibm-943_P15A-2003",
             " shift_jis shift-jis sjis x-sjis ms_kanji ms932 windows-31j csshiftjis cp932 "},
    Encoding{unnumbered, multi_byte, "EUC-JP", "euc-jp-2007",
             " euc-jp eucjp x-euc-jp cseucpkdfmtjapanese euc_jp "},
    Encoding{unnumbered, stateful, "ISO-2022-JP", "ISO-2022-JP-2",
             " iso-2022-jp iso-2022-jp-1 iso-2022-jp-2 csiso2022jp csiso2022jp2 "},
    Encoding{unnumbered, multi_byte, "GB18030", "gb18030",
             " gb18030 gbk gb2312 gb_2312 gb_2312-80 x-gbk chinese csgb2312 csiso58gb231280 euc-cn "
             "euccn "
             "iso-ir-58 cp936 windows-936 ms936 "},
    Encoding{unnumbered, stateful, "HZ-GB-2312", "HZ", " hz-gb-2312 hz "},
    Encoding{unnumbered, stateful, "ISO-2022-CN", "ISO-2022-CN-EXT",
             " iso-2022-cn iso-2022-cn-ext "},
    Encoding{unnumbered, multi_byte, "Big5", "windows-950-2000",
             " big5 big-5 cn-big5 csbig5 x-x-big5 cp950 windows-950 ms950 "},
    Encoding{unnumbered, multi_byte, "Big5-HKSCS", "ibm-1375", " big5-hkscs big5hkscs big5-hk "},
    Encoding{unnumbered, multi_byte, "EUC-TW", "EUC-TW", " euc-tw euctw "},
    Encoding{unnumbered, multi_byte, "EUC-KR", "windows-949-2000",
             " euc-kr euckr cseuckr korean ks_c_5601-1987 ks_c_5601-1989 ksc5601 ksc_5601 "
             "csksc56011987 iso-ir-149 windows-949 cp949 uhc ms949 "},
    Encoding{unnumbered, stateful, "ISO-2022-KR", "ISO-2022-KR", " iso-2022-kr csiso2022kr "},

    Encoding{unnumbered, ebcdic, "IBM037", "ibm-37",
             " ibm037 cp037 ebcdic-cp-us ebcdic-cp-ca ebcdic-cp-nl csibm037 "},
    Encoding{unnumbered, ebcdic, "IBM500", "ibm-500",
             " ibm500 cp500 ebcdic-cp-be ebcdic-cp-ch csibm500 "},
    Encoding{unnumbered, ebcdic, "IBM1047", "ibm-1047", " ibm1047 ibm-1047 cp1047 "},
};

constexpr std::size_t longest_label = 40;

std::string_view without_blanks(std::string_view text) {
  constexpr std::string_view blanks = " \t\r\n\f\"'";
  const std::size_t begin = text.find_first_not_of(blanks);
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

const Encoding& encoding_of_kind(Encoding::Kind kind) {
  return *std::ranges::find(table, kind, &Encoding::kind);
}

}  // namespace

std::span<const Encoding> encodings() {
  return table;
}

const Encoding* encoding_of_number(std::uint32_t number) {
  if (number == unnumbered) return nullptr;
  const auto found = std::ranges::find(table, number, &Encoding::number);
  return found == table.end() ? nullptr : &*found;
}

const Encoding* encoding_of_label(std::string_view label) {
  label = without_blanks(label);
  if (label.empty() || label.size() > longest_label || label.find(' ') != std::string_view::npos) {
    return nullptr;
  }
  std::string wanted = " ";
  for (const char c : label) {
    wanted.push_back(c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c);
  }
  wanted.push_back(' ');
  const auto found = std::ranges::find_if(table, [&](const Encoding& encoding) {
    return encoding.labels.find(wanted) != std::string_view::npos;
  });
  return found == table.end() ? nullptr : &*found;
}

const Encoding* encoding_of_code_page(std::uint32_t number) {
  struct Name {
    std::uint32_t number;
    std::string_view label;
  };
  // Those without a label of the form cp1252.
  static constexpr auto names = std::to_array<Name>({
      {367, "us-ascii"},
      {10'000, "macintosh"},
      {10'001, "shift_jis"},
      {10'002, "big5"},
      {10'003, "euc-kr"},
      {10'006, "x-mac-greek"},
      {10'007, "x-mac-cyrillic"},
      {10'008, "gb2312"},
      {10'029, "x-mac-ce"},
      {10'081, "x-mac-turkish"},
      {65'001, "utf-8"},
  });
  const auto found = std::ranges::find(names, number, &Name::number);
  if (found != names.end()) return encoding_of_label(found->label);
  return encoding_of_label("cp" + std::to_string(number));
}

const Encoding& utf8_encoding() {
  return encoding_of_kind(utf8);
}
const Encoding& windows_1252_encoding() {
  return encoding_of_kind(single_byte);
}

ByteOrderMark byte_order_mark_of(std::string_view head) {
  using namespace std::string_view_literals;
  if (head.starts_with("\xEF\xBB\xBF"sv)) return {&encoding_of_kind(utf8), 3};
  if (head.starts_with("\xFF\xFE\0\0"sv)) return {&encoding_of_kind(utf32_little), 4};
  if (head.starts_with("\0\0\xFE\xFF"sv)) return {&encoding_of_kind(utf32_big), 4};
  if (head.starts_with("\xFF\xFE"sv)) return {&encoding_of_kind(utf16_little), 2};
  if (head.starts_with("\xFE\xFF"sv)) return {&encoding_of_kind(utf16_big), 2};
  if (head.starts_with("\x84\x31\x95\x33"sv)) return {encoding_of_label("gb18030"), 4};
  return {};
}

}  // namespace trfilter
