#include "engine/readers/ppt_1995.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "engine/charset/legacy_guess.h"
#include "engine/charset/text_decoder.h"
#include "engine/charset/utf8_scan.h"
#include "engine/core/byte_cursor.h"
#include "engine/readers/ppt_text.h"

namespace trfilter::ppt {
namespace {

constexpr std::uint32_t whole = 3;  // the record that all others lie in
constexpr std::uint32_t list = 2000;
constexpr std::uint32_t text_of_a_box = 4064;
constexpr std::uint32_t string_of_characters = 2030;
constexpr std::uint32_t points_of_a_line = 3035;
constexpr std::uint32_t role_of_text = 0x35;
constexpr std::uint32_t container_mark = 0xFFFF;
constexpr std::size_t header_size = 16;
constexpr std::size_t most_slides = std::size_t{1} << 16;
constexpr std::uint64_t longest_text = std::uint64_t{1} << 20;

}  // namespace

bool Slides1995::Record::is_container() const {
  // Some strings and lists of points are marked as containers, too.
  return mark == container_mark && type != record::string && type != points_of_a_line;
}

std::unique_ptr<Slides1995> Slides1995::find(const CompoundFile& file, std::uint32_t storage,
                                             const Options& options, Limits& limits) {
  const auto entry = file.child(storage, "PowerPoint Document");
  if (!entry) return nullptr;
  std::unique_ptr<Slides1995> slides(new Slides1995(file.open(*entry), options, limits));
  std::uint64_t at = 0;
  const std::uint64_t end = slides->stream_->size();
  const auto all = slides->next(at, end);
  if (!all || all->type != whole || !all->is_container()) return nullptr;
  std::uint64_t within = all->begin;
  const auto document = slides->next(within, all->end);
  if (!document || document->type != record::document || !document->is_container()) return nullptr;
  slides->find_slides(*document);
  return slides;
}

Slides1995::Slides1995(std::unique_ptr<CompoundStream> stream, const Options& options,
                       Limits& limits)
    : stream_(std::move(stream)), options_(options), limits_(limits) {}

std::optional<Slides1995::Record> Slides1995::next(std::uint64_t& at, std::uint64_t end) {
  limits_.check_time();
  if (end - at < header_size) return std::nullopt;
  std::array<char, header_size> header{};
  if (stream_->read_at(at, header) < header.size()) {
    damaged_ = true;
    return std::nullopt;
  }
  ByteCursor fields({header.data(), header.size()});
  Record found;
  found.type = fields.u32();
  found.mark = fields.u32();
  const std::uint32_t size = fields.u32();
  found.role = fields.u32();
  found.begin = at + header_size;
  if (size > end - found.begin) damaged_ = true;
  found.end = found.begin + std::min<std::uint64_t>(size, end - found.begin);
  at = found.end;
  return found;
}

/// Slides and the pages of their notes stand in lists of their own, in the same order.
void Slides1995::find_slides(const Record& document) {
  std::uint64_t at = document.begin;
  while (const auto each = next(at, document.end)) {
    if (each->type != list || !each->is_container()) continue;
    std::uint64_t within = each->begin;
    while (const auto page = next(within, each->end)) {
      auto* pages = page->type == record::slide   ? &slides_
                    : page->type == record::notes ? &notes_
                                                  : nullptr;
      if (pages != nullptr && page->is_container() && pages->size() < most_slides) {
        pages->push_back(*page);
      }
    }
  }
  if (notes_.size() != slides_.size()) notes_.clear();
}

void Slides1995::show(TextSink& sink, std::size_t slide) {
  show_records(sink, slides_[slide], 0);
  if (slide < notes_.size()) {
    if (sink.begin(Region::speaker_note)) show_records(sink, notes_[slide], 0);
    sink.end(Region::speaker_note);
  }
  sink.page();
}

void Slides1995::show_records(TextSink& sink, const Record& container, unsigned depth) {
  limits_.check_depth(depth);
  std::uint64_t at = container.begin;
  while (const auto each = next(at, container.end)) {
    const bool is_text = container.type == text_of_a_box && each->type == string_of_characters;
    if (is_text && each->role == role_of_text) {
      show_text(sink, *each);
    } else if (each->is_container()) {
      show_records(sink, *each, depth + 1);
    }
  }
}

void Slides1995::show_text(TextSink& sink, const Record& text) {
  std::string bytes(static_cast<std::size_t>(std::min(text.end - text.begin, longest_text)), '\0');
  bytes.resize(stream_->read_at(text.begin, bytes));
  // A field, of which only the place is kept.
  if (bytes == "*") return;
  TextDecoder decoder(is_ascii(bytes) ? windows_1252_encoding() : encoding_of(bytes));
  std::string_view left = decoder.decode(bytes, true);
  for (;;) {
    constexpr char line_within_a_paragraph = '\v';
    const std::size_t end = std::min(left.find_first_of("\r\v"), left.size());
    sink.text(left.substr(0, end));
    if (end == left.size()) break;
    left[end] == line_within_a_paragraph ? sink.line() : sink.paragraph();
    left.remove_prefix(end + 1);
  }
  sink.paragraph();
}

/// The records name no character set: it is the host's, or the one that text looks like.
const Encoding& Slides1995::encoding_of(const std::string& bytes) {
  if (encoding_ == nullptr) {
    encoding_ = encoding_of_number(options_.source_encoding);
    if (encoding_ == nullptr) {
      encoding_ =
          options_.detect_character_set ? &guess_legacy_encoding(bytes) : &windows_1252_encoding();
    }
  }
  return *encoding_;
}

}  // namespace trfilter::ppt
