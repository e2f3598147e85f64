#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "engine/core/engine_error.h"
#include "engine/core/format.h"
#include "engine/core/options.h"
#include "engine/core/properties.h"
#include "engine/core/subfiles.h"
#include "engine/opening/opened_document.h"

// What host and worker say to each other: frames, in rings of shared memory (channel.h). Both sides
// are of one build and one machine, so numbers go over as they lie in memory; still each field is
// checked when it is read. docs/security.md describes the exchange.

namespace trfilter {

/// Descriptors that a worker is born with, beside the standard ones.
constexpr int worker_socket = 3;
constexpr int worker_window = 4;
constexpr int worker_outlet = 5;

/// What a worker ends with when it can say why.
enum class WorkerExit : int { stopped = 0, wrong_host = 103, out_of_memory = 102 };

enum class FrameKind : std::uint32_t {
  // Requests of the host. All but the last three are answered, in their order, by any number of
  // `data` and one `done` or `failed`.
  hello = 1,   ///< Greeting; answered by a Greeting
  detect,      ///< OpenRequest; answered by a Detection
  open,        ///< OpenRequest; answered by text, if it is for that, and an OpenedReply in `done`
  text,        ///< a TextRequest; answered by text in `data` and a TextEnd in `done`
  properties,  ///< answered by Properties
  describe,    ///< a MemberRequest; answered by Subfiles, the first at the least
  extract,     ///< a MemberRequest; answered by bytes in `data` and an Extraction in `done`
  mail,        ///< a MemberRequest; answered by Properties
  close,       ///< the document is over
  cancel,      ///< the extraction that runs may end, with any answer
  block,       ///< answers `need`: a BlockReply

  // Of the worker.
  need,    ///< asks for bytes of a document: a BlockRequest
  data,    ///< a part of an answer
  done,    ///< the rest of an answer, and its end
  failed,  ///< an answer that is a code
};

/// The begin of each frame.
struct FrameHeader {
  FrameKind kind{};
  std::uint32_t document = 0;     ///< number of the document that is spoken of
  std::uint64_t request = 0;      ///< number of the request that is made or answered
  std::uint32_t length = 0;       ///< bytes that follow
  std::uint32_t peak_memory = 0;  ///< KiB; of the worker, so far
};
static_assert(sizeof(FrameHeader) == 24);

constexpr std::size_t largest_payload = std::size_t{128} << 10;

/// Text goes in frames of this size: the host copies and checks one while the worker writes the
/// next.
constexpr std::size_t largest_text_piece = std::size_t{32} << 10;

/// Pieces of text that one answer holds at the most.
constexpr std::uint32_t pieces_at_once = 32;

/// Places for small documents in the window: one whose document is read where it lies for as long
/// as it is open, and one whose document the worker copies while it is being opened.
enum class Place : std::uint32_t { kept, copied };
constexpr std::size_t window_places = 2;

/// How much of a document lies in its place.
struct Shown {
  alignas(64) std::uint64_t bytes;
  std::int32_t failure;  ///< the code of what keeps the rest from it
};

/// What a side tells the other one, at the begin of the memory that it alone writes to. Each number
/// is read and written as an atomic one.
struct SideState {
  alignas(64) std::uint64_t sent;      ///< bytes of frames in its ring, from the begin on
  alignas(64) std::uint64_t taken;     ///< bytes that it has taken from the other side's ring
  alignas(64) std::uint32_t sleeping;  ///< what it waits for, and a count of its sleeps
  std::uint32_t processor;             ///< that it ran on when it began or ended to wait, from 1 on
  Shown shown[window_places];          ///< host: of the newest document in each place
};

constexpr std::size_t state_size = 4096;
constexpr std::size_t ring_size = std::size_t{512} << 10;
static_assert(sizeof(SideState) <= state_size && ring_size >= 3 * largest_payload);

/// The window: memory of the host's that the worker reads from. Behind the host's state and ring
/// lie two places for documents of up to `Document::block_in_memory` bytes: one whose document is
/// read where it lies for as long as it is open, and one whose document the worker copies while it
/// is being opened. Larger documents come in blocks behind that.
constexpr std::size_t place_size = Document::block_in_memory + 4096;
constexpr std::size_t window_place_offset = state_size + ring_size;
constexpr std::size_t place_offset(Place place) {
  return window_place_offset + static_cast<std::size_t>(place) * place_size;
}
constexpr std::size_t window_block_offset = window_place_offset + window_places * place_size;
constexpr std::size_t largest_block = std::size_t{1} << 20;
constexpr std::size_t window_blocks = 2;  ///< the worker reads one while the host fills the other
constexpr std::size_t window_size = window_block_offset + window_blocks * largest_block;

/// The outlet: memory that the worker alone writes to, its state and its ring.
constexpr std::size_t outlet_size = state_size + ring_size;

/// Appends fields to a payload.
class FieldWriter {
 public:
  template <typename Number>
  void number(Number value) {
    static_assert(std::is_trivially_copyable_v<Number>);
    bytes_.append(reinterpret_cast<const char*>(&value), sizeof value);
  }
  void text(std::string_view text) {
    number<std::uint64_t>(text.size());
    bytes_ += text;
  }
  const std::string& bytes() const { return bytes_; }

 private:
  std::string bytes_;
};

/// Takes fields from a payload that may be anything.
class FieldReader {
 public:
  explicit FieldReader(std::string_view bytes) : bytes_(bytes) {}

  /// @throws EngineError code 37, here and below, for what is not there
  template <typename Number>
  Number number() {
    static_assert(std::is_arithmetic_v<Number> && !std::is_same_v<Number, bool>);
    Number value{};
    const std::string_view raw = take(sizeof value);
    raw.copy(reinterpret_cast<char*>(&value), sizeof value);
    return value;
  }
  bool boolean();
  std::string text() { return std::string(take(number<std::uint64_t>())); }

  /// A number of things that take at least `least_size` bytes each.
  std::size_t count(std::size_t least_size);

  /// Nothing may be left.
  void finish() const;

 private:
  std::string_view take(std::uint64_t count);

  std::string_view bytes_;
};

/// First words of both sides.
struct Greeting {
  static constexpr std::uint64_t host_signature = 0x31304B52574C4654;    // "TFLWRK01"
  static constexpr std::uint64_t worker_signature = 0x31304B5257464C54;  // "TLFWRK01"
  static constexpr std::uint32_t current_version = 2;

  std::uint64_t signature = 0;
  std::uint32_t version = 0;
  std::string text;  ///< host: the worker's temporary directory; worker: what protection lacks
};

struct OpenRequest {
  Options options;
  Purpose purpose = Purpose::text;
  std::uint64_t size = 0;       ///< of the document
  Place place = Place::copied;  ///< of a small one
};

/// A document, and of one that was opened for its text the begin: the whole of a small document is
/// in the answer to its opening.
struct OpenedReply {
  Format format = Format::none;
  std::uint64_t members = 0;
  std::string text;       ///< a short one; a longer one comes in pieces before
  bool ended = false;     ///< there is no more text, and the worker has closed the document
  std::int32_t code = 0;  ///< of what ended it, 0 for its end
};

struct BlockRequest {
  std::uint64_t offset = 0;
  std::uint32_t count = 0;
};

struct BlockReply {
  std::int32_t code = 0;    ///< of what the document's source threw
  std::uint32_t count = 0;  ///< of the bytes that lie in the window
  std::uint32_t block = 0;  ///< which of the window's blocks holds them
};

/// Asks for the next pieces of text, `pieces_at_once` at the most, so that the worker can read on.
struct TextRequest {
  std::uint32_t pieces = 0;
};

struct TextEnd {
  bool ended = false;  ///< there is no more text, and the worker has closed the document
};

struct MemberRequest {
  std::uint64_t index = 0;
  std::uint32_t count = 1;  ///< how many from `index` on; more than one to describe alone
  bool formatted_mail = false;
};

/// Some members from the one on that was asked for.
struct MemberList {
  std::vector<Subfile> members;
};

void write_fields(FieldWriter& out, const Greeting& greeting);
void write_fields(FieldWriter& out, const OpenRequest& request);
void write_fields(FieldWriter& out, const OpenedReply& reply);
void write_fields(FieldWriter& out, const BlockRequest& request);
void write_fields(FieldWriter& out, const BlockReply& reply);
void write_fields(FieldWriter& out, const TextRequest& request);
void write_fields(FieldWriter& out, const TextEnd& end);
void write_fields(FieldWriter& out, const MemberRequest& request);
void write_fields(FieldWriter& out, const Detection& detection);
void write_fields(FieldWriter& out, const Properties& properties);
void write_fields(FieldWriter& out, const Subfile& subfile);
void write_fields(FieldWriter& out, const MemberList& list);
void write_fields(FieldWriter& out, const Subfiles::Extraction& extraction);

void read_fields(FieldReader& in, Greeting& greeting);
void read_fields(FieldReader& in, OpenRequest& request);
void read_fields(FieldReader& in, OpenedReply& reply);
void read_fields(FieldReader& in, BlockRequest& request);
void read_fields(FieldReader& in, BlockReply& reply);
void read_fields(FieldReader& in, TextRequest& request);
void read_fields(FieldReader& in, TextEnd& end);
void read_fields(FieldReader& in, MemberRequest& request);
void read_fields(FieldReader& in, Detection& detection);
void read_fields(FieldReader& in, Properties& properties);
void read_fields(FieldReader& in, Subfile& subfile);
void read_fields(FieldReader& in, MemberList& list);
void read_fields(FieldReader& in, Subfiles::Extraction& extraction);

/// A payload of one value.
template <typename Value>
std::string payload_of(const Value& value) {
  FieldWriter out;
  write_fields(out, value);
  return out.bytes();
}

/// The value that a payload is, the whole of it.
template <typename Value>
Value value_of(std::string_view payload) {
  FieldReader in(payload);
  Value value;
  read_fields(in, value);
  in.finish();
  return value;
}

/// The code that a number in a payload is.
/// @throws EngineError code 37 for a number that is none
Code code_of_number(std::int32_t number);

/// Throws the error of what breaks the protocol.
[[noreturn]] void protocol_broken(const std::string& how);

}  // namespace trfilter
