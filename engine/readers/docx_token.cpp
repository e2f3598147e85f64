#include "engine/readers/docx_token.h"

#include <array>

#include "engine/xml/name_table.h"

namespace trfilter::docx {
namespace {

using Token = StoryToken;

constexpr NameTable element_names{std::array{
    NamedToken<Token>{"p", Token::paragraph},
    NamedToken<Token>{"r", Token::run},
    NamedToken<Token>{"t", Token::text},
    NamedToken<Token>{"delText", Token::text},
    NamedToken<Token>{"instrText", Token::instruction},
    NamedToken<Token>{"tab", Token::tab},
    NamedToken<Token>{"ptab", Token::tab},
    NamedToken<Token>{"br", Token::line_break},
    NamedToken<Token>{"cr", Token::carriage_return},
    NamedToken<Token>{"noBreakHyphen", Token::no_break_hyphen},
    NamedToken<Token>{"softHyphen", Token::soft_hyphen},
    NamedToken<Token>{"sym", Token::symbol},
    NamedToken<Token>{"fldChar", Token::field_character},
    NamedToken<Token>{"fldSimple", Token::simple_field},
    NamedToken<Token>{"ins", Token::inserted},
    NamedToken<Token>{"moveTo", Token::inserted},
    NamedToken<Token>{"del", Token::deleted},
    NamedToken<Token>{"moveFrom", Token::deleted},
    NamedToken<Token>{"tbl", Token::table},
    NamedToken<Token>{"tr", Token::row},
    NamedToken<Token>{"tc", Token::cell},
    NamedToken<Token>{"ruby", Token::ruby},
    NamedToken<Token>{"rt", Token::ruby_text},
    NamedToken<Token>{"footnote", Token::footnote},
    NamedToken<Token>{"endnote", Token::endnote},
    NamedToken<Token>{"comment", Token::comment},
    NamedToken<Token>{"txbxContent", Token::text_box},
    NamedToken<Token>{"AlternateContent", Token::alternate_content},
    NamedToken<Token>{"Choice", Token::choice},
    NamedToken<Token>{"Fallback", Token::fallback},
    NamedToken<Token>{"pPr", Token::paragraph_properties},
    NamedToken<Token>{"rPr", Token::run_properties},
    NamedToken<Token>{"trPr", Token::row_properties},
    NamedToken<Token>{"pStyle", Token::paragraph_style},
    NamedToken<Token>{"rStyle", Token::run_style},
    NamedToken<Token>{"ilvl", Token::number_level},
    NamedToken<Token>{"numId", Token::number_id},
    NamedToken<Token>{"vanish", Token::vanish},
    NamedToken<Token>{"framePr", Token::frame},
    NamedToken<Token>{"sectPr", Token::section},
    NamedToken<Token>{"gridSpan", Token::grid_span},
    NamedToken<Token>{"gridBefore", Token::grid_before},
    NamedToken<Token>{"hidden", Token::hidden_row},
    NamedToken<Token>{"tblDescription", Token::table_description},
    NamedToken<Token>{"docPr", Token::drawing_properties},
    NamedToken<Token>{"cNvPr", Token::drawing_properties},
    NamedToken<Token>{"shape", Token::vml_shape},
    NamedToken<Token>{"rect", Token::vml_shape},
    NamedToken<Token>{"roundrect", Token::vml_shape},
    NamedToken<Token>{"oval", Token::vml_shape},
    NamedToken<Token>{"group", Token::vml_shape},
    NamedToken<Token>{"textpath", Token::vml_text_path},
    NamedToken<Token>{"chart", Token::chart},
    NamedToken<Token>{"relIds", Token::diagram},
    NamedToken<Token>{"altChunk", Token::chunk},
    NamedToken<Token>{"tabs", Token::left_out},
    NamedToken<Token>{"sdtPr", Token::left_out},
    NamedToken<Token>{"sdtEndPr", Token::left_out},
    NamedToken<Token>{"rPrChange", Token::left_out},
    NamedToken<Token>{"pPrChange", Token::left_out},
    NamedToken<Token>{"tblPrChange", Token::left_out},
    NamedToken<Token>{"tblPrExChange", Token::left_out},
    NamedToken<Token>{"trPrChange", Token::left_out},
    NamedToken<Token>{"tcPrChange", Token::left_out},
    NamedToken<Token>{"ffData", Token::left_out},
    NamedToken<Token>{"delInstrText", Token::left_out},
    NamedToken<Token>{"binData", Token::left_out},
}};

}  // namespace

StoryToken token_of(std::string_view name) {
  return element_names.find(name);
}

}  // namespace trfilter::docx
