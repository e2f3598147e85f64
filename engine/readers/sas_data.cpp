// Data sets of SAS 7 and later: what the header says ("SAS7BDAT Database Binary Format", M.
// Shotwell, the sas7bdat package's documentation of the format).
//
// There is no text: the values are not read.

#include <bit>
#include <string>

#include "engine/core/fields.h"
#include "engine/core/property_names.h"
#include "engine/core/reader.h"
#include "engine/core/utf8.h"

namespace trfilter {
namespace {

constexpr std::string_view mark = literal(
    "\0\0\0\0\0\0\0\0\0\0\0\0\xC2\xEA\x81\x60\xB3\x14\x11\xCF\xBD\x92\x08\0\x09\xC7\x31\x8C\x18\x1F"
    "\x10\x11");

/// Text of a field of fixed length, padded with blanks and NUL characters.
std::string text_of(std::string_view field) {
  field = field.substr(0, field.find('\0'));
  field = field.substr(0, field.find_last_not_of(' ') + 1);
  if (is_valid_utf8(field)) return std::string(field);
  std::string text;
  for (const char c : field) append_utf8(text, static_cast<unsigned char>(c));
  return text;
}

class SasDataReader final : public Reader {
 public:
  explicit SasDataReader(const ReaderContext& context) : head_(context.document.head(head_size)) {
    constexpr std::size_t longest_header_begin = 256;
    if (!head_.starts_with(mark) || head_.size() < longest_header_begin) {
      throw EngineError(Code::corrupt, "the data set has no header");
    }
  }

  bool step(TextSink& /*sink*/) override {
    throw EngineError(Code::unsupported_format, "a data set has no text");
  }

  void properties(Properties& properties) override {
    // Two bytes tell whether fields are aligned, and whether counts have eight bytes.
    constexpr char yes = '3';
    const std::size_t aligned = head_[35] == yes ? 4 : 0;
    const std::size_t wide = head_[32] == yes ? 4 : 0;
    little_ = head_[37] == 1;
    properties.add(property::title, text_of(head_.substr(92, 64)));
    add_time(property::created, 164 + aligned, properties);
    add_time(property::last_saved, 172 + aligned, properties);
    const std::size_t release = 216 + aligned + wide;
    properties.add(property::application_version, text_of(head_.substr(release, 8)));
    properties.add(property::application, text_of(head_.substr(release + 8, 16)));
  }

 private:
  static constexpr std::size_t head_size = 288;

  /// Seconds since the begin of 1960.
  void add_time(std::string_view name, std::size_t at, Properties& properties) const {
    constexpr double seconds_to_1970 = 315'619'200;
    constexpr double most = 1e11;
    const std::uint64_t bits = little_ ? le64(head_, at) : be64(head_, at);
    const double seconds = std::bit_cast<double>(bits);
    if (!(seconds > 0 && seconds < most)) return;
    const FileTime time =
        FileTime::from_unix_seconds(static_cast<std::int64_t>(seconds - seconds_to_1970));
    if (time.ticks != 0) properties.add(name, time);
  }

  std::string_view head_;
  bool little_ = true;
};

}  // namespace
}  // namespace trfilter

TRFILTER_READER(sas_data, trfilter::SasDataReader)
