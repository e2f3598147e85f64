// Binary property lists, and the saved pages that are some of them ("web archives").
//
// The format has no standard; its public description is the comment at the head of the system's
// open source (CFBinaryPList.c). Text is that of the same list in XML: a row a key with its value.
// Of a saved page it is that of the page; what belongs to the page are members.
//
// Not handled: what an archiver of objects makes of a list (references between objects by UID stay
// numbers).
//
// Bounds: a dictionary or array counts where it is met first, so that lists that hold each other
// end; text that is referred to often is charged as unpacked bytes.

#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "engine/charset/text_decoder.h"
#include "engine/core/engine_error.h"
#include "engine/core/reader.h"
#include "engine/readers/property_list_archive.h"
#include "engine/readers/property_list_file.h"

namespace trfilter {
namespace {

using Object = PropertyListFile::Object;
using Kind = PropertyListFile::Kind;

constexpr std::size_t text_block = std::size_t{64} << 10;

/// Seconds since 2001-01-01 00:00:00 UTC, as ISO 8601; empty for what is no time near ours.
std::string date_text(double seconds) {
  constexpr double most = 1e11;  // three thousand years
  if (!(std::abs(seconds) < most)) return {};
  using namespace std::chrono;
  const sys_seconds time = sys_days(year(2001) / January / 1) +
                           std::chrono::seconds(static_cast<std::int64_t>(std::floor(seconds)));
  const auto day = floor<days>(time);
  const year_month_day date(day);
  const hh_mm_ss clock(time - day);
  const auto two = [](auto number) {
    const auto text = std::to_string(number);
    return text.size() < 2 ? "0" + text : text;
  };
  std::string years = std::to_string(static_cast<int>(date.year()));
  if (years.size() < 4 && years[0] != '-') years.insert(0, 4 - years.size(), '0');
  return years + '-' + two(static_cast<unsigned>(date.month())) + '-' +
         two(static_cast<unsigned>(date.day())) + 'T' + two(clock.hours().count()) + ':' +
         two(clock.minutes().count()) + ':' + two(clock.seconds().count()) + 'Z';
}

class PropertyListReader final : public Reader {
 public:
  explicit PropertyListReader(const ReaderContext& context)
      : context_(context), file_(context_.document.bytes()), archive_(is_web_archive(file_)) {}

  bool step(TextSink& sink) override {
    if (archive_) {
      if (!page_) page_ = open_main_page(context_, file_);
      if (!page_) throw EngineError(Code::unsupported_format, "the saved page has no text");
      return page_->step(sink);
    }
    if (!begun_) {
      begun_ = true;
      met_.resize(static_cast<std::size_t>(file_.size()));
      meet(file_.top(), sink, false);
    }
    constexpr int values_of_step = 1000;
    for (int i = 0; i < values_of_step && sink.size() < TextSink::chunk_size; ++i) {
      if (text_) {
        write_text(sink);
      } else if (open_.empty()) {
        return false;
      } else {
        next(sink);
      }
    }
    context_.limits.check_time();
    return true;
  }

  void properties(Properties& properties) override {
    if (!archive_) return;
    if (const auto page = open_main_page(context_, file_)) page->reader().properties(properties);
  }

  std::unique_ptr<Subfiles> subfiles() override {
    return archive_ ? web_archive_members(context_, file_) : nullptr;
  }

 private:
  struct Open {
    Object object;
    std::uint64_t next = 0;
    bool key = true;  ///< of a dictionary: what comes next
  };

  /// Text that is being written.
  struct Text {
    std::string_view rest;
    bool key;
    std::optional<TextDecoder> decoder;
  };

  void next(TextSink& sink) {
    Open& open = open_.back();
    if (open.next == open.object.count) {
      open_.pop_back();
      sink.row();
      return;
    }
    if (open.object.kind == Kind::array) {
      meet(file_.member(open.object, open.next++), sink, false);
    } else if (std::exchange(open.key, !open.key)) {
      sink.row();
      sink.begin_row();
      meet(file_.member(open.object, open.next), sink, true);
    } else {
      meet(file_.member(open.object, open.object.count + open.next++), sink, false);
    }
  }

  void meet(std::uint64_t number, TextSink& sink, bool key) {
    const Object object = file_.at(number);
    std::array<char, 32> digits;
    const auto write_number = [&](auto value) {
      const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
      sink.clean_text({digits.data(), static_cast<std::size_t>(end - digits.data())});
    };
    switch (object.kind) {
      case Kind::array:
      case Kind::dictionary:
        sink.row();
        if (met_[static_cast<std::size_t>(number)]) break;
        met_[static_cast<std::size_t>(number)] = true;
        context_.limits.check_depth(static_cast<unsigned>(open_.size()) + 1);
        open_.push_back({object});
        return;
      case Kind::ascii:
      case Kind::utf16:
        context_.limits.charge_unpacked(object.bytes.size());
        text_.emplace(Text{object.bytes, key, std::nullopt});
        text_->decoder.emplace(object.kind == Kind::utf16 ? *encoding_of_label("utf-16be")
                                                          : utf8_encoding());
        return;
      case Kind::boolean:
        sink.clean_text(object.truth ? "true" : "false");
        break;
      case Kind::integer:
      case Kind::uid:
        write_number(file_.integer_of(object));
        break;
      case Kind::real:
        write_number(file_.real_of(object));
        break;
      case Kind::date:
        sink.clean_text(date_text(file_.real_of(object)));
        break;
      case Kind::null:
      case Kind::data:
        break;
    }
    end_value(sink, key);
  }

  void write_text(TextSink& sink) {
    const std::string_view block = text_->rest.substr(0, text_block);
    text_->rest.remove_prefix(block.size());
    sink.text(text_->decoder->decode(block, text_->rest.empty()));
    if (!text_->rest.empty()) return;
    const bool key = text_->key;
    text_.reset();
    end_value(sink, key);
  }

  static void end_value(TextSink& sink, bool key) {
    if (key) {
      sink.cell();
    } else {
      sink.row();
    }
  }

  ReaderContext context_;
  PropertyListFile file_;
  bool archive_;
  std::unique_ptr<NestedReader> page_;
  bool begun_ = false;
  std::vector<bool> met_;  ///< dictionaries and arrays
  std::vector<Open> open_;
  std::optional<Text> text_;
};

}  // namespace
}  // namespace trfilter

TRFILTER_READER(property_list, trfilter::PropertyListReader)
