#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "engine/core/properties.h"

namespace trfilter {

/// What a member of a container is; the numbers are the binary interface's.
enum class SubfileKind : std::uint32_t {
  file = 0,
  message = 1,
  attachment = 2,  ///< of a message
  folder = 3,
  embedded = 4,  ///< an object, a picture or a document inside a document
  contact = 6,
  appointment = 7,
  task = 8,
  note = 9,
  journal_entry = 10,
};

/// One member of a container.
struct Subfile {
  static constexpr std::int32_t no_parent = -1;

  std::string name;  ///< UTF-8; folders within the container are part of it, separated by '/'
  SubfileKind kind = SubfileKind::file;
  std::int64_t size = 0;  ///< bytes that extraction gives; 0 when only extraction can tell
  FileTime time;          ///< last modified or sent; 0: not stated
  std::int32_t parent = no_parent;
  std::vector<std::int32_t>
      children;  ///< indexes, ascending; they name this member as their parent
};

/// Where a member's bytes go.
class ByteOutput {
 public:
  virtual ~ByteOutput() = default;
  /// Takes all of `bytes`.
  /// @throws EngineError code 16 when the host does not take them
  virtual void write(std::string_view bytes) = 0;
};

/// The members of a container, in a stable order from index 0 on.
///
/// A list that breaks off, because the rest of the container is damaged or beyond a bound, ends
/// with one index more than there are members: asking for that one throws what ended the list. So
/// the members before it are there, and nobody takes them for all. A container of which nothing can
/// be listed throws when it is opened.
class Subfiles {
 public:
  /// How an extraction ended.
  struct Extraction {
    bool external = false;  ///< nothing was written: the bytes are stored at `location`
    std::string location;
  };

  virtual ~Subfiles() = default;

  virtual std::size_t count() const = 0;

  /// @param index  below `count()`, here and below
  virtual Subfile describe(std::size_t index) = 0;

  /// Writes the bytes of a member that is no folder.
  /// @param formatted_mail  a message as self-contained HTML instead of its own bytes
  /// @throws EngineError with the member's own code: 8 password, 4 and 21 damaged, 43 compression
  /// ...
  virtual Extraction extract(std::size_t index, ByteOutput& output, bool formatted_mail) = 0;

  /// Adds the mail fields of a member; none for what is no message.
  virtual void mail_fields(std::size_t /*index*/, Properties& /*fields*/) {}
};

}  // namespace trfilter
