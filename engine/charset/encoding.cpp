#include "engine/charset/encoding.h"

#include <algorithm>
#include <array>
#include <string>

#include "api/engine_abi.h"

namespace trfilter {
namespace {

using enum Encoding::Kind;

/// The number that hosts have for a set; a name that the table of numbers lacks does not compile.
consteval std::uint32_t number_of(std::string_view wanted) {
#define NUMBER_OF(number, identifier, name) \
  if (wanted.compare(name) == 0) return (number);
  TR_CHARACTER_SETS(NUMBER_OF)
#undef NUMBER_OF
  throw "hosts have no number for this set";
}

consteval Encoding set(Encoding::Kind kind, const char* name, const char* converter,
                       std::string_view labels, const char* writer = nullptr,
                       std::u16string_view upper_half = {}) {
  return {number_of(name), kind, name, converter, labels, writer, upper_half};
}

// ISO/IEC 8859-16 from 0xA0 on; ICU has no table of it.
constexpr std::u16string_view iso_8859_16 =
    u"\u00A0\u0104\u0105\u0141\u20AC\u201E\u0160\u00A7\u0161\u00A9\u0218\u00AB\u0179\u00AD\u017A"
    u"\u017B"
    u"\u00B0\u00B1\u010C\u0142\u017D\u201D\u00B6\u00B7\u017E\u010D\u0219\u00BB\u0152\u0153\u0178"
    u"\u017C"
    u"\u00C0\u00C1\u00C2\u0102\u00C4\u0106\u00C6\u00C7\u00C8\u00C9\u00CA\u00CB\u00CC\u00CD\u00CE"
    u"\u00CF"
    u"\u0110\u0143\u00D2\u00D3\u00D4\u0150\u00D6\u015A\u0170\u00D9\u00DA\u00DB\u00DC\u0118\u021A"
    u"\u00DF"
    u"\u00E0\u00E1\u00E2\u0103\u00E4\u0107\u00E6\u00E7\u00E8\u00E9\u00EA\u00EB\u00EC\u00ED\u00EE"
    u"\u00EF"
    u"\u0111\u0144\u00F2\u00F3\u00F4\u0151\u00F6\u015B\u0171\u00F9\u00FA\u00FB\u00FC\u0119\u021B"
    u"\u00FF";

constexpr std::array table{
    set(utf8, "UTF-8", "UTF-8",
        " utf-8 utf8 unicode-1-1-utf-8 unicode11utf8 unicode20utf8 x-unicode20utf8 cp65001 "),
    set(utf16_little, "UTF-16LE", "UTF-16LE",
        " utf-16 utf-16le utf16 utf16le unicode unicodefeff ucs-2 iso-10646-ucs-2 csunicode "
        "cp1200 "),
    set(utf16_big, "UTF-16BE", "UTF-16BE", " utf-16be utf16be unicodefffe cp1201 "),
    set(utf32_little, "UTF-32LE", "UTF-32LE",
        " utf-32 utf-32le utf32 utf32le ucs-4 iso-10646-ucs-4 cp12000 "),
    set(utf32_big, "UTF-32BE", "UTF-32BE", " utf-32be utf32be cp12001 "),
    set(single_byte, "windows-1252", "windows-1252",
        " windows-1252 cp1252 x-cp1252 iso-8859-1 iso8859-1 iso_8859-1 iso_8859-1:1987 iso88591 "
        "latin1 latin-1 l1 csisolatin1 ibm819 cp819 iso-ir-100 ascii us-ascii ansi_x3.4-1968 us "
        "iso646-us ansi cp28591 cp367 cp20127 "),
    set(single_byte, "windows-1250", "windows-1250", " windows-1250 cp1250 x-cp1250 "),
    set(single_byte, "windows-1251", "windows-1251", " windows-1251 cp1251 x-cp1251 win-1251 "),
    set(single_byte, "windows-1253", "windows-1253", " windows-1253 cp1253 x-cp1253 "),
    set(single_byte, "windows-1254", "windows-1254",
        " windows-1254 cp1254 x-cp1254 iso-8859-9 iso8859-9 iso_8859-9 iso_8859-9:1989 iso88599 "
        "latin5 l5 csisolatin5 iso-ir-148 cp28599 "),
    set(single_byte, "windows-1255", "windows-1255", " windows-1255 cp1255 x-cp1255 "),
    set(single_byte, "windows-1256", "windows-1256", " windows-1256 cp1256 x-cp1256 "),
    set(single_byte, "windows-1257", "windows-1257", " windows-1257 cp1257 x-cp1257 "),
    set(single_byte, "windows-1258", "windows-1258", " windows-1258 cp1258 x-cp1258 "),
    set(single_byte, "windows-874", "windows-874-2000",
        " windows-874 cp874 dos-874 tis-620 tis620 iso-8859-11 iso8859-11 iso885911 "),
    set(single_byte, "ISO-8859-2", "ISO-8859-2",
        " iso-8859-2 iso8859-2 iso_8859-2 iso_8859-2:1987 iso88592 latin2 l2 csisolatin2 "
        "iso-ir-101 cp28592 "),
    set(single_byte, "ISO-8859-3", "ISO-8859-3",
        " iso-8859-3 iso8859-3 iso_8859-3 iso_8859-3:1988 iso88593 latin3 l3 csisolatin3 "
        "iso-ir-109 cp28593 "),
    set(single_byte, "ISO-8859-4", "ISO-8859-4",
        " iso-8859-4 iso8859-4 iso_8859-4 iso_8859-4:1988 iso88594 latin4 l4 csisolatin4 "
        "iso-ir-110 cp28594 "),
    set(single_byte, "ISO-8859-5", "ISO-8859-5",
        " iso-8859-5 iso8859-5 iso_8859-5 iso_8859-5:1988 iso88595 cyrillic csisolatincyrillic "
        "iso-ir-144 cp28595 "),
    set(single_byte, "ISO-8859-6", "ISO-8859-6",
        " iso-8859-6 iso-8859-6-e iso-8859-6-i iso8859-6 iso_8859-6 iso_8859-6:1987 iso88596 "
        "arabic asmo-708 ecma-114 csisolatinarabic iso-ir-127 cp708 cp28596 "),
    set(single_byte, "ISO-8859-7", "ISO-8859-7",
        " iso-8859-7 iso8859-7 iso_8859-7 iso_8859-7:1987 iso88597 greek greek8 ecma-118 elot_928 "
        "sun_eu_greek csisolatingreek iso-ir-126 cp28597 "),
    set(single_byte, "ISO-8859-8", "ISO-8859-8",
        " iso-8859-8 iso-8859-8-e iso-8859-8-i iso8859-8 iso_8859-8 iso_8859-8:1988 iso88598 "
        "hebrew logical visual csisolatinhebrew iso-ir-138 cp28598 cp38598 "),
    set(single_byte, "ISO-8859-10", "iso-8859_10-1998",
        " iso-8859-10 iso8859-10 iso885910 latin6 l6 csisolatin6 iso-ir-157 "),
    set(single_byte, "ISO-8859-13", "ISO-8859-13",
        " iso-8859-13 iso8859-13 iso885913 latin7 cp28603 "),
    set(single_byte, "ISO-8859-14", "iso-8859_14-1998",
        " iso-8859-14 iso8859-14 iso885914 latin8 l8 "),
    set(single_byte, "ISO-8859-15", "ISO-8859-15",
        " iso-8859-15 iso8859-15 iso_8859-15 iso885915 latin9 latin-9 l9 csisolatin9 cp28605 "),
    set(single_byte, "ISO-8859-16", "ISO-8859-1",
        " iso-8859-16 iso8859-16 iso_8859-16 iso885916 latin10 l10 csiso885916 iso-ir-226 cp28606 ",
        nullptr, iso_8859_16),
    set(single_byte, "KOI8-R", "KOI8-R", " koi8-r koi8_r koi8 koi cskoi8r cp20866 "),
    set(single_byte, "KOI8-U", "KOI8-U", " koi8-u koi8-ru cp21866 "),
    set(single_byte, "IBM437", "ibm-437", " ibm437 cp437 437 cspc8codepage437 "),
    set(single_byte, "IBM720", "ibm-720", " ibm720 cp720 720 dos-720 "),
    set(single_byte, "IBM737", "ibm-737", " ibm737 cp737 737 "),
    set(single_byte, "IBM775", "ibm-775", " ibm775 cp775 775 "),
    set(single_byte, "IBM850", "ibm-850", " ibm850 cp850 850 "),
    set(single_byte, "IBM852", "ibm-852", " ibm852 cp852 852 cspcp852 "),
    set(single_byte, "IBM855", "ibm-855", " ibm855 cp855 855 "),
    set(single_byte, "IBM856", "ibm-856", " ibm856 cp856 856 "),
    set(single_byte, "IBM857", "ibm-857", " ibm857 cp857 857 "),
    set(single_byte, "IBM00858", "ibm-858", " ibm00858 ibm858 cp858 858 ccsid00858 cp00858 "),
    set(single_byte, "IBM860", "ibm-860", " ibm860 cp860 860 csibm860 "),
    set(single_byte, "IBM861", "ibm-861", " ibm861 cp861 861 cp-is csibm861 "),
    set(single_byte, "IBM862", "ibm-862", " ibm862 cp862 862 dos-862 "),
    set(single_byte, "IBM863", "ibm-863", " ibm863 cp863 863 csibm863 "),
    set(single_byte, "IBM864", "ibm-864", " ibm864 cp864 864 csibm864 "),
    set(single_byte, "IBM865", "ibm-865", " ibm865 cp865 865 csibm865 "),
    set(single_byte, "IBM866", "ibm-866", " ibm866 cp866 866 csibm866 dos-866 windows-866 "),
    set(single_byte, "IBM868", "ibm-868", " ibm868 cp868 868 cp-ar csibm868 "),
    set(single_byte, "IBM869", "ibm-869", " ibm869 cp869 869 cp-gr csibm869 "),
    set(single_byte, "macintosh", "macintosh",
        " macintosh mac x-mac-roman macroman csmacintosh cp10000 "),
    set(single_byte, "x-mac-cyrillic", "x-mac-cyrillic",
        " x-mac-cyrillic x-mac-ukrainian mac-cyrillic cp10007 "),
    set(single_byte, "x-mac-centraleurroman", "x-mac-centraleurroman",
        " x-mac-ce x-mac-centraleurroman mac-centraleurope cp10029 "),
    set(single_byte, "x-mac-greek", "x-mac-greek", " x-mac-greek mac-greek cp10006 "),
    set(single_byte, "x-mac-turkish", "x-mac-turkish", " x-mac-turkish mac-turkish cp10081 "),
    set(single_byte, "IBM1129", "ibm-1129", " ibm1129 cp1129 "),
    set(multi_byte, "Shift_JIS", "ibm-943_P15A-2003",
        " shift_jis shift-jis sjis x-sjis ms_kanji ms932 windows-31j csshiftjis cp932 cp10001 "),
    set(multi_byte, "EUC-JP", "euc-jp-2007",
        " euc-jp eucjp x-euc-jp cseucpkdfmtjapanese euc_jp cp20932 cp51932 "),
    set(stateful, "ISO-2022-JP", "ISO-2022-JP-2",
        " iso-2022-jp iso-2022-jp-1 iso-2022-jp-2 csiso2022jp csiso2022jp2 cp50220 cp50221 "
        "cp50222 ",
        "ISO-2022-JP"),
    set(multi_byte, "GB18030", "gb18030",
        " gb18030 gbk gb2312 gb_2312 gb_2312-80 x-gbk chinese csgb2312 csiso58gb231280 euc-cn "
        "euccn iso-ir-58 cp936 windows-936 ms936 cp10008 cp51936 cp54936 cp20936 "),
    set(stateful, "HZ-GB-2312", "HZ", " hz-gb-2312 hz cp52936 "),
    set(stateful, "ISO-2022-CN", "ISO-2022-CN-EXT", " iso-2022-cn iso-2022-cn-ext cp50227 ",
        "ISO-2022-CN"),
    set(multi_byte, "Big5", "windows-950-2000",
        " big5 big-5 cn-big5 csbig5 x-x-big5 cp950 windows-950 ms950 cp10002 "),
    set(multi_byte, "Big5-HKSCS", "ibm-1375", " big5-hkscs big5hkscs big5-hk "),
    set(multi_byte, "EUC-TW", "EUC-TW", " euc-tw euctw cp51950 "),
    set(multi_byte, "EUC-KR", "windows-949-2000",
        " euc-kr euckr cseuckr korean ks_c_5601-1987 ks_c_5601-1989 ksc5601 ksc_5601 csksc56011987 "
        "iso-ir-149 windows-949 cp949 uhc ms949 cp10003 cp51949 cp20949 "),
    set(stateful, "ISO-2022-KR", "ISO-2022-KR", " iso-2022-kr csiso2022kr cp50225 "),
    set(ebcdic, "IBM037", "ibm-37",
        " ibm037 cp037 ebcdic-cp-us ebcdic-cp-ca ebcdic-cp-nl csibm037 037 cp37 ibm-037 "),
    set(ebcdic, "IBM500", "ibm-500", " ibm500 cp500 ebcdic-cp-be ebcdic-cp-ch csibm500 500 "),
    set(ebcdic, "IBM1047", "ibm-1047", " ibm1047 ibm-1047 cp1047 1047 ibm01047 "),
    set(ebcdic, "IBM273", "ibm-273", " ibm273 cp273 273 csibm273 "),
    set(ebcdic, "IBM277", "ibm-277", " ibm277 cp277 277 ebcdic-cp-dk ebcdic-cp-no csibm277 "),
    set(ebcdic, "IBM278", "ibm-278", " ibm278 cp278 278 ebcdic-cp-fi ebcdic-cp-se csibm278 "),
    set(ebcdic, "IBM280", "ibm-280", " ibm280 cp280 280 ebcdic-cp-it csibm280 "),
    set(ebcdic, "IBM284", "ibm-284", " ibm284 cp284 284 ebcdic-cp-es csibm284 "),
    set(ebcdic, "IBM285", "ibm-285", " ibm285 cp285 285 ebcdic-cp-gb csibm285 "),
    set(ebcdic, "IBM297", "ibm-297", " ibm297 cp297 297 ebcdic-cp-fr csibm297 "),
    set(ebcdic, "IBM420", "ibm-420", " ibm420 cp420 420 ebcdic-cp-ar1 csibm420 "),
    set(ebcdic, "IBM424", "ibm-424", " ibm424 cp424 424 ebcdic-cp-he csibm424 "),
    set(ebcdic, "IBM870", "ibm-870", " ibm870 cp870 870 ebcdic-cp-roece ebcdic-cp-yu csibm870 "),
    set(ebcdic, "IBM871", "ibm-871", " ibm871 cp871 871 ebcdic-cp-is csibm871 "),
    set(ebcdic, "IBM875", "ibm-875", " ibm875 cp875 875 "),
    set(ebcdic, "IBM1025", "ibm-1025", " ibm1025 cp1025 1025 "),
    set(ebcdic, "IBM1026", "ibm-1026", " ibm1026 cp1026 1026 csibm1026 "),
    set(ebcdic, "IBM01140", "ibm-1140", " ibm01140 ibm1140 cp1140 cp01140 ccsid01140 1140 "),
    set(ebcdic, "IBM01141", "ibm-1141", " ibm01141 ibm1141 cp1141 cp01141 ccsid01141 1141 "),
    set(ebcdic, "IBM01142", "ibm-1142", " ibm01142 ibm1142 cp1142 cp01142 ccsid01142 1142 "),
    set(ebcdic, "IBM01143", "ibm-1143", " ibm01143 ibm1143 cp1143 cp01143 ccsid01143 1143 "),
    set(ebcdic, "IBM01144", "ibm-1144", " ibm01144 ibm1144 cp1144 cp01144 ccsid01144 1144 "),
    set(ebcdic, "IBM01145", "ibm-1145", " ibm01145 ibm1145 cp1145 cp01145 ccsid01145 1145 "),
    set(ebcdic, "IBM01146", "ibm-1146", " ibm01146 ibm1146 cp1146 cp01146 ccsid01146 1146 "),
    set(ebcdic, "IBM01147", "ibm-1147", " ibm01147 ibm1147 cp1147 cp01147 ccsid01147 1147 "),
    set(ebcdic, "IBM01148", "ibm-1148", " ibm01148 ibm1148 cp1148 cp01148 ccsid01148 1148 "),
    set(ebcdic, "IBM01149", "ibm-1149", " ibm01149 ibm1149 cp1149 cp01149 ccsid01149 1149 "),

    // Documents that name these are read as their supersets above; hosts get them as they are.
    set(single_byte, "US-ASCII", "US-ASCII", ""),
    set(single_byte, "ISO-8859-1", "ISO-8859-1", ""),
    set(single_byte, "ISO-8859-9", "ISO-8859-9", ""),
    set(single_byte, "ISO-8859-11", "iso-8859_11-2001", ""),
    set(single_byte, "TIS-620", "iso-8859_11-2001", ""),
    set(multi_byte, "GBK", "windows-936-2000", ""),
    set(multi_byte, "Windows-31J", "ibm-943_P15A-2003", ""),
    set(multi_byte, "windows-949", "windows-949-2000", ""),
    set(multi_byte, "windows-950", "windows-950-2000", ""),
    set(stateful, "UTF-7", "UTF-7", ""),
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
  if (number == TR_CHARACTER_SET_AUTOMATIC) return nullptr;
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
