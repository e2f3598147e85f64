// WARC files (ISO 28500), plain or one compressed stream: every record is a member, its block the
// member's bytes. A record has no file name; its member's is the record's type and what it is
// about.

#include "engine/readers/archive_warc.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "engine/core/engine_error.h"
#include "engine/members/member_list.h"
#include "engine/readers/archive_subfiles.h"

namespace trfilter {
namespace {

constexpr std::size_t header_bytes = std::size_t{64} << 10;

/// Reads lines and blocks of a stream, and knows where it is.
class LineStream {
 public:
  explicit LineStream(std::unique_ptr<ByteStream> stream) : stream_(std::move(stream)) {
    buffer_.reserve(buffer_size);
  }

  std::uint64_t position() const { return position_; }

  /// The next line without its end; none at the end of the stream.
  /// @throws EngineError code 21 for one that is too long
  std::optional<std::string> line() {
    std::string line;
    while (true) {
      if (rest_.empty() && !fill()) {
        if (line.empty()) return std::nullopt;
        return line;
      }
      const std::size_t end = rest_.find('\n');
      const std::size_t count = end == std::string_view::npos ? rest_.size() : end + 1;
      line.append(rest_.substr(0, count));
      advance(count);
      if (line.size() > header_bytes) {
        throw EngineError(Code::archive_broken, "a line of a WARC header has no end");
      }
      if (end == std::string_view::npos) continue;
      line.pop_back();
      if (line.ends_with('\r')) line.pop_back();
      return line;
    }
  }

  /// @return bytes passed over; less than `count` only at the end
  std::uint64_t skip(std::uint64_t count) {
    const auto buffered = std::min<std::uint64_t>(rest_.size(), count);
    advance(static_cast<std::size_t>(buffered));
    const std::uint64_t passed = stream_->skip(count - buffered);
    position_ += passed;
    return buffered + passed;
  }

  /// Up to `most` bytes, valid until the next call; empty at the end.
  std::string_view block(std::uint64_t most) {
    if (most == 0 || (rest_.empty() && !fill())) return {};
    const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(rest_.size(), most));
    const std::string_view bytes = rest_.substr(0, count);
    advance(count);
    return bytes;
  }

 private:
  static constexpr std::size_t buffer_size = std::size_t{64} << 10;

  bool fill() {
    buffer_.resize(buffer_size);
    buffer_.resize(stream_->read(buffer_));
    rest_ = buffer_;
    return !rest_.empty();
  }
  void advance(std::size_t count) {
    rest_.remove_prefix(count);
    position_ += count;
  }

  std::unique_ptr<ByteStream> stream_;
  std::string buffer_;
  std::string_view rest_;
  std::uint64_t position_ = 0;
};

struct Record {
  std::string type;
  std::string target;
  std::string id;
  FileTime time;
  std::uint64_t length = 0;
};

bool equal_names(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return (x | 0x20) == (y | 0x20); });
}

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
  return text;
}

std::string_view without_angles(std::string_view text) {
  if (text.starts_with('<') && text.ends_with('>')) text = text.substr(1, text.size() - 2);
  return text;
}

/// A time such as 2006-09-19T17:20:24Z.
FileTime time_of(std::string_view text) {
  constexpr std::string_view pattern = "0000-00-00T00:00:00";
  if (text.size() < pattern.size()) return {};
  const auto number = [&](std::size_t at, std::size_t count) {
    int value = -1;
    std::from_chars(text.data() + at, text.data() + at + count, value);
    return value;
  };
  const auto date = std::chrono::year(number(0, 4)) /
                    std::chrono::month(static_cast<unsigned>(number(5, 2))) /
                    std::chrono::day(static_cast<unsigned>(number(8, 2)));
  const int hour = number(11, 2);
  const int minute = number(14, 2);
  const int second = number(17, 2);
  if (!date.ok() || hour < 0 || minute < 0 || second < 0) return {};
  const auto days = std::chrono::sys_days(date).time_since_epoch().count();
  return file_time_of(days * 86'400LL + hour * 3600LL + minute * 60LL + second);
}

/// Reads the header of the next record. @return none at the end of the file
std::optional<Record> read_header(LineStream& stream) {
  std::optional<std::string> line = stream.line();
  while (line && line->empty()) line = stream.line();
  if (!line) return std::nullopt;
  if (!line->starts_with("WARC/")) {
    throw EngineError(Code::archive_broken, "a WARC record does not begin where it should");
  }
  Record record;
  bool has_length = false;
  std::size_t size = 0;
  while ((line = stream.line()) && !line->empty()) {
    size += line->size();
    if (size > header_bytes) throw EngineError(Code::archive_broken, "a WARC header has no end");
    const std::size_t colon = line->find(':');
    if (colon == std::string::npos) continue;
    const std::string_view name = std::string_view(*line).substr(0, colon);
    const std::string_view value = trimmed(std::string_view(*line).substr(colon + 1));
    if (equal_names(name, "WARC-Type")) record.type = value;
    if (equal_names(name, "WARC-Target-URI")) record.target = without_angles(value);
    if (equal_names(name, "WARC-Record-ID")) record.id = without_angles(value);
    if (equal_names(name, "WARC-Date")) record.time = time_of(value);
    if (equal_names(name, "Content-Length")) {
      const auto [end, error] =
          std::from_chars(value.data(), value.data() + value.size(), record.length);
      has_length = error == std::errc() && end == value.data() + value.size();
    }
  }
  if (!has_length || record.length > std::uint64_t{1} << 62) {
    throw EngineError(Code::archive_broken, "a WARC record does not state its length");
  }
  return record;
}

class WarcRecords final : public Subfiles {
 public:
  WarcRecords(const ReaderContext& context, ArchiveSource source)
      : context_(context), source_(std::move(source)), list_(context.options, context.limits) {
    try {
      LineStream stream(source_.open(0));
      while (const auto record = read_header(stream)) {
        const std::uint64_t begin = stream.position();
        const std::uint64_t length = stream.skip(record->length);
        std::string name =
            record->type + '/' + (record->target.empty() ? record->id : record->target);
        // A page that is called by its folder is a file all the same.
        if (name.ends_with('/')) name += "index";
        MemberFacts facts;
        facts.name = name;
        facts.size = static_cast<std::int64_t>(length);
        facts.time = record->time;
        facts.locator = begin;
        list_.add(facts);
        if (length < record->length) {
          throw EngineError(Code::archive_broken, "the last WARC record is cut short");
        }
      }
    } catch (const EngineError& error) {
      const bool fatal = error.code() == Code::timed_out || error.code() == Code::out_of_memory;
      if (list_.size() == 0 || fatal) throw;
      end_.break_off();
    }
    list_.finish();
  }

  std::size_t count() const override { return list_.size() + (end_.broken_off() ? 1 : 0); }

  Subfile describe(std::size_t index) override {
    if (index >= list_.size()) end_.rethrow();
    return list_.describe(index);
  }

  Extraction extract(std::size_t index, ByteOutput& output, bool /*formatted_mail*/) override {
    if (index >= list_.size()) end_.rethrow();
    const std::uint64_t begin = list_.locator(index);
    try {
      if (stream_ == nullptr || stream_->position() > begin) {
        stream_ = std::make_unique<LineStream>(source_.open(0));
      }
      stream_->skip(begin - stream_->position());
      auto left = static_cast<std::uint64_t>(list_.stated_size(index));
      while (left != 0) {
        const std::string_view bytes = stream_->block(left);
        if (bytes.empty()) throw EngineError(Code::corrupt, "a WARC record is cut short");
        left -= bytes.size();
        if (source_.packed_bytes != nullptr) {
          const std::uint64_t end = stream_->position();
          context_.limits.check_expansion(end - begin, source_.packed_bytes(begin, end));
        }
        output.write(bytes);
        context_.limits.check_time();
      }
    } catch (...) {
      stream_.reset();
      throw;
    }
    return {};
  }

 private:
  ReaderContext context_;
  ArchiveSource source_;
  MemberList list_;
  ListEnd end_;
  std::unique_ptr<LineStream> stream_;
};

}  // namespace

std::unique_ptr<Subfiles> list_warc(const ReaderContext& context, ArchiveSource source) {
  return std::make_unique<WarcRecords>(context, std::move(source));
}

std::unique_ptr<Subfiles> open_warc(const ReaderContext& context) {
  return list_warc(context, document_source(context));
}

}  // namespace trfilter
