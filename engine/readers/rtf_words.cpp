#include "engine/readers/rtf_words.h"

#include <array>

#include "engine/core/property_names.h"

namespace trfilter::rtf {
namespace {

struct Row {
  std::string_view name;
  Word word;
};

// The words that matter to the text, in the order of their characters' codes.
constexpr auto rows = std::to_array<Row>({
    {"aftncn", {Action::skipped, 0}},
    {"aftnsep", {Action::skipped, 0}},
    {"aftnsepc", {Action::skipped, 0}},
    {"annotation", {Action::annotation, 0}},
    {"ansi", {Action::code_page, 1252}},
    {"ansicpg", {Action::code_page_number, 0}},
    {"atnauthor", {Action::annotation_author, 0}},
    {"atndate", {Action::skipped, 0}},
    {"atnicn", {Action::skipped, 0}},
    {"atnid", {Action::skipped, 0}},
    {"atnparent", {Action::skipped, 0}},
    {"atnref", {Action::skipped, 0}},
    {"atntime", {Action::skipped, 0}},
    {"atrfend", {Action::skipped, 0}},
    {"atrfstart", {Action::skipped, 0}},
    {"author", {Action::information_text, 2}},
    {"background", {Action::skipped, 0}},
    {"bin", {Action::binary, 0}},
    {"bkmkend", {Action::skipped, 0}},
    {"bkmkstart", {Action::skipped, 0}},
    {"blipuid", {Action::skipped, 0}},
    {"bullet", {Action::character, 0x2022}},
    {"buptim", {Action::skipped, 0}},
    {"category", {Action::information_text, 6}},
    {"cell", {Action::cell, 0}},
    {"colorschememapping", {Action::skipped, 0}},
    {"colortbl", {Action::skipped, 0}},
    {"column", {Action::paragraph, 0}},
    {"comment", {Action::information_text, 8}},
    {"company", {Action::information_text, 4}},
    {"cpg", {Action::font_code_page, 0}},
    {"creatim", {Action::information_time, 9}},
    {"datafield", {Action::skipped, 0}},
    {"datastore", {Action::skipped, 0}},
    {"deff", {Action::default_font, 0}},
    {"deleted", {Action::deleted, 0}},
    {"do", {Action::contents, 0}},
    {"doccomm", {Action::information_text, 8}},
    {"docvar", {Action::skipped, 0}},
    {"dptxbxtext", {Action::text_box, 0}},
    {"dy", {Action::day, 0}},
    {"ebcend", {Action::skipped, 0}},
    {"ebcstart", {Action::skipped, 0}},
    {"edmins", {Action::information_number, 15}},
    {"emdash", {Action::character, 0x2014}},
    {"emspace", {Action::character, 0x2003}},
    {"endash", {Action::character, 0x2013}},
    {"enspace", {Action::character, 0x2002}},
    {"f", {Action::font, 0}},
    {"falt", {Action::skipped, 0}},
    {"fcharset", {Action::font_character_set, 0}},
    {"ffdefres", {Action::form_default, 0}},
    {"ffl", {Action::form_item, 0}},
    {"ffres", {Action::form_result, 0}},
    {"field", {Action::field, 0}},
    {"filetbl", {Action::skipped, 0}},
    {"fldinst", {Action::field_instruction, 0}},
    {"fldrslt", {Action::field_result, 0}},
    {"fldtype", {Action::skipped, 0}},
    {"fname", {Action::skipped, 0}},
    {"fontemb", {Action::skipped, 0}},
    {"fontfile", {Action::skipped, 0}},
    {"fonttbl", {Action::font_table, 0}},
    {"footer", {Action::footer, 0}},
    {"footerf", {Action::footer, 0}},
    {"footerl", {Action::footer, 0}},
    {"footerr", {Action::footer, 0}},
    {"footnote", {Action::footnote, 0}},
    {"formfield", {Action::form_field, 0}},
    {"ftnalt", {Action::endnote, 0}},
    {"ftncn", {Action::skipped, 0}},
    {"ftnsep", {Action::skipped, 0}},
    {"ftnsepc", {Action::skipped, 0}},
    {"generator", {Action::information_text, 17}},
    {"header", {Action::header, 0}},
    {"headerf", {Action::header, 0}},
    {"headerl", {Action::header, 0}},
    {"headerr", {Action::header, 0}},
    {"hlinkbase", {Action::information_text, 19}},
    {"hr", {Action::hour, 0}},
    {"htmltag", {Action::skipped, 0}},
    {"info", {Action::information, 0}},
    {"intbl", {Action::in_table, 0}},
    {"itap", {Action::table_level, 0}},
    {"keycode", {Action::skipped, 0}},
    {"keywords", {Action::information_text, 7}},
    {"latentstyles", {Action::skipped, 0}},
    {"lbr", {Action::line, 0}},
    {"ldblquote", {Action::character, 0x201C}},
    {"levelmarker", {Action::skipped, 0}},
    {"levelnumbers", {Action::skipped, 0}},
    {"leveltext", {Action::skipped, 0}},
    {"lfolevel", {Action::skipped, 0}},
    {"line", {Action::line, 0}},
    {"linkval", {Action::skipped, 0}},
    {"list", {Action::skipped, 0}},
    {"listlevel", {Action::skipped, 0}},
    {"listname", {Action::skipped, 0}},
    {"listoverride", {Action::skipped, 0}},
    {"listoverridetable", {Action::skipped, 0}},
    {"liststylename", {Action::skipped, 0}},
    {"listtable", {Action::skipped, 0}},
    {"listtables", {Action::skipped, 0}},
    {"listtext", {Action::contents, 0}},
    {"lquote", {Action::character, 0x2018}},
    {"ltrmark", {Action::character, 0x200E}},
    {"mac", {Action::code_page, 10000}},
    {"maccPr", {Action::skipped, 0}},
    {"mailmerge", {Action::skipped, 0}},
    {"manager", {Action::information_text, 3}},
    {"margPr", {Action::skipped, 0}},
    {"mbarPr", {Action::skipped, 0}},
    {"mborderBoxPr", {Action::skipped, 0}},
    {"mboxPr", {Action::skipped, 0}},
    {"mctrlPr", {Action::skipped, 0}},
    {"mdPr", {Action::skipped, 0}},
    {"meqArrPr", {Action::skipped, 0}},
    {"mfPr", {Action::skipped, 0}},
    {"mfuncPr", {Action::skipped, 0}},
    {"mgroupChrPr", {Action::skipped, 0}},
    {"mhtmltag", {Action::skipped, 0}},
    {"min", {Action::minute, 0}},
    {"mlimLowPr", {Action::skipped, 0}},
    {"mlimUppPr", {Action::skipped, 0}},
    {"mmPr", {Action::skipped, 0}},
    {"mmath", {Action::contents, 0}},
    {"mmathPict", {Action::skipped, 0}},
    {"mmathPr", {Action::skipped, 0}},
    {"mmcPr", {Action::skipped, 0}},
    {"mnaryPr", {Action::skipped, 0}},
    {"mo", {Action::month, 0}},
    {"moMath", {Action::contents, 0}},
    {"moMathPara", {Action::contents, 0}},
    {"moMathParaPr", {Action::skipped, 0}},
    {"mphantPr", {Action::skipped, 0}},
    {"mradPr", {Action::skipped, 0}},
    {"msPrePr", {Action::skipped, 0}},
    {"msSubPr", {Action::skipped, 0}},
    {"msSubSupPr", {Action::skipped, 0}},
    {"msSupPr", {Action::skipped, 0}},
    {"mvf", {Action::deleted, 0}},
    {"mvt", {Action::inserted, 0}},
    {"nestcell", {Action::nested_cell, 0}},
    {"nestrow", {Action::nested_row, 0}},
    {"nesttableprops", {Action::contents, 0}},
    {"nextfile", {Action::skipped, 0}},
    {"nofchars", {Action::information_number, 14}},
    {"nofcharsws", {Action::information_number, 20}},
    {"nofpages", {Action::information_number, 12}},
    {"nofwords", {Action::information_number, 13}},
    {"nonesttables", {Action::skipped, 0}},
    {"nonshppict", {Action::skipped, 0}},
    {"objalias", {Action::skipped, 0}},
    {"objclass", {Action::skipped, 0}},
    {"objdata", {Action::skipped, 0}},
    {"object", {Action::contents, 0}},
    {"objname", {Action::skipped, 0}},
    {"objsect", {Action::skipped, 0}},
    {"objtime", {Action::skipped, 0}},
    {"operator", {Action::information_text, 5}},
    {"page", {Action::page, 0}},
    {"pagebb", {Action::page_break_before, 0}},
    {"panose", {Action::skipped, 0}},
    {"par", {Action::paragraph, 0}},
    {"pard", {Action::paragraph_defaults, 0}},
    {"passwordhash", {Action::skipped, 0}},
    {"pc", {Action::code_page, 437}},
    {"pca", {Action::code_page, 850}},
    {"picprop", {Action::contents, 0}},
    {"pict", {Action::picture, 0}},
    {"plain", {Action::character_defaults, 0}},
    {"pn", {Action::skipped, 0}},
    {"pnseclvl", {Action::skipped, 0}},
    {"pntext", {Action::contents, 0}},
    {"pntxta", {Action::skipped, 0}},
    {"pntxtb", {Action::skipped, 0}},
    {"printim", {Action::information_time, 11}},
    {"private", {Action::skipped, 0}},
    {"propname", {Action::property_name, 0}},
    {"proptype", {Action::property_type, 0}},
    {"protusertbl", {Action::skipped, 0}},
    {"qmspace", {Action::character, 0x2005}},
    {"rdblquote", {Action::character, 0x201D}},
    {"result", {Action::contents, 0}},
    {"revised", {Action::inserted, 0}},
    {"revtbl", {Action::skipped, 0}},
    {"revtim", {Action::information_time, 10}},
    {"row", {Action::row, 0}},
    {"rquote", {Action::character, 0x2019}},
    {"rsidtbl", {Action::skipped, 0}},
    {"rtlmark", {Action::character, 0x200F}},
    {"rxe", {Action::skipped, 0}},
    {"sbkcol", {Action::section_continues, 0}},
    {"sbknone", {Action::section_continues, 0}},
    {"sec", {Action::second, 0}},
    {"sect", {Action::section, 0}},
    {"sectd", {Action::section_defaults, 0}},
    {"shp", {Action::contents, 0}},
    {"shpgrp", {Action::contents, 0}},
    {"shpinst", {Action::contents, 0}},
    {"shppict", {Action::contents, 0}},
    {"shprslt", {Action::skipped, 0}},
    {"shptxt", {Action::text_box, 0}},
    {"sn", {Action::shape_property_name, 0}},
    {"sp", {Action::shape_property, 0}},
    {"staticval", {Action::property_value, 0}},
    {"stylesheet", {Action::skipped, 0}},
    {"subject", {Action::information_text, 1}},
    {"sv", {Action::shape_property_value, 0}},
    {"tab", {Action::tab, 0}},
    {"tc", {Action::skipped, 0}},
    {"tcn", {Action::skipped, 0}},
    {"template", {Action::information_text, 18}},
    {"themedata", {Action::skipped, 0}},
    {"title", {Action::information_text, 0}},
    {"trowd", {Action::row_defaults, 0}},
    {"txe", {Action::skipped, 0}},
    {"u", {Action::unicode, 0}},
    {"uc", {Action::unicode_skip, 0}},
    {"ud", {Action::alternate_unicode, 0}},
    {"upr", {Action::alternate, 0}},
    {"userprops", {Action::user_properties, 0}},
    {"userprotecttbl", {Action::skipped, 0}},
    {"v", {Action::hidden, 0}},
    {"version", {Action::information_version, 16}},
    {"wgrffmtfilter", {Action::skipped, 0}},
    {"xe", {Action::skipped, 0}},
    {"xmlnstbl", {Action::skipped, 0}},
    {"yr", {Action::year, 0}},
    {"zwbo", {Action::character, 0x200B}},
    {"zwj", {Action::character, 0x200D}},
    {"zwnbo", {Action::character, 0x2060}},
    {"zwnj", {Action::character, 0x200C}},
});

// Values of information words index this list.
constexpr auto property_names = std::to_array<std::string_view>({
    property::title,
    property::subject,
    property::author,
    property::manager,
    property::company,
    property::last_author,
    property::category,
    property::keywords,
    property::comments,
    property::created,
    property::last_saved,
    property::last_printed,
    property::page_count,
    property::word_count,
    property::character_count,
    property::edit_time,
    property::revision,
    property::application,
    property::document_template,
    property::hyperlink_base,
    property::character_count_with_spaces,
});

constexpr std::size_t slots = 1024;

constexpr std::size_t slot_of(std::string_view name) {
  std::uint32_t hash = 2'166'136'261u;
  for (const char letter : name) {
    hash = (hash ^ static_cast<unsigned char>(letter)) * 16'777'619u;
  }
  return (hash ^ (hash >> 15)) % slots;
}

// Open addressing with linear steps: 0 is a free slot, any other number a row's index plus one.
constexpr auto index_of_rows = [] {
  static_assert(rows.size() * 2 < slots, "a full table would make a search endless");
  std::array<std::uint16_t, slots> index{};
  for (std::size_t i = 0; i < rows.size(); ++i) {
    std::size_t slot = slot_of(rows[i].name);
    while (index[slot] != 0) slot = (slot + 1) % slots;
    index[slot] = static_cast<std::uint16_t>(i + 1);
  }
  return index;
}();

constexpr bool well_formed() {
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (rows[i].name.size() > longest_word) return false;
    if (i > 0 && rows[i - 1].name >= rows[i].name) return false;
  }
  return true;
}
static_assert(well_formed(), "rows are sorted, distinct and not too long");

}  // namespace

Word word_of(std::string_view name) {
  for (std::size_t slot = slot_of(name); index_of_rows[slot] != 0; slot = (slot + 1) % slots) {
    const Row& row = rows[index_of_rows[slot] - 1u];
    if (row.name == name) return row.word;
  }
  return {};
}

std::string_view property_name_of(std::int32_t index) {
  return property_names.at(static_cast<std::size_t>(index));
}

}  // namespace trfilter::rtf
