#include "engine/compound/compound_file.h"

#include <gsf/gsf-infile-msole.h>
#include <gsf/gsf-infile.h>
#include <gsf/gsf-input.h>
#include <gsf/gsf-outfile-msole.h>
#include <gsf/gsf-outfile.h>
#include <gsf/gsf-output-stdio.h>
#include <gsf/gsf-output.h>
#include <gsf/gsf-utils.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <utility>

#include "engine/compound/directory_depth.h"
#include "engine/compound/document_input.h"
#include "engine/core/engine_error.h"
#include "engine/core/temporary_file.h"

namespace trfilter {
namespace {

// The library goes down the directory by recursion, some 200 bytes of stack a level.
constexpr std::uint32_t most_directory_depth = 8192;

constexpr std::size_t copy_block = std::size_t{64} << 10;

struct Unref {
  void operator()(void* object) const { g_object_unref(object); }
};
using InputHandle = std::unique_ptr<GsfInput, Unref>;
using InfileHandle = std::unique_ptr<GsfInfile, Unref>;
using OutputHandle = std::unique_ptr<GsfOutput, Unref>;

[[noreturn]] void damaged(const char* what) {
  throw EngineError(Code::corrupt, what);
}

/// Keeps the library from telling on standard error, which is the host's, what is wrong with a
/// file. Whatever else is logged in the process passes.
class Quiet {
 public:
  Quiet() {
    static const bool installed = [] {
      for (const char* domain : {"", "libgsf", "libgsf:msole"}) {
        g_log_set_handler(domain, static_cast<GLogLevelFlags>(G_LOG_LEVEL_MASK), handle, nullptr);
      }
      return true;
    }();
    static_cast<void>(installed);
    ++wanted;
  }
  Quiet(const Quiet&) = delete;
  Quiet& operator=(const Quiet&) = delete;
  ~Quiet() { --wanted; }

 private:
  static void handle(const char* domain, GLogLevelFlags level, const char* message, void* data) {
    if (wanted == 0) g_log_default_handler(domain, level, message, data);
  }

  static inline thread_local unsigned wanted = 0;
};

class Stream final : public CompoundStream {
 public:
  explicit Stream(InputHandle input) : input_(std::move(input)) {}

  std::uint64_t size() const override {
    return static_cast<std::uint64_t>(std::max<gsf_off_t>(gsf_input_size(input_.get()), 0));
  }

  std::size_t read_at(std::uint64_t offset, std::span<char> out) override {
    if (offset >= size()) return 0;
    const Quiet quiet;
    auto count = static_cast<std::size_t>(std::min<std::uint64_t>(out.size(), size() - offset));
    // A block that is not there fails a read as a whole: what stands before it is still good.
    for (; count != 0; count /= 2) {
      if (gsf_input_seek(input_.get(), static_cast<gsf_off_t>(offset), G_SEEK_SET)) return 0;
      if (gsf_input_read(input_.get(), count, reinterpret_cast<guint8*>(out.data())) != nullptr) {
        return count;
      }
    }
    return 0;
  }

 private:
  InputHandle input_;
};

/// A file without a name that the library writes to.
class ScratchFile {
 public:
  explicit ScratchFile(const std::string& directory) : file_(directory) {
    constexpr cookie_io_functions_t functions{nullptr, write, seek, nullptr};
    stream_ = ::fopencookie(this, "w", functions);
    if (stream_ == nullptr) throw EngineError(Code::out_of_memory, "no memory for a stream");
  }
  ScratchFile(const ScratchFile&) = delete;
  ScratchFile& operator=(const ScratchFile&) = delete;
  ~ScratchFile() { std::fclose(stream_); }

  FILE* get() const { return stream_; }

  /// Tells of what could not be written.
  void check() const {
    if (error_) std::rethrow_exception(error_);
  }

  void copy_to(ByteOutput& output) const {
    const bool written = std::fflush(stream_) == 0;
    check();
    if (!written) throw EngineError(Code::temporary_file, "cannot write the temporary file");
    std::string block(copy_block, '\0');
    for (std::uint64_t offset = 0; offset < file_.size();) {
      const std::size_t count = file_.read_at(offset, block);
      if (count == 0) break;
      output.write(std::string_view(block).substr(0, count));
      offset += count;
    }
  }

 private:
  static ssize_t write(void* self, const char* bytes, std::size_t count) {
    auto& scratch = *static_cast<ScratchFile*>(self);
    if (scratch.error_) return 0;
    try {
      scratch.file_.write_at(scratch.offset_, {bytes, count});
    } catch (...) {
      scratch.error_ = std::current_exception();
      return 0;
    }
    scratch.offset_ += count;
    return static_cast<ssize_t>(count);
  }

  static int seek(void* self, off64_t* offset, int whence) {
    auto& scratch = *static_cast<ScratchFile*>(self);
    off64_t from = 0;
    if (whence == SEEK_CUR) from = static_cast<off64_t>(scratch.offset_);
    if (whence == SEEK_END) from = static_cast<off64_t>(scratch.file_.size());
    if (*offset < -from) return -1;
    *offset += from;
    scratch.offset_ = static_cast<std::uint64_t>(*offset);
    return 0;
  }

  TemporaryFile file_;
  std::uint64_t offset_ = 0;
  std::exception_ptr error_;  ///< it must not pass through C
  FILE* stream_ = nullptr;
};

char ascii_lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool same_name(std::string_view left, std::string_view right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](char a, char b) { return ascii_lower(a) == ascii_lower(b); });
}

}  // namespace

struct CompoundFile::Handles {
  /// The library's object of each storage, null for a stream; by entry.
  std::vector<InfileHandle> storages;
  std::vector<int> places;  ///< an entry's number within its storage
  std::string temporary_directory;
};

CompoundFile::CompoundFile(Document& document, const Limits& limits)
    : handles_(std::make_unique<Handles>()) {
  handles_->temporary_directory = document.temporary_directory();
  if (compound_directory_depth(document, most_directory_depth) >= most_directory_depth) {
    damaged("the compound file's directory is deeper than its bound");
  }
  const Quiet quiet;
  const InputHandle source(make_document_input(document));
  GError* error = nullptr;
  InfileHandle root(gsf_infile_msole_new(source.get(), &error));
  g_clear_error(&error);
  if (!root) damaged("no compound file, or one without a readable directory");

  entries_.emplace_back().storage = true;
  handles_->storages.push_back(std::move(root));
  handles_->places.push_back(0);
  for (std::uint32_t number = 0; number < entries_.size(); ++number) {
    if (number % 1024 == 0) limits.check_time();
    GsfInfile* storage = handles_->storages[number].get();
    if (storage == nullptr) continue;
    gsf_infile_msole_get_class_id(GSF_INFILE_MSOLE(storage), entries_[number].class_id.data());
    const int count = std::max(gsf_infile_num_children(storage), 0);
    for (int place = 0; place < count; ++place) {
      InputHandle child(gsf_infile_child_by_index(storage, place));
      const char* name = gsf_infile_name_by_index(storage, place);
      if (!child || name == nullptr) continue;
      CompoundEntry entry;
      entry.name = name;
      entry.parent = number;
      // A storage without children is one too; the library tells it from a stream by its type alone
      // and gives a size of -1 or a list that is there.
      entry.storage =
          GSF_IS_INFILE(child.get()) != 0 && gsf_infile_num_children(GSF_INFILE(child.get())) >= 0;
      if (!entry.storage) {
        entry.size =
            static_cast<std::uint64_t>(std::max<gsf_off_t>(gsf_input_size(child.get()), 0));
      }
      const auto index = static_cast<std::uint32_t>(entries_.size());
      entries_[number].children.push_back(index);
      handles_->storages.emplace_back(entry.storage ? GSF_INFILE(child.release()) : nullptr);
      handles_->places.push_back(place);
      entries_.push_back(std::move(entry));
      limits.check_members(entries_.size());
    }
  }
}

CompoundFile::~CompoundFile() = default;

std::optional<std::uint32_t> CompoundFile::child(std::uint32_t storage,
                                                 std::string_view name) const {
  for (const std::uint32_t index : entries_[storage].children) {
    if (same_name(entries_[index].name, name)) return index;
  }
  return std::nullopt;
}

std::optional<std::uint32_t> CompoundFile::find(std::string_view path) const {
  std::uint32_t entry = CompoundEntry::root;
  while (!path.empty()) {
    const std::size_t end = std::min(path.find('/'), path.size());
    const auto next = child(entry, path.substr(0, end));
    if (!next) return std::nullopt;
    entry = *next;
    path.remove_prefix(std::min(end + 1, path.size()));
  }
  return entry;
}

std::unique_ptr<CompoundStream> CompoundFile::open(std::uint32_t entry) const {
  if (entries_[entry].storage) damaged("a storage is no stream");
  const Quiet quiet;
  GsfInfile* storage = handles_->storages[entries_[entry].parent].get();
  InputHandle input(gsf_infile_child_by_index(storage, handles_->places[entry]));
  if (!input) damaged("a stream of the compound file cannot be opened");
  return std::make_unique<Stream>(std::move(input));
}

std::string CompoundFile::read(std::uint32_t entry, std::uint64_t most) const {
  const auto stream = open(entry);
  if (stream->size() > most) damaged("a stream of the compound file is longer than its bound");
  std::string bytes;
  while (bytes.size() < stream->size()) {
    const std::size_t have = bytes.size();
    bytes.resize(have + static_cast<std::size_t>(
                            std::min<std::uint64_t>(copy_block, stream->size() - have)));
    const std::size_t count = stream->read_at(have, std::span(bytes).subspan(have));
    bytes.resize(have + count);
    if (count == 0) break;
  }
  return bytes;
}

void CompoundFile::extract(std::uint32_t storage, ByteOutput& output) const {
  const Quiet quiet;
  const ScratchFile scratch(handles_->temporary_directory);
  const OutputHandle sink(gsf_output_stdio_new_FILE("", scratch.get(), TRUE));
  if (!sink) throw EngineError(Code::temporary_file, "cannot use a temporary file");

  const OutputHandle root(GSF_OUTPUT(gsf_outfile_msole_new(sink.get())));
  std::string block(copy_block, '\0');
  // Depth first, as the library wants a storage's entries closed before the storage is.
  struct Open {
    std::uint32_t entry;
    OutputHandle output;  ///< null: the root
    std::size_t next = 0;
  };
  std::vector<Open> open;
  const auto class_of = [&](std::uint32_t entry, GsfOutput* target) {
    gsf_outfile_msole_set_class_id(GSF_OUTFILE_MSOLE(target), entries_[entry].class_id.data());
  };
  class_of(storage, root.get());
  open.push_back({storage, nullptr});
  while (!open.empty()) {
    GsfOutput* target = open.back().output ? open.back().output.get() : root.get();
    if (open.back().next == entries_[open.back().entry].children.size()) {
      gsf_output_close(target);
      open.pop_back();
      continue;
    }
    const std::uint32_t index = entries_[open.back().entry].children[open.back().next++];
    const CompoundEntry& entry = entries_[index];
    OutputHandle child(gsf_outfile_new_child(GSF_OUTFILE(target), entry.name.c_str(),
                                             entry.storage ? TRUE : FALSE));
    if (!child) throw EngineError(Code::temporary_file, "cannot write the compound file");
    if (entry.storage) {
      class_of(index, child.get());
      open.push_back({index, std::move(child)});
      continue;
    }
    const auto stream = this->open(index);
    for (std::uint64_t offset = 0; offset < stream->size();) {
      const std::size_t count = stream->read_at(offset, block);
      if (count == 0) break;
      gsf_output_write(child.get(), count, reinterpret_cast<const guint8*>(block.data()));
      scratch.check();
      offset += count;
    }
    gsf_output_close(child.get());
  }
  scratch.copy_to(output);
}

}  // namespace trfilter
