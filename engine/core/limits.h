#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace trfilter {

/// The bounds of one document's processing, counted on what really comes out and never on what a
/// header declares. Passing one throws `EngineError` with the bound's own code.
class Limits {
 public:
  /// Bounds with their units.
  struct Bounds {
    std::uint64_t output_bytes = std::uint64_t{64} << 30;  ///< text; code 16
    std::uint64_t expansion_floor = std::uint64_t{512}
                                    << 20;  ///< bytes, unpacked or of text, that are always fine
    std::uint64_t expansion_ratio = 200;    ///< of these over document bytes beyond the floor;
                                            ///< code 4 for unpacked bytes, 16 for text
    std::uint64_t member_floor = std::uint64_t{32}
                                 << 20;  ///< bytes of one member that are always fine; what comes
                                         ///< after them keeps `expansion_ratio` to what was read
    std::uint64_t kept_bytes = std::uint64_t{1}
                               << 30;    ///< unpacked bytes of one stream that are kept to be read
                                         ///< again; what comes after them is unpacked again
    std::uint64_t members = 10'000'000;  ///< of one container; code 21
    std::uint64_t directory_bytes = std::uint64_t{96}
                                    << 20;    ///< memory of a container's list of members; code 21
    std::size_t name_bytes = 4096;            ///< of a member's name; the rest is left out
    unsigned open_containers = 32;            ///< that one session holds open at once; code 31
    unsigned nested_readers = 8;              ///< readers at work in each other; code 31
    unsigned element_depth = 4096;            ///< elements, groups or objects in each other; code 4
    std::chrono::milliseconds time{350'000};  ///< wall clock; code 19
  };

  Limits() : Limits(Bounds{}) {}
  explicit Limits(const Bounds& bounds)
      : bounds_(bounds), deadline_(std::chrono::steady_clock::now() + bounds.time) {}

  /// A time-out in seconds as the host gives it; 0 and less mean none.
  static std::chrono::milliseconds time_of_seconds(std::int64_t seconds);

  const Bounds& bounds() const { return bounds_; }

  /// Starts the clock again, for the next piece of work on the same document.
  void restart_clock(std::chrono::milliseconds time) {
    deadline_ = std::chrono::steady_clock::now() + time;
  }

  /// The size that expansion is measured against; set once, before reading.
  void set_document_size(std::uint64_t bytes) { document_size_ = bytes; }

  /// Adds text that goes to the host, and looks at the clock.
  void charge_output(std::uint64_t bytes);

  /// Adds bytes that a decompressor has produced, and looks at the clock.
  void charge_unpacked(std::uint64_t bytes);

  /// Tests a nesting depth against `element_depth`.
  void check_depth(unsigned depth) const;

  /// Counts readers that work within each other's step.
  void enter_reader();
  void leave_reader() { --readers_; }

  /// Tests a container's number of members.
  void check_members(std::uint64_t count) const;

  /// Tests what one stream or member has given for what has been read of it. A bomb is known by
  /// that long before its end, however large the document is.
  void check_expansion(std::uint64_t unpacked, std::uint64_t packed) const;

  /// Tests the memory that a container's list of members takes.
  void check_directory(std::uint64_t bytes) const;

  /// Throws code 19 after the deadline. Cheap enough for every few kilobytes of work.
  void check_time() const;

 private:
  bool beyond_expansion(std::uint64_t bytes) const;

  Bounds bounds_;
  std::chrono::steady_clock::time_point deadline_;
  std::uint64_t document_size_ = 0;
  std::uint64_t output_bytes_ = 0;
  std::uint64_t unpacked_bytes_ = 0;
  unsigned readers_ = 0;
};

/// Watches a stream being unpacked, against both bounds of expansion: a member's and the
/// document's.
class ExpansionMeter {
 public:
  enum class Content : std::uint8_t {
    one_member,    ///< at a time: `begin_member` tells of each
    many_members,  ///< that lie in what comes out; whoever reads them keeps them to their own bound
  };

  /// A stream is read in blocks: what has been read last may hold the next member as a whole.
  static constexpr std::uint64_t read_at_once = std::uint64_t{64} << 10;

  explicit ExpansionMeter(Limits& limits, Content content = Content::one_member)
      : limits_(&limits), content_(content) {}

  /// Begins again: the same stream from its begin.
  void restart() { packed_ = unpacked_ = packed_before_ = unpacked_before_ = 0; }

  /// What comes out from here on is the next member's.
  void begin_member();

  /// Adds bytes that have been read.
  void add_packed(std::uint64_t bytes) { packed_ += bytes; }

  /// Bytes that have been read since the stream's begin.
  std::uint64_t packed() const { return packed_; }

  /// Adds bytes that have come out. What a stream gives a second time does not count in the
  /// document's total again.
  /// @throws EngineError code 4 beyond a bound, code 19 after the deadline
  void add_unpacked(std::uint64_t bytes);

 private:
  Limits* limits_;
  Content content_;
  std::uint64_t packed_ = 0;
  std::uint64_t unpacked_ = 0;
  std::uint64_t packed_before_ = 0;  ///< the current member
  std::uint64_t unpacked_before_ = 0;
  std::uint64_t charged_ = 0;
};

}  // namespace trfilter
