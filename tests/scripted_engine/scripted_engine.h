#pragma once

/// Control of the scripted engine, a `trfilter.so` for tests of everything above the engine.
///
/// The scripted engine records each call that the library makes, with its arguments and the bytes
/// of the records that they point at, and answers from a script. A test holds one `Engine`, writes
/// the script through it, starts a session on `directory()`, and reads the log:
///
///     scripted_engine::Engine engine;
///     engine.detects({1, 2, 0, 0});
///     engine.produces({"first", "second"});
///     engine.answers("prepare", 8);                      // a status, every time
///     engine.answers_once("extract_subfile", 6);         // a status, the next time only
///     engine.on("prepare", [](Call& call) -> Word { ... });  // anything at all
///
/// Without a script the engine starts, accepts every setting, finds format 2 of category 1, and has
/// no text, no properties, no subfiles and no mail fields. Extraction writes nothing and succeeds.
///
/// Operations go by these names, in the log as in the script:
///
///     entry points      get_filter_interface(table, revision)   get_extract_interface(context,
///     record) filter slots      initialise(memory, null, path, encoding, flags) shut_down(context)
///                       open_stream(context, stream, flags)    close_stream(context, handle)
///                       prepare(context, handle)               next_chunk(context, handle, chunk,
///                       0) get_summary_info(context, stream, record) free_summary_info(context,
///                       record)     set_timeout(context, value) set_source_encoding(context,
///                       value)    detect_format(context, stream, result) set_option(context, id,
///                       value, pointer) set_extraction_timeout(context, value)
///                       release_chunk(context, chunk) slot_2, slot_5 ... every other filter slot,
///                       without arguments
///     extraction words  open_file(context, request, place)     close_file(container)
///                       get_main_file_info(container, place)   query_subfile_info(container,
///                       index, place) get_subfile_mail_info(container, request, place)
///                       extract_subfile(container, request, place)  free_info(container, record)
///                       word_1
///
/// An answer is called on the caller's thread, inside the library's call. It may call back through
/// InputStream, OutputStream and Memory, and may throw: the engine lets exceptions through.

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace scripted_engine {

/// An argument or a result as it travels: 64 bits, narrower values extended with zeros.
using Word = std::uint64_t;
using Bytes = std::vector<unsigned char>;

struct Call {
  std::string operation;
  std::vector<Word> arguments;
  /// The bytes of each record that an argument points at, as they were when the call came in, in
  /// the order of the arguments. open_file has the request (64 bytes), the stream record (56), the
  /// credentials record (16), its array of pointers and each item (16). extract_subfile has the
  /// request (80) and the output record (48).
  std::vector<Bytes> records;
  /// The C string of an argument: the engine's directory of initialise, the text of set_option, the
  /// password of open_file. Empty when there is none.
  std::string text;
};

using Answer = std::function<Word(Call&)>;

/// What a scripted engine shares with its control; one for each loaded trfilter.so.
struct State {
  std::vector<Call> log;
  std::map<std::string, std::deque<Answer>> once;
  std::map<std::string, Answer> always;
  std::set<std::string> empty_slots;
  std::map<Word, Word> open_streams;  ///< handle to stream record
  Word last_stream = 0;
  std::function<void(const Call&)> observer;  ///< sees each call before it is answered
};

/// @{ A value inside a record. `offset` must leave room for the value.
std::uint32_t u32_at(const Bytes& record, std::size_t offset);
std::uint64_t u64_at(const Bytes& record, std::size_t offset);
/// @}

/// @{ Writes a value into memory of the library, such as a result record or the place of a pointer.
void put_u32(Word address, std::size_t offset, std::uint32_t value);
void put_u64(Word address, std::size_t offset, std::uint64_t value);
/// @}

/// The address of an object, as an argument or a result.
Word word_of(const volatile void* address);

/// A record that the engine allocates: zeroed memory with values put at offsets.
class Record {
 public:
  explicit Record(std::size_t bytes);
  Record& u32(std::size_t offset, std::uint32_t value);
  Record& u64(std::size_t offset, std::uint64_t value);
  /// A pointer to a copy of `text` that lives as long as the record.
  Record& text(std::size_t offset, const std::string& text);
  /// As `text`, in 16-bit units.
  Record& text16(std::size_t offset, const std::u16string& text);
  /// A pointer to `record`, which then lives as long as this one.
  Record& record(std::size_t offset, const Record& record);
  /// A copy of the bytes of `record`, which then lives as long as this one.
  Record& embed(std::size_t offset, const Record& record);
  Word address() const;

 private:
  struct Memory;
  std::shared_ptr<Memory> memory_;
};

/// The host's callbacks for a document, called as an engine does. `record` is the address of the
/// library's record, which must still be there.
class InputStream {
 public:
  explicit InputStream(Word record) : record_(record) {}
  int first() const;
  /// What the host delivered; a count above `count` is cut.
  std::string read(std::uint32_t count) const;
  /// The host's own count for a request of `count` bytes.
  std::uint32_t read_count(unsigned char* buffer, std::uint32_t count) const;
  int seek(std::int64_t offset, int whence) const;
  std::int64_t tell() const;
  int last() const;
  /// Everything from the start to the end, in pieces of 4096 bytes.
  std::string read_all() const;

 private:
  Word record_;
};

/// The host's callbacks for an output.
class OutputStream {
 public:
  explicit OutputStream(Word record) : record_(record) {}
  int create(const char* name) const;
  std::uint32_t write(const std::string& bytes) const;
  int seek(std::int64_t offset, int whence) const;
  std::int64_t tell() const;
  int close() const;

 private:
  Word record_;
};

/// The host's allocator.
class Memory {
 public:
  explicit Memory(Word record) : record_(record) {}
  void* allocate(std::size_t size) const;
  void* zero_allocate(std::size_t count, std::size_t size) const;
  void* reallocate(void* block, std::size_t size) const;
  void free(void* block) const;

 private:
  Word record_;
};

struct Detection {
  std::uint32_t category = 1;
  std::uint32_t format = 2;
  std::uint64_t version = 0;
  std::uint64_t attributes = 0;
};

/// A member of a container.
struct Subfile {
  std::string name;
  std::uint32_t type = 0;
  std::int64_t size = 0;
  std::int64_t time = 0;
  std::int32_t parent = 0;
  std::vector<std::int32_t> children = {};
  /// What extraction writes, in one piece; nothing is written when it is empty.
  std::string bytes = {};
};

/// A property of a document or a mail field, by its type code there. Text goes into `text` or
/// `text16`; whatever else the value word or its pointer leads to goes into `value`, as bits.
struct Property {
  std::string name;
  std::uint32_t type = 0;
  std::uint64_t value = 0;
  std::string text;
  std::u16string text16;
  std::uint32_t present = 1;
};

/// The bits of a number, for `Property::value`.
std::uint64_t bits_of(double value);
std::uint64_t bits_of(float value);

/// An element of summary information, 24 bytes.
Record summary_element(const Property& property);
/// A mail field, 32 bytes.
Record mail_field(const Property& property);

/// The control of one scripted engine, of which there is one at a time. Clears script and log when
/// it is made and when it dies; a session may outlive it, and then meets an engine without a
/// script.
class Engine {
 public:
  enum class Variant { complete, without_filter_entry, without_extract_entry };

  explicit Engine(Variant variant = Variant::complete);
  ~Engine();
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;

  /// The directory that holds this variant's trfilter.so, without a "/" at its end.
  const std::string& directory() const { return directory_; }

  // ---- Script ----------------------------------------------------------------------------------

  /// Every call of `operation` that no `once` answer is left for.
  void on(const std::string& operation, Answer answer);
  /// The next call of `operation` that no earlier `once` answer takes.
  void once(const std::string& operation, Answer answer);
  /// Returns `result` and does nothing else, every time.
  void answers(const std::string& operation, Word result);
  /// Returns `result` and does nothing else, the next time.
  void answers_once(const std::string& operation, Word result);
  /// Leaves the slot or word null in the tables of sessions that start from now on.
  void leaves_empty(const std::string& operation);

  void detects(const Detection& detection);
  /// The text of every document from now on; each stream starts with the first chunk.
  void produces(const std::vector<std::string>& chunks);
  /// The members of every container from now on, with their bytes.
  void contains(const std::vector<Subfile>& subfiles);
  /// Answers query_subfile_info for one member with `record`, 80 bytes, or with no record for null.
  void describes(std::uint32_t index, const Record* record);
  /// Extraction answers `status` with a record of 40 bytes that has this kind and location.
  void extracts(Word status, std::uint64_t kind, const char* location);
  /// The summary information of every document from now on.
  void has_properties(const std::vector<Property>& properties);
  /// As `has_properties`, with any status, any count and any array of elements or none.
  void has_elements(std::uint32_t count, const Record* elements, Word status = 0);
  /// The mail fields of every member: each a record of 32 bytes.
  void has_mail_fields(const std::vector<Record>& fields, Word status = 0);

  /// Writes the address of `record`, or null, to `place`, and counts the record as handed out until
  /// free_info gets it.
  void hand_out(Word place, const Record* record);

  // ---- Log -------------------------------------------------------------------------------------

  const std::vector<Call>& calls() const { return state_->log; }
  std::vector<std::string> operations() const;
  std::vector<Call> calls_of(const std::string& operation) const;
  std::size_t count_of(const std::string& operation) const;
  void clear_log() { state_->log.clear(); }

  /// The stream record that a stream handle was opened with; 0 for no open handle.
  Word stream_of(Word handle) const;
  /// Stream handles that are open.
  std::size_t open_streams() const { return state_->open_streams.size(); }
  /// Records handed out and not yet given to free_info, chunks not yet given to release_chunk,
  /// summary information not yet given to free_summary_info.
  std::size_t outstanding() const { return outstanding_.size(); }

  /// What initialise returns unless the script says otherwise.
  Word context() const;
  /// What open_file puts in its place unless the script says otherwise.
  Word container() const;

 private:
  void observe(const Call& call);

  std::string directory_;
  State* state_;
  std::multiset<Word> outstanding_;
  std::vector<Record> handed_out_;
  std::map<Word, std::size_t> next_chunk_;
};

}  // namespace scripted_engine
