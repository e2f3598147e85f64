// Drawing interchange files, as text and binary, after the DXF Reference of Autodesk.
//
// Text is that of the entities that show text, in the file's order: those of the drawing, then
// those of its blocks. The blocks stand first in the file, and are returned to. Properties are
// those of the header.
//
// Not handled: properties that some releases keep in an object of a dictionary.

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <optional>
#include <string>

#include "engine/cad/drawing_strings.h"
#include "engine/cad/drawing_text.h"
#include "engine/cad/julian_day.h"
#include "engine/charset/charset_detector.h"
#include "engine/charset/encoding.h"
#include "engine/core/property_names.h"
#include "engine/core/reader.h"
#include "engine/readers/dxf_groups.h"

namespace trfilter {
namespace {

constexpr std::size_t groups_a_step = 16384;

/// What an entity's text is like.
enum class Style : std::uint8_t { none, line, paragraphs, dimension, leader };

struct EntityRow {
  std::string_view name;
  Style style;
};

constexpr auto entity_rows = std::to_array<EntityRow>({
    {"TEXT", Style::line},
    {"MTEXT", Style::paragraphs},
    {"ATTRIB", Style::line},
    {"ATTDEF", Style::line},
    {"DIMENSION", Style::dimension},
    {"ARC_DIMENSION", Style::dimension},
    {"LARGE_RADIAL_DIMENSION", Style::dimension},
    {"TOLERANCE", Style::paragraphs},
    {"MULTILEADER", Style::leader},
    {"MLEADER", Style::leader},
    {"ARCALIGNEDTEXT", Style::line},
    {"RTEXT", Style::line},
});

/// What the header's variables say.
struct HeaderValues {
  std::string release;
  std::string code_page;
};

/// The code page of a name as in $DWGCODEPAGE; 0: none is known.
std::int32_t code_page_of_name(std::string_view name) {
  std::string lower(name);
  std::transform(lower.begin(), lower.end(), lower.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  for (const std::string_view prefix : {"ansi_", "dos"}) {
    if (!lower.starts_with(prefix)) continue;
    std::int32_t number = 0;
    for (const char c : lower.substr(prefix.size())) {
      if (c < '0' || c > '9' || number > 9999) return 0;
      number = number * 10 + (c - '0');
    }
    return number;
  }
  return 0;
}

class DxfReader final : public Reader {
 public:
  explicit DxfReader(const ReaderContext& context)
      : context_(context), groups_(context_.document, context_.limits) {
    if (!groups_.next() || (groups_.code() != 0 && groups_.code() != comment_code)) {
      throw EngineError(Code::corrupt, "the drawing has no groups");
    }
    restart();
  }

  bool step(TextSink& sink) override {
    if (!strings_) start();
    for (std::size_t count = 0; count < groups_a_step && sink.size() < TextSink::chunk_size;
         ++count) {
      if (!groups_.next()) return finish(sink);
      if (take_group(sink)) continue;
      return finish(sink);
    }
    return true;
  }

  void properties(Properties& properties) override {
    start();
    std::string tag;
    for_each_header_value([&](std::string_view variable) {
      if (variable == "$LASTSAVEDBY") properties.add(property::last_author, text());
      if (variable == "$TDUCREATE") add_time(property::created, properties);
      if (variable == "$TDUUPDATE") add_time(property::last_saved, properties);
      if (variable == "$TDINDWG") add_duration(properties);
      if (variable == "$CUSTOMPROPERTYTAG") tag = text();
      if (variable == "$CUSTOMPROPERTY" && !tag.empty()) properties.add(tag, text());
    });
    restart();
  }

 private:
  static constexpr int comment_code = 999;

  void restart() { groups_.restart(); }

  std::string text() { return strings_->utf8(groups_.text()); }

  /// Calls `use` with each variable of the header, at each of its groups.
  template <typename Use>
  void for_each_header_value(Use use) {
    restart();
    std::string variable;
    bool in_header = false;
    while (groups_.next()) {
      context_.limits.check_time();
      if (groups_.code() == 0) {
        if (in_header) return;
      } else if (groups_.code() == 2 && !in_header) {
        if (groups_.text() != "HEADER") return;
        in_header = true;
      } else if (groups_.code() == 9) {
        variable = groups_.text();
      } else if (in_header) {
        use(std::string_view(variable));
      }
    }
  }

  /// Finds the character set: from release 2007 on it is UTF-8, before that the header names it.
  void start() {
    HeaderValues header;
    for_each_header_value([&](std::string_view variable) {
      if (variable == "$ACADVER") header.release = groups_.text();
      if (variable == "$DWGCODEPAGE") header.code_page = groups_.text();
    });
    restart();
    constexpr std::int32_t utf8 = 65001;
    std::int32_t page = header.release >= "AC1021" ? utf8 : code_page_of_name(header.code_page);
    if (page == 0) page = detected_page();
    strings_.emplace(false, page);
  }

  std::int32_t detected_page() {
    constexpr std::int32_t western = 1252;
    const DetectedCharset found =
        detect_charset(context_.document, context_.options, context_.limits);
    if (found.encoding == nullptr) return western;
    return found.encoding->kind == Encoding::Kind::utf8 ? 65001 : western;
  }

  static void add_number_time(std::string_view name, double day, Properties& properties) {
    constexpr double milliseconds = 86'400'000;
    constexpr double most_days = 10'000'000;
    if (!(day > 0 && day < most_days)) return;
    const double whole = std::floor(day);
    const FileTime time =
        cad::time_of_julian_day(static_cast<std::uint32_t>(whole),
                                static_cast<std::uint32_t>((day - whole) * milliseconds));
    if (time.ticks != 0) properties.add(name, time);
  }

  void add_time(std::string_view name, Properties& properties) {
    add_number_time(name, groups_.number(), properties);
  }

  void add_duration(Properties& properties) {
    constexpr double minutes_of_day = 24 * 60;
    const double minutes = groups_.number() * minutes_of_day;
    if (minutes >= 1 && minutes < std::numeric_limits<std::int32_t>::max()) {
      properties.add(property::edit_time, static_cast<std::int32_t>(minutes));
    }
  }

  /// @return false where the drawing ends
  bool take_group(TextSink& sink) {
    const int code = groups_.code();
    if (code == 0) {
      give(sink);
      const std::string_view name = groups_.text();
      if (name == "EOF") {
        whole_ = true;
        return false;
      }
      if (name == "ENDSEC" && section_ == "BLOCKS" && in_blocks_) {
        whole_ = true;
        return false;
      }
      if (name == "SECTION" || name == "ENDSEC") {
        section_.clear();
        section_name_due_ = name == "SECTION";
      } else {
        begin_entity(name);
      }
      return true;
    }
    if (code == 2 && section_name_due_) {
      section_ = groups_.text();
      section_name_due_ = false;
      if (section_ == "BLOCKS" && !in_blocks_) blocks_at_ = groups_.offset();
      return true;
    }
    if (style_ != Style::none) take_entity_group(code);
    return true;
  }

  void begin_entity(std::string_view name) {
    style_ = Style::none;
    if (section_ != (in_blocks_ ? "BLOCKS" : "ENTITIES")) return;
    const auto* row = std::find_if(entity_rows.begin(), entity_rows.end(),
                                   [&](const EntityRow& r) { return r.name == name; });
    if (row == entity_rows.end()) return;
    style_ = row->style;
  }

  void take_entity_group(int code) {
    constexpr int invisible = 60;
    constexpr int embedded = 101;
    constexpr int leader_text = 304;
    constexpr std::size_t most_text = std::size_t{16} << 20;
    if (code == invisible) invisible_ = groups_.number() != 0;
    if (code == embedded) {
      // An attribute in paragraphs has them in an object of its own; others repeat themselves
      // there.
      const bool repeats = !parts_.empty() || !last_.empty() || style_ != Style::line;
      if (repeats) {
        embedded_ = true;
      } else {
        style_ = Style::paragraphs;
      }
    }
    if (embedded_ || parts_.size() > most_text) return;
    if (style_ == Style::leader) {
      if (code == leader_text && groups_.text() != "LEADER_LINE{") last_ = groups_.text();
    } else if (code == 1) {
      last_ = groups_.text();
    } else if (code == 3 && style_ == Style::paragraphs) {
      parts_ += groups_.text();
    } else if (code == 2 && style_ == Style::dimension) {
      has_block_ = true;  // which shows its text
    }
  }

  void give(TextSink& sink) {
    if (style_ != Style::none && !has_block_) {
      const std::string all = strings_->utf8(parts_ + last_);
      const std::string text =
          style_ == Style::line ? cad::plain_line(all) : cad::plain_paragraphs(all);
      if (invisible_) sink.begin(Region::hidden);
      sink.text(text);
      if (invisible_) sink.end(Region::hidden);
      if (!text.empty()) sink.paragraph();
    }
    style_ = Style::none;
    parts_.clear();
    last_.clear();
    invisible_ = embedded_ = has_block_ = false;
  }

  /// At the end of the drawing the blocks are read, at their end all is done.
  bool finish(TextSink& sink) {
    if (!whole_) give(sink);
    if (!whole_) damaged_ = true;
    if (in_blocks_ || blocks_at_ == 0) {
      if (damaged_) throw EngineError(Code::corrupt, "the drawing is cut or damaged");
      return false;
    }
    in_blocks_ = true;
    whole_ = false;
    section_ = "BLOCKS";
    section_name_due_ = false;
    groups_.seek(blocks_at_);
    return true;
  }

  const ReaderContext context_;
  dxf::Groups groups_;
  std::optional<cad::Strings> strings_;

  std::string section_;
  bool section_name_due_ = false;
  std::uint64_t blocks_at_ = 0;  ///< behind the begin of the section; 0: there is none
  bool in_blocks_ = false;       ///< they are read, after all else
  bool whole_ = false;           ///< what is read has its end
  bool damaged_ = false;

  // The entity that is read.
  Style style_ = Style::none;
  std::string parts_;  ///< of a text in paragraphs, all but the last
  std::string last_;
  bool invisible_ = false;
  bool embedded_ = false;
  bool has_block_ = false;
};

}  // namespace
}  // namespace trfilter

TRFILTER_READER(dxf, trfilter::DxfReader)
