#include "engine/readers/rtf_parser.h"

#include <algorithm>

#include "engine/core/engine_error.h"

namespace trfilter::rtf {
namespace {

constexpr std::uint64_t step_bytes = std::uint64_t{64} << 10;

/// Whether a word without a parameter, or with one that is not 0, switches something on.
bool switches_on(const Token& token) {
  return !token.has_parameter || token.parameter != 0;
}

bool is_blank(std::string_view run) {
  return run.find_first_not_of(" \t") == std::string_view::npos;
}

}  // namespace

Parser::Parser(Document& document, const Options& options, Limits& limits, std::uint64_t offset)
    : options_(&options), limits_(&limits), tokeniser_(document, offset) {
  const Encoding* const told = encoding_of_number(options.source_encoding);
  if (told != nullptr && told->is_ascii_superset()) told_page_.emplace(*told);
}

bool Parser::read_text(TextSink& sink) {
  flow_.attach(&sink);
  limits_->check_time();
  const std::uint64_t bound = tokeniser_.offset() + step_bytes;
  try {
    while (tokeniser_.offset() < bound) {
      if (skipping_) {
        const Tokeniser::Skipped skipped = tokeniser_.skip_group(skipped_open_, bound);
        if (skipped == Tokeniser::Skipped::at_bound) return true;
        skipping_ = false;
      }
      if (!handle(tokeniser_.next())) return false;
    }
  } catch (...) {
    finish();
    throw;
  }
  return true;
}

void Parser::read_properties(Properties& properties) {
  Information information(properties);
  information_ = &information;
  try {
    while (!body_seen_) {
      limits_->check_time();
      if (skipping_) {
        const std::uint64_t bound = tokeniser_.offset() + step_bytes;
        const Tokeniser::Skipped skipped = tokeniser_.skip_group(skipped_open_, bound);
        if (skipped == Tokeniser::Skipped::at_bound) continue;
        skipping_ = false;
      }
      if (!handle(tokeniser_.next())) break;
    }
  } catch (const EngineError& error) {
    if (error.code() != Code::corrupt) throw;
  }
  information_ = nullptr;
}

// Tokens.

bool Parser::handle(const Token& token) {
  if (token.kind == Token::Kind::end_of_input) {
    // Many producers forget the last brace: a document that ends with a whole paragraph is whole.
    const bool whole = groups_.empty() || (groups_.size() == 1 && paragraph_was_last_);
    finish();
    if (!whole) throw EngineError(Code::corrupt, "the document ends inside of a group");
    return false;
  }
  if (token.kind == Token::Kind::group_begin) {
    paragraph_was_last_ = false;
    if (!groups_.empty() && top().needs_unicode) {
      skip_rest_of_group();
      skipped_open_ = 1;
      return true;
    }
    begin_group();
    return true;
  }
  if (token.kind == Token::Kind::group_end) {
    paragraph_was_last_ = false;
    end_group();
    if (!groups_.empty()) return true;
    // Whatever follows the document's own group is no part of it.
    finish();
    return false;
  }
  Group& group = top();
  if (group.needs_unicode) {
    const bool asterisk = token.kind == Token::Kind::symbol && token.character == '*';
    const bool unicode = token.kind == Token::Kind::word && group.asterisk &&
                         token.word.action == Action::alternate_unicode;
    if (!asterisk && !unicode) {
      skip_rest_of_group();
      return true;
    }
  }
  switch (token.kind) {
    case Token::Kind::word:
      word(token);
      return true;
    case Token::Kind::symbol:
      symbol(token.character);
      if (token.character != '*') group.fresh = false;
      return true;
    case Token::Kind::byte:
      put_byte(token.character);
      break;
    case Token::Kind::text:
      put_text(token.run);
      if (is_blank(token.run)) return true;
      break;
    case Token::Kind::bytes:
      put_bytes(token.run);
      break;
    default:
      break;
  }
  group.fresh = false;
  paragraph_was_last_ = false;
  return true;
}

void Parser::begin_group() {
  limits_->check_depth(static_cast<unsigned>(groups_.size()) + 1);
  to_skip_ = 0;
  Group group;
  if (!groups_.empty()) {
    Group& around = top();
    around.fresh = false;
    group = around;
    group.needs_unicode = around.alternate;
  }
  group.at_end = AtEnd::nothing;
  group.fresh = true;
  group.asterisk = false;
  group.alternate = false;
  groups_.push_back(group);
}

void Parser::end_group() {
  to_skip_ = 0;
  if (groups_.empty()) return;
  flush_bytes();
  const Group* around = groups_.size() > 1 ? &groups_[groups_.size() - 2] : nullptr;
  const bool changes = around == nullptr || around->destination != top().destination ||
                       around->table_level != top().table_level;
  if (changes || top().at_end != AtEnd::nothing) flush_text();
  const Group ended = top();
  switch (ended.at_end) {
    case AtEnd::nothing:
      break;
    case AtEnd::region:
      set_open_marks(0);
      if (ended.region == Region::header || ended.region == Region::footer) {
        flow_.show_notes();
        flow_.paragraph();
        if (!page_region_due_) flow_.end(ended.region);
        page_region_due_.reset();
        flow_.paragraph();
        table_ = tables_around_.back();
        tables_around_.pop_back();
      } else {
        flow_.end(ended.region);
      }
      break;
    case AtEnd::note:
      set_open_marks(0);
      flow_.end_note();
      table_ = tables_around_.back();
      tables_around_.pop_back();
      break;
    case AtEnd::text_box_property:
      end_shape_property();
      break;
    case AtEnd::field_instruction:
      end_field_instruction();
      break;
    case AtEnd::information_text:
      if (information_ != nullptr) information_->add_text(ended.value, value_);
      value_.clear();
      break;
    case AtEnd::information_time:
      if (information_ != nullptr) information_->end_time(ended.value);
      break;
    case AtEnd::property_name:
      if (information_ != nullptr) information_->begin_custom(value_);
      value_.clear();
      break;
    case AtEnd::property_value:
      if (information_ != nullptr) information_->end_custom(value_);
      value_.clear();
      break;
    case AtEnd::field:
      break;
  }
  groups_.pop_back();
  if (ended.at_end == AtEnd::field) end_field();
}

void Parser::finish() {
  skipping_ = false;
  while (!groups_.empty()) end_group();
  set_open_marks(0);
  flow_.finish();
}

void Parser::skip_rest_of_group() {
  skipping_ = true;
  skipped_open_ = 0;
}

void Parser::symbol(unsigned char character) {
  if (character == '*') {
    if (top().fresh) top().asterisk = true;
    return;
  }
  paragraph_was_last_ = false;
  constexpr char32_t no_break_space = 0x00A0;
  constexpr char32_t soft_hyphen = 0x00AD;
  constexpr char32_t no_break_hyphen = 0x2011;
  const char as_text = static_cast<char>(character);
  std::string_view run(&as_text, 1);
  switch (character) {
    case '\\':
    case '{':
    case '}':
      put_text(run);
      break;
    case '~':
      if (take_skipped(run)) put_character(no_break_space);
      break;
    case '-':
      if (take_skipped(run)) put_character(soft_hyphen);
      break;
    case '_':
      if (take_skipped(run)) put_character(no_break_hyphen);
      break;
    case '\t':
      if (take_skipped(run)) put_character(U'\t');
      break;
    case '\r':
    case '\n':
      end_of_paragraph();
      paragraph_was_last_ = true;
      break;
    default:
      break;
  }
}

void Parser::word(const Token& token) {
  Group& group = top();
  const bool asterisk = group.asterisk;
  group.asterisk = false;
  group.fresh = false;
  paragraph_was_last_ = false;
  const Action action = token.word.action;
  if (to_skip_ != 0) {
    // Characters that a word names stand for a `\u` as others do; any other word ends them.
    if (action == Action::character || action == Action::tab) {
      --to_skip_;
      return;
    }
    to_skip_ = 0;
  }
  if (asterisk && !is_destination(action)) {
    skip_rest_of_group();
    return;
  }
  if (is_destination(action)) {
    // The document's own group is none, whatever its words say.
    if (groups_.size() > 1) begin_destination(token);
    return;
  }
  const bool body = group.destination == Destination::body;
  switch (action) {
    case Action::character:
      put_character(static_cast<char32_t>(token.word.value));
      break;
    case Action::tab:
      put_character(U'\t');
      break;
    case Action::unicode:
      put_unicode(token.parameter);
      break;
    case Action::line:
      if (body) {
        put_character(U'\n');
      } else {
        put_character(U' ');
      }
      break;
    case Action::paragraph:
      if (body) {
        end_of_paragraph();
        paragraph_was_last_ = true;
      } else {
        put_character(U' ');
      }
      break;
    case Action::section:
      if (body) end_of_section();
      paragraph_was_last_ = body;
      break;
    case Action::page:
      if (body) end_of_page();
      break;
    case Action::page_break_before:
      if (body && switches_on(token)) end_of_page();
      break;
    case Action::cell:
    case Action::nested_cell:
      if (body) end_of_cell(action == Action::nested_cell);
      break;
    case Action::row:
    case Action::nested_row:
      if (body) end_of_row(action == Action::nested_row);
      paragraph_was_last_ = body;
      break;
    default:
      property_word(token);
      break;
  }
}

void Parser::property_word(const Token& token) {
  Group& group = top();
  const bool body = group.destination == Destination::body;
  switch (token.word.action) {
    case Action::unicode_skip:
      group.characters_to_skip = std::clamp(token.parameter, 0, 1024);
      break;
    case Action::character_defaults:
      flush_bytes();
      group.font = nullptr;
      group.marks = 0;
      break;
    case Action::font:
      flush_bytes();
      if (group.destination == Destination::font_table) {
        flush_text();
        const bool room = fonts_.size() < most_fonts || fonts_.contains(token.parameter);
        table_font_ = room ? &(fonts_[token.parameter] = Font{}) : nullptr;
      } else {
        group.font = font_of(token.parameter);
      }
      break;
    case Action::hidden:
      set_mark(hidden, token);
      break;
    case Action::deleted:
      set_mark(deleted, token);
      break;
    case Action::inserted:
      set_mark(inserted, token);
      break;
    case Action::paragraph_defaults:
      if (body) flush_text();
      group.table_level = 0;
      break;
    case Action::in_table:
      if (body) flush_text();
      group.table_level = switches_on(token) ? std::max(group.table_level, 1) : 0;
      break;
    case Action::table_level:
      if (body) flush_text();
      group.table_level = std::max(token.parameter, 0);
      break;
    case Action::row_defaults:
      if (body && !table_.in_row) {
        flush_text();
        table_.in_row = true;
        flow_.begin_row();
      }
      break;
    case Action::section_defaults:
      section_continues_ = false;
      break;
    case Action::section_continues:
      section_continues_ = true;
      break;
    case Action::code_page:
      code_page_ = token.word.value;
      // "\ansi" stands in every document, whatever its characters.
      if (code_page_ != 1252) code_page_declared_ = true;
      ++encoding_age_;
      break;
    case Action::code_page_number:
      if (token.parameter != 0) {
        code_page_ = token.parameter;
        code_page_declared_ = true;
      }
      ++encoding_age_;
      break;
    case Action::default_font:
      default_font_ = token.parameter;
      break;
    case Action::font_character_set:
      if (table_font_ == nullptr || group.destination != Destination::font_table) break;
      table_font_->character_set = token.parameter;
      if (code_page_of_character_set(token.parameter) == code_page_) {
        own_character_set_named_ = true;
        ++encoding_age_;
      }
      break;
    case Action::font_code_page:
      if (table_font_ == nullptr || group.destination != Destination::font_table) break;
      table_font_->code_page = token.parameter;
      break;
    case Action::endnote:
      flow_.set_note_region(Region::endnote);
      break;
    default:
      information_word(token);
      break;
  }
}

void Parser::information_word(const Token& token) {
  const Group& group = top();
  const Action action = token.word.action;
  if (action == Action::form_result || action == Action::form_default) {
    if (group.field < 0) return;
    Field& field = fields_[static_cast<std::size_t>(group.field)];
    (action == Action::form_result ? field.form_result : field.form_default) = token.parameter;
    return;
  }
  if (information_ == nullptr) return;
  if (action == Action::property_type) information_->set_custom_type(token.parameter);
  if (group.destination != Destination::information) return;
  switch (action) {
    case Action::information_number:
      if (token.has_parameter) information_->add_number(token.word.value, token.parameter);
      break;
    case Action::information_version:
      if (token.has_parameter) information_->add_version(token.word.value, token.parameter);
      break;
    case Action::year:
    case Action::month:
    case Action::day:
    case Action::hour:
    case Action::minute:
    case Action::second:
      information_->set_time_part(action, token.parameter);
      break;
    default:
      break;
  }
}

void Parser::set_mark(Mark mark, const Token& token) {
  Group& group = top();
  group.marks =
      static_cast<std::uint8_t>(switches_on(token) ? group.marks | mark : group.marks & ~mark);
}

// Ends of paragraphs and what is larger.

void Parser::end_of_paragraph() {
  flush_text();
  body_seen_ = true;
  const Group& group = top();
  // A paragraph whose end is not shown runs on into the next one.
  if ((group.marks & hidden) != 0 && !options_->hidden_text) return;
  if ((group.marks & deleted) != 0 && !options_->revision_marks) return;
  if (open_marks_ != group.marks) set_open_marks(0);
  if (!page_region_due_) flow_.paragraph();
  if (group.table_level == 0 || !table_.in_row) {
    if (!flow_.in_note()) set_open_marks(0);
    flow_.show_notes();
  }
}

void Parser::end_of_section() {
  end_of_paragraph();
  if (!flow_.in_note()) section_due_ = true;
}

void Parser::end_of_page() {
  flush_text();
  body_seen_ = true;
  if (flow_.in_note() || table_.in_row) return;
  set_open_marks(0);
  flow_.show_notes();
  flow_.page();
}

void Parser::end_of_cell(bool nested) {
  flush_text();
  body_seen_ = true;
  set_open_marks(0);
  settle_page_region();
  if (!table_.in_row) flow_.begin_row();
  table_.in_row = true;
  table_.in_nested_row = nested;
  flow_.cell();
}

void Parser::end_of_row(bool nested) {
  flush_text();
  body_seen_ = true;
  set_open_marks(0);
  flow_.row();
  table_.in_nested_row = false;
  if (nested) return;
  table_.in_row = false;
  flow_.show_notes();
}

}  // namespace trfilter::rtf
