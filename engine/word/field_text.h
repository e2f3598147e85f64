#pragma once

#include <string>
#include <string_view>

/// Fields whose text is their instruction: documents hold no result of them.
namespace trfilter::word {

/// Takes the next word off the front of an instruction; one in quotes may hold blanks.
std::string_view take_word(std::string_view& rest);

/// `SYMBOL 183 \f "Symbol" \s 10`, the number decimal or as 0xB7; `\u` says that it is Unicode.
std::string symbol_field_text(std::string_view instruction);

/// The operands of an equation without its switches: `EQ \f(1,2)` gives "1/2", other lists blanks.
std::string equation_field_text(std::string_view instruction);

}  // namespace trfilter::word
