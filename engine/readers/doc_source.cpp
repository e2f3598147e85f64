#include "engine/readers/doc_source.h"

#include <algorithm>
#include <utility>

#include "engine/core/engine_error.h"
#include "engine/core/fields.h"
#include "engine/core/symbol_font.h"
#include "engine/core/utf8.h"
#include "engine/readers/doc_lists.h"
#include "engine/readers/doc_modifiers.h"

namespace trfilter::doc {
namespace {

constexpr std::size_t window_size = std::size_t{16} << 10;
constexpr std::uint32_t most_characters_of_run = 4096;
constexpr std::uint64_t most_table_bytes = std::uint64_t{64} << 20;
// Pieces of one paragraph that are looked through for its end.
constexpr unsigned most_pieces_of_paragraph = 128;
constexpr unsigned most_table_depth = 64;

constexpr std::int32_t western_code_page = 1252;
constexpr std::int32_t mac_code_page = 10000;

Pieces pieces_of(const Fib& fib, std::string clx, std::uint64_t main_size) {
  if (!clx.empty()) {
    Pieces pieces(fib, std::move(clx), main_size);
    if (!pieces.empty()) return pieces;
  }
  return Pieces(fib, main_size);
}

}  // namespace

Source::Source(const Stream& main, const Stream& table, const Stream& data, Limits& limits)
    : main_(&main),
      table_(&table),
      data_(&data),
      limits_(&limits),
      fib_(main.read(0, Fib::most_bytes)),
      pieces_(pieces_of(fib_, this->table(Table::pieces), main.size())) {
  if (pieces_.empty() && fib_.total() != 0) {
    throw EngineError(Code::corrupt, "the document's text is not there");
  }
  damaged_ = pieces_.cut() || pieces_.end() < fib_.count(TextPart::body) ||
             (fib_.version == Version::word_97 && !table.present());
  code_page_ = western_code_page;
  if (fib_.version != Version::word_97) {
    code_page_ = fib_.mac ? mac_code_page : code_page_of_language(fib_.language);
  }
  if (fib_.version == Version::word_2) return;
  characters_ =
      Formatting(main, Formatting::Kind::characters, fib_, this->table(Table::character_pages));
  paragraphs_ =
      Formatting(main, Formatting::Kind::paragraphs, fib_, this->table(Table::paragraph_pages));
  styles_ = Styles(this->table(Table::style_sheet), fib_.version);
  fonts_ = read_fonts(this->table(Table::fonts), fib_.version);
  if (fib_.version != Version::word_97) return;
  // The levels of lists stand behind the structure, whose size does not count them.
  if (const Range lists = fib_.table(Table::lists); lists.size != 0) {
    const Range overrides = fib_.table(Table::list_overrides);
    const std::uint64_t levels_end =
        overrides.offset > lists.offset ? overrides.offset : table.size();
    read_lists(table.read(lists.offset, std::min(levels_end - std::min(levels_end, lists.offset),
                                                 most_table_bytes)),
               this->table(Table::list_overrides), fonts_, numbering_);
  }
}

std::string Source::table(Table table) const {
  const Range range = fib_.table(table);
  return table_->read(range.offset, std::min(range.size, most_table_bytes));
}

std::string_view Source::window(std::uint64_t offset, std::size_t count) {
  if (offset < window_begin_ || offset + count > window_begin_ + window_.size()) {
    main_->read(offset, std::max(count, window_size), window_);
    window_begin_ = offset;
  }
  return std::string_view(window_).substr(static_cast<std::size_t>(offset - window_begin_), count);
}

std::optional<TextRun> Source::run_at(std::uint32_t position, std::uint32_t limit) {
  const Piece* piece = pieces_.find(position);
  if (piece == nullptr) return std::nullopt;
  TextRun run;
  run.begin = std::max(position, piece->begin);
  if (run.begin >= limit) return std::nullopt;
  run.wide = piece->wide;
  const unsigned width = piece->wide ? 2 : 1;
  const std::uint64_t offset = piece->offset_of(run.begin);
  const FormattedRun formatted = characters_.find(offset);
  const std::uint64_t characters =
      std::clamp<std::uint64_t>((formatted.end - offset) / width, 1, most_characters_of_run);
  run.end = static_cast<std::uint32_t>(
      std::min<std::uint64_t>({piece->end, limit, run.begin + characters}));
  if (const std::string_view more = pieces_.modifications(*piece, scratch_); more.empty()) {
    run.properties = character_properties(formatted.modifiers, style_);
  } else {
    run.properties = character_properties(std::string(formatted.modifiers).append(more), style_);
  }
  run.bytes = window(offset, std::size_t{run.end - run.begin} * width);
  if (run.bytes.size() < width) {
    damaged_ = true;
    return std::nullopt;
  }
  run.end = run.begin + static_cast<std::uint32_t>(run.bytes.size() / width);
  return run;
}

ParagraphProperties Source::paragraph_at(std::uint32_t position) {
  ParagraphProperties result;
  for (unsigned i = 0; i < most_pieces_of_paragraph; ++i) {
    const Piece* piece = pieces_.find(position);
    if (piece == nullptr) break;
    position = std::max(position, piece->begin);
    const FormattedRun run = paragraphs_.find(piece->offset_of(position));
    if (run.end > piece->offset_of(piece->end)) {
      // The paragraph goes on: its mark, which has the properties, is in a later piece.
      position = piece->end;
      if (pieces_.find(position) != nullptr) continue;
    }
    result.style = run.style;
    apply(run.modifiers, result);
    apply(pieces_.modifications(*piece, scratch_), result);
    break;
  }
  style_ = result.style;
  result.table_depth = std::min(result.table_depth, most_table_depth);
  const Style& style = styles_.find(result.style);
  if (result.list_id == 0) result.list_id = style.list_id;
  if (!result.list_level) result.list_level = style.list_level;
  if (!result.old_number_kind) result.old_number_kind = style.old_number_kind;
  if (result.old_number.empty()) result.old_number = style.old_number;
  return result;
}

void Source::apply(std::string_view modifiers, ParagraphProperties& into) const {
  constexpr std::uint32_t no_list = 0xF801;
  ModifierList list(modifiers, fib_.version);
  while (const auto modifier = list.next()) {
    switch (modifier->property) {
      case Property::paragraph_style:
        into.style = static_cast<std::uint16_t>(modifier->value());
        break;
      case Property::in_table:
        if (!modifier->on()) {
          into.table_depth = 0;
        } else if (into.table_depth == 0) {
          into.table_depth = 1;
        }
        break;
      case Property::table_depth:
        into.table_depth = modifier->value();
        break;
      case Property::row_end:
        into.row_end = modifier->on();
        break;
      case Property::inner_cell_end:
        into.inner_cell_end = modifier->on();
        break;
      case Property::inner_row_end:
        into.inner_row_end = modifier->on();
        break;
      case Property::drop_cap:
        into.drop_cap = (modifier->value() & 0x7) != 0;
        break;
      case Property::list_id:
        into.list_id = modifier->value() == 0 ? no_list : modifier->value();
        break;
      case Property::list_level:
        into.list_level = modifier->value();
        break;
      case Property::old_number_kind:
        into.old_number_kind = modifier->value();
        break;
      case Property::old_number:
        into.old_number = modifier->operand;
        break;
      case Property::huge: {
        // 2.9.210 PrcData in the data stream.
        const std::uint32_t offset = modifier->value();
        const std::string size = data_->read(offset, 2);
        const std::string bytes = data_->read(std::uint64_t{offset} + 2, le16(size, 0));
        ModifierList more(bytes, fib_.version);
        bool nested = false;
        while (const auto next = more.next()) nested |= next->property == Property::huge;
        if (!nested) apply(bytes, into);
        break;
      }
      default:
        break;
    }
  }
}

CharacterProperties Source::character_properties(std::string_view modifiers,
                                                 std::uint16_t style) const {
  CharacterProperties result;
  const Style& paragraph_style = styles_.find(style);
  result.hidden = paragraph_style.vanish;
  result.font = paragraph_style.font;
  bool hidden_by_style = result.hidden;
  ModifierList list(modifiers, fib_.version);
  while (const auto modifier = list.next()) {
    switch (modifier->property) {
      case Property::character_style: {
        const Style& own = styles_.find(modifier->value());
        hidden_by_style = paragraph_style.vanish != own.vanish;
        result.hidden = hidden_by_style;
        if (own.font) result.font = own.font;
        break;
      }
      case Property::plain:
        result.hidden = hidden_by_style = paragraph_style.vanish;
        result.font = paragraph_style.font;
        break;
      case Property::vanish:
        result.hidden = toggled(modifier->value(), hidden_by_style);
        break;
      case Property::inserted:
        result.inserted = modifier->on();
        break;
      case Property::deleted:
        result.deleted = modifier->on();
        break;
      case Property::special:
        result.special = modifier->on();
        break;
      case Property::data:
        result.binary_data = modifier->on();
        break;
      case Property::ole_object:
        result.ole_object = modifier->on();
        break;
      case Property::picture_location:
        result.picture_location = modifier->value();
        break;
      case Property::font:
        result.font = static_cast<std::uint16_t>(modifier->value());
        break;
      case Property::symbol:
        result.symbol = true;
        result.symbol_font = static_cast<std::uint16_t>(le16(modifier->operand, 0));
        result.symbol_character = modifier->operand.size() >= 4
                                      ? char32_t{le16(modifier->operand, 2)}
                                      : char32_t{byte_at(modifier->operand, 2)};
        break;
      default:
        break;
    }
  }
  return result;
}

const Font* Source::font_of(const CharacterProperties& properties) const {
  const std::size_t index = properties.font.value_or(0);
  return index < fonts_.size() ? &fonts_[index] : nullptr;
}

void Source::append_narrow(std::string_view bytes, const CharacterProperties& properties,
                           std::string& out) {
  std::int32_t number = code_page_;
  if (fib_.version != Version::word_97) {
    const Font* font = font_of(properties);
    if (font != nullptr && font->symbol) {
      for (const char byte : bytes) {
        const char32_t code = static_cast<unsigned char>(byte);
        const char32_t shown = symbol_font_character(font->name, code);
        append_utf8(out, shown != 0 ? shown : code);
      }
      return;
    }
    if (font != nullptr && font->code_page != 0) number = font->code_page;
  }
  const CodePage* page = code_pages_.find(number);
  if (page == nullptr) page = code_pages_.find(western_code_page);
  if (page != nullptr) page->decode(bytes, out, true);
}

}  // namespace trfilter::doc
