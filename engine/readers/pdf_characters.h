#pragma once

#include <string>
#include <string_view>

namespace trfilter::pdf {

/// The first character of valid, non-empty UTF-8.
char32_t first_character(std::string_view text);

/// Letters of scripts that are written from right to left.
bool is_right_to_left(char32_t character);
/// Ideographs, kana, Hangul and their punctuation: written without spaces between words.
bool is_east_asian(char32_t character);
bool is_digit(char32_t character);
/// Letters of all other scripts.
bool is_left_to_right(char32_t character);
bool is_space(char32_t character);

/// The combining mark that a mark of its own width stands for (U+00B4 for U+0301), or the mark
/// itself when it combines; 0 for anything else.
char32_t combining_mark(char32_t character);
/// Base and mark as one character where Unicode has one, else both. UTF-8.
std::string compose(char32_t base, char32_t mark);

/// The other one of a pair of brackets, or the character itself.
char32_t mirrored(char32_t character);

/// Appends a font's character for plain text: presentation forms and ligatures become their
/// letters, control characters and noncharacters nothing, spaces U+0020.
void append_plain(std::string& out, char32_t character);

}  // namespace trfilter::pdf
