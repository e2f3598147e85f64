#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "engine/core/document.h"
#include "engine/core/limits.h"
#include "engine/core/properties.h"

namespace trfilter {

/// Random access to the parts of a zip package (APPNOTE.TXT of the zip format): stored and deflated
/// members, 64-bit sizes. What is unpacked is charged to the limits as it comes out.
class ZipPackage {
 public:
  /// Reads the directory of `document`, which outlives the package. A package whose directory is
  /// missing (a file cut short) is opened by its members' local headers.
  /// @throws EngineError code 4 when there is not one member
  ZipPackage(Document& document, Limits& limits);
  ZipPackage(const ZipPackage&) = delete;
  ZipPackage& operator=(const ZipPackage&) = delete;
  ~ZipPackage();

  /// Whether the directory was missing: what is here is what could be found.
  bool damaged() const;

  /// Names of all members, as stored, in the directory's order.
  const std::vector<std::string>& names() const;

  /// Whether there is a member of this name; compared without regard to ASCII case, as Open
  /// Packaging Conventions compare part names. A leading '/' is ignored.
  bool contains(std::string_view name) const;

  /// What the directory says of a member. A size is a claim: what comes out may be more or less.
  struct Stated {
    std::int64_t size = 0;  ///< unpacked; 0 when nothing is said
    FileTime time;  ///< none for the first day of the format's calendar, which means "not known"
  };

  /// @return zeros when there is no member of this name, or the directory is missing
  Stated stated(std::string_view name) const;

  /// One member, read from its begin to its end.
  class Part {
   public:
    virtual ~Part() = default;
    /// Copies the next unpacked bytes. @return bytes copied; 0 at the end
    /// @throws EngineError code 4 for damaged data or a wrong checksum, code 43 for a compression
    ///         method that is not supported, code 8 for an encrypted member
    virtual std::size_t read(std::span<char> out) = 0;
    /// Packed bytes that have been read so far.
    virtual std::uint64_t packed_bytes() const = 0;
  };

  /// Opens a member for reading. Several may be open at once.
  /// @return null when there is none of this name
  std::unique_ptr<Part> open(std::string_view name);

  /// A whole member; meant for small ones.
  /// @return empty when there is none
  /// @throws EngineError code 4 when it unpacks to more than `most` bytes, and as `Part::read`
  std::string read_all(std::string_view name, std::size_t most = std::size_t{64} << 20);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace trfilter
