#include "engine/word/field_stack.h"

#include <algorithm>
#include <array>
#include <utility>

#include "engine/word/field_text.h"

namespace trfilter::word {
namespace {

bool is_blank(char c) {
  return static_cast<unsigned char>(c) <= ' ';
}

/// Takes the next word off the front of a text.
std::string_view next_word(std::string_view& text) {
  text = trimmed(text);
  const auto end = std::find_if(text.begin(), text.end(), is_blank);
  const auto size = static_cast<std::size_t>(end - text.begin());
  const std::string_view word = text.substr(0, size);
  text.remove_prefix(size);
  return word;
}

bool is_keyword(std::string_view word, std::string_view upper) {
  return std::equal(word.begin(), word.end(), upper.begin(), upper.end(), [](char a, char b) {
    return (a >= 'a' && a <= 'z' ? static_cast<char>(a - 'a' + 'A') : a) == b;
  });
}

constexpr std::array<std::string_view, 5> date_keywords = {"DATE", "TIME", "SAVEDATE", "CREATEDATE",
                                                           "PRINTDATE"};

/// How the instruction and the result of a field are marked.
struct Regions {
  Region code;
  Region result;
};

/// @return none for fields whose result is text like any other
std::optional<Regions> regions_of(std::string_view instruction) {
  const std::string_view keyword = next_word(instruction);
  for (const std::string_view date : date_keywords) {
    if (is_keyword(keyword, date)) return Regions{Region::date_time_code, Region::date_time_result};
  }
  if (is_keyword(keyword, "FILENAME"))
    return Regions{Region::filename_code, Region::filename_result};
  return std::nullopt;
}

/// What a field shows that has no result: a symbol, the operands of an equation, the text of a
/// MACROBUTTON or GOTOBUTTON, else nothing.
std::string shown_instruction(const std::string& instruction) {
  std::string_view rest = instruction;
  const std::string_view keyword = next_word(rest);
  if (is_keyword(keyword, "SYMBOL")) return symbol_field_text(instruction);
  if (is_keyword(keyword, "EQ")) return equation_field_text(instruction);
  if (!is_keyword(keyword, "MACROBUTTON") && !is_keyword(keyword, "GOTOBUTTON")) return {};
  next_word(rest);
  return std::string(trimmed(rest));
}

}  // namespace

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && is_blank(text.front())) text.remove_prefix(1);
  while (!text.empty() && is_blank(text.back())) text.remove_suffix(1);
  return text;
}

void FieldStack::begin() {
  limits_.check_depth(static_cast<unsigned>(fields_.size()));
  fields_.emplace_back();
  output_.open(Region::field_code);
}

void FieldStack::append_instruction(std::string_view text) {
  if (!in_instruction()) return;
  std::string& instruction = fields_.back().instruction;
  instruction +=
      text.substr(0, most_instruction_bytes - std::min(most_instruction_bytes, instruction.size()));
}

void FieldStack::separate() {
  Field& field = fields_.back();
  if (!field.in_instruction) return;
  field.in_instruction = false;
  output_.close(Region::field_code);
  const std::optional<Regions> regions = regions_of(field.instruction);
  if (!regions) return;
  output_.open(regions->code);
  output_.text(trimmed(field.instruction));
  output_.close(regions->code);
  output_.open(regions->result);
  field.result = regions->result;
}

void FieldStack::end() {
  const bool without_result = in_instruction();
  if (without_result) separate();
  const Field field = std::move(fields_.back());
  fields_.pop_back();
  if (field.result) output_.close(*field.result);
  if (without_result && !in_instruction()) output_.text(shown_instruction(field.instruction));
}

void FieldStack::close(std::size_t size) {
  while (fields_.size() > size) end();
}

}  // namespace trfilter::word
