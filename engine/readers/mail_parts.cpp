#include "engine/readers/mail_parts.h"

#include <algorithm>
#include <array>
#include <unordered_map>
#include <utility>

#include "engine/mail/encoded_words.h"

namespace trfilter::mail {
namespace {

constexpr std::size_t deepest = 256;
constexpr std::size_t most_parts = 2'000'000;
// RFC 2046, 5.1.1: 70 characters.
constexpr std::size_t longest_boundary = 1024;

struct KindRow {
  std::string_view media_type;
  PartKind kind;
};
constexpr std::array kinds{
    KindRow{"multipart/alternative", PartKind::alternative},
    KindRow{"multipart/related", PartKind::related},
    KindRow{"multipart/digest", PartKind::digest},
    KindRow{"multipart/signed", PartKind::signed_},
    KindRow{"multipart/encrypted", PartKind::encrypted},
    KindRow{"text/plain", PartKind::plain},
    KindRow{"text", PartKind::plain},
    KindRow{"text/html", PartKind::html},
    KindRow{"text/xhtml", PartKind::html},
    KindRow{"application/xhtml+xml", PartKind::html},
    KindRow{"text/enriched", PartKind::html},
    KindRow{"text/richtext", PartKind::html},
    KindRow{"text/rtf", PartKind::rtf},
    KindRow{"application/rtf", PartKind::rtf},
    KindRow{"text/calendar", PartKind::calendar},
    KindRow{"message/rfc822", PartKind::message},
    KindRow{"message/global", PartKind::message},
    KindRow{"message/news", PartKind::message},
};

PartKind kind_of(std::string_view media_type, PartKind fallback) {
  if (media_type.find('/') == std::string_view::npos && media_type != "text") return fallback;
  const auto row = std::ranges::find(kinds, media_type, &KindRow::media_type);
  if (row != kinds.end()) return row->kind;
  if (media_type.starts_with("multipart/")) return PartKind::mixed;
  if (media_type.starts_with("text/")) return PartKind::other_text;
  return PartKind::other;
}

std::string_view without_trailing_blanks(std::string_view line) {
  while (!line.empty() && (line.back() == ' ' || line.back() == '\t' || line.back() == '\r')) {
    line.remove_suffix(1);
  }
  return line;
}

/// Finds parts by the boundaries of the multiparts that are open.
class PartFinder {
 public:
  PartFinder(Document& document, Limits& limits, const Stretch& stretch, const Options& options)
      : document_(document),
        limits_(limits),
        stretch_(stretch),
        options_(options),
        lines_(document, limits, stretch) {}

  std::vector<Part> find() {
    begin_part(stretch_.begin, Part::none);
    lines_.skip_to(parts_.front().body);
    bool more = !open_.empty() && lines_.find("--");
    while (more) {
      if (!boundary()) more = lines_.next();
      more = more && !open_.empty() && lines_.find("--");
    }
    close(0, stretch_.end);
    for (Part& part : parts_) {
      if (part.is_multipart() && part.first_child == Part::none) part.kind = PartKind::plain;
    }
    return std::move(parts_);
  }

 private:
  struct Open {
    std::int32_t part;
    std::int32_t last_child = Part::none;
    std::string boundary;
    std::size_t outer;  ///< the open multipart of the same boundary that this one hides
  };
  static constexpr std::size_t no_outer = static_cast<std::size_t>(-1);

  /// Looks at a line that begins with two hyphens.
  /// @return whether it was a boundary and the place has been moved behind it
  bool boundary() {
    std::string_view line = without_trailing_blanks(lines_.line());
    if (line.size() > longest_boundary + 4) return false;
    line.remove_prefix(2);
    bool closes = false;
    auto found = by_boundary_.find(std::string(line));
    if (found == by_boundary_.end() && line.ends_with("--")) {
      line.remove_suffix(2);
      found = by_boundary_.find(std::string(line));
      closes = true;
    }
    if (found == by_boundary_.end()) return false;
    const std::size_t level = found->second;
    const std::uint64_t end = lines_.end_of_previous();
    close(level + 1, end);
    end_last_child(open_[level], end);
    if (closes) {
      close(level, end);
      return false;
    }
    if (parts_.size() >= most_parts) {
      close(0, stretch_.end);
      return false;
    }
    const bool more = lines_.next();
    const std::uint64_t begin = more ? lines_.offset() : stretch_.end;
    begin_part(begin, static_cast<std::int32_t>(level));
    lines_.skip_to(parts_.back().body);
    return true;
  }

  /// @param level  of the multipart that it is in; none for the message itself
  void begin_part(std::uint64_t begin, std::int32_t level) {
    const auto number = static_cast<std::int32_t>(parts_.size());
    Part part;
    PartKind fallback = PartKind::plain;
    if (level != Part::none) {
      Open& outer = open_[static_cast<std::size_t>(level)];
      part.parent = outer.part;
      Part& parent = parts_[static_cast<std::size_t>(outer.part)];
      // RFC 2046, 5.1.5.
      if (parent.kind == PartKind::digest) fallback = PartKind::message;
      if (outer.last_child == Part::none) {
        parent.first_child = number;
      } else {
        parts_[static_cast<std::size_t>(outer.last_child)].next_sibling = number;
      }
      outer.last_child = number;
    }
    Stretch rest = stretch_;
    rest.begin = begin;
    const Header header(document_, limits_, rest);
    part.header = begin;
    part.body = header.body();
    part.end = stretch_.end;
    const ParameterizedValue type = parse_parameters(header.value("content-type"), options_);
    const ParameterizedValue disposition =
        parse_parameters(header.value("content-disposition"), options_);
    part.kind = kind_of(type.value, fallback);
    part.encoding = transfer_encoding_of(header.value("content-transfer-encoding"));
    part.attachment = disposition.value == "attachment";
    part.named = !disposition.parameter("filename").empty() || !type.parameter("name").empty();
    parts_.push_back(part);
    if (!part.is_multipart()) return;
    std::string boundary(without_trailing_blanks(type.parameter("boundary")));
    const bool usable = !boundary.empty() && boundary.size() <= longest_boundary;
    if (!usable || open_.size() >= deepest) {
      // Text if it ends here, else something in itself.
      parts_.back().kind = usable ? PartKind::other : PartKind::plain;
      return;
    }
    const auto [place, fresh] = by_boundary_.try_emplace(boundary, open_.size());
    const std::size_t outer = fresh ? no_outer : std::exchange(place->second, open_.size());
    open_.push_back({number, Part::none, std::move(boundary), outer});
  }

  static bool ends_later(const Part& part, std::uint64_t end) { return part.end > end; }

  void end_part(std::int32_t number, std::uint64_t end) {
    Part& part = parts_[static_cast<std::size_t>(number)];
    if (ends_later(part, end)) part.end = std::max(end, part.body);
  }

  void end_last_child(const Open& open, std::uint64_t end) {
    if (open.last_child != Part::none) end_part(open.last_child, end);
  }

  /// Ends the multiparts from `level` on.
  void close(std::size_t level, std::uint64_t end) {
    while (open_.size() > level) {
      const Open& last = open_.back();
      end_last_child(last, end);
      end_part(last.part, end);
      if (last.outer == no_outer) {
        by_boundary_.erase(last.boundary);
      } else {
        by_boundary_[last.boundary] = last.outer;
      }
      open_.pop_back();
    }
  }

  Document& document_;
  Limits& limits_;
  Stretch stretch_;
  const Options& options_;
  LineFinder lines_;
  std::vector<Part> parts_;
  std::vector<Open> open_;
  std::unordered_map<std::string, std::size_t> by_boundary_;  ///< the innermost open one of each
};

}  // namespace

std::vector<Part> find_parts(Document& document, Limits& limits, const Stretch& stretch,
                             const Options& options) {
  return PartFinder(document, limits, stretch, options).find();
}

PartFacts part_facts(const Header& header, const Options& options) {
  PartFacts facts;
  const ParameterizedValue type = parse_parameters(header.value("content-type"), options);
  const ParameterizedValue disposition =
      parse_parameters(header.value("content-disposition"), options);
  facts.media_type = type.value;
  facts.charset = type.parameter("charset");
  facts.name = disposition.parameter("filename");
  if (facts.name.empty()) facts.name = type.parameter("name");
  facts.content_id = identifier(header.value("content-id"));
  facts.location = decode_header_text(header.value("content-location"), options);
  facts.start = identifier(type.parameter("start"));
  const auto is = [](std::string_view value, std::string_view wanted) {
    return std::ranges::equal(value, wanted, {}, [](char c) {
      return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c;
    });
  };
  facts.flowed = is(type.parameter("format"), "flowed");
  facts.delete_space = is(type.parameter("delsp"), "yes");
  facts.modified = parse_date(disposition.parameter("modification-date")).value_or(FileTime{});
  return facts;
}

}  // namespace trfilter::mail
