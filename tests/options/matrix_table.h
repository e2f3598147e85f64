#pragma once

#include <string>
#include <utility>
#include <vector>

#include "tests/options/matrix.h"

namespace tarnis::options {

/// Collects effects; each option is off in `off` unless a cell says otherwise.
class Table {
 public:
  /// @param set  turns the option on
  template <typename Set>
  void add(const char* option, const char* family, std::string document, Set set,
           std::string without, std::string with, Shown shown = Shown::text) {
    add_between(
        option, family, std::move(document), [](Configuration&) {}, set, std::move(without),
        std::move(with), shown);
  }

  template <typename Off, typename On>
  void add_between(const char* option, const char* family, std::string document, Off off, On on,
                   std::string without, std::string with, Shown shown = Shown::text) {
    Effect effect{option,         family, shown, std::move(document), {}, {}, std::move(without),
                  std::move(with)};
    off(effect.off);
    on(effect.on);
    effects_.push_back(std::move(effect));
  }

  std::vector<Effect> take() { return std::move(effects_); }

 private:
  std::vector<Effect> effects_;
};

// What turns each option on.
inline constexpr auto show_page_texts = [](Configuration& c) { c.header_and_footer(true); };
inline constexpr auto tag_page_texts = [](Configuration& c) { c.header_and_footer_tags(true); };
inline constexpr auto mark_revisions = [](Configuration& c) { c.revision_marks(true); };
inline constexpr auto show_hidden = [](Configuration& c) { c.hidden_text(true); };
inline constexpr auto skip_comments = [](Configuration& c) { c.skip_comments(true); };
inline constexpr auto skip_fonts = [](Configuration& c) { c.skip_embedded_fonts(true); };
inline constexpr auto skip_thumbnail = [](Configuration& c) { c.skip_thumbnail(true); };
inline constexpr auto date_codes = [](Configuration& c) { c.date_time_field_codes(true); };
inline constexpr auto file_codes = [](Configuration& c) { c.filename_field_code(true); };

inline constexpr auto keep_soft_hyphens = [](Configuration& c) { c.soft_hyphens(true); };

/// Adds the cells of what acts on all text: the target encoding and its byte-order mark.
/// @param text  of the document, as UTF-8: "für" and what stands around it
void add_target(Table& table, const char* family, const std::string& document,
                const std::string& text);

/// Cells of Word and PowerPoint before 2007.
void add_binary_office(Table& table);

/// Cells of messages as text.
void add_mail(Table& table);

/// Cells of messages of Outlook.
void add_outlook(Table& table);

}  // namespace tarnis::options
