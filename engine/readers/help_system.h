#pragma once

#include <mspack.h>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <string_view>

#include "engine/core/document.h"
#include "engine/core/limits.h"

namespace trfilter {

/// What libmspack knows of files: the one it reads is the document, the one it writes is wherever a
/// member's bytes go. No file of the machine is ever opened.
class HelpSystem {
 public:
  /// The only names that libmspack may open.
  static constexpr const char* document_name = "document";
  static constexpr const char* member_name = "member";

  using Write = std::function<void(std::string_view)>;

  HelpSystem(Document& document, Limits& limits);
  HelpSystem(const HelpSystem&) = delete;
  HelpSystem& operator=(const HelpSystem&) = delete;

  mspack_system* table() { return &hooks_.table; }

  /// Runs a call of libmspack that writes a member.
  /// @param call  returns a number of libmspack's errors
  /// @throws EngineError code 4 for damage, and what `write` throws
  void extract(const Write& write, const std::function<int()>& call);

  /// Throws what a callback has kept back; to be called after each call of libmspack.
  void rethrow();

 private:
  struct Hooks {
    mspack_system table;  ///< first: libmspack hands its address back
    HelpSystem* owner;
  };
  struct File {
    mspack_file base;
    HelpSystem* owner;
    std::uint64_t position;
    bool writes;
  };
  /// More than any compression of these formats works with.
  static constexpr std::size_t largest_allocation = std::size_t{64} << 20;

  static HelpSystem& owner_of(mspack_system* table);
  static File& file_of(mspack_file* file);

  static mspack_file* open(mspack_system* self, const char* name, int mode);
  static void close(mspack_file* file);
  static int read(mspack_file* file, void* buffer, int bytes);
  static int write(mspack_file* file, void* buffer, int bytes);
  static int seek(mspack_file* file, off_t offset, int mode);
  static off_t tell(mspack_file* file);
  static void message(mspack_file* file, const char* format, ...);
  static void* allocate(mspack_system* self, std::size_t bytes);
  static void release(void* block);
  static void copy(void* from, void* to, std::size_t bytes);

  Hooks hooks_;
  Document* document_;
  Limits* limits_;
  ExpansionMeter meter_;
  const Write* write_ = nullptr;
  std::exception_ptr error_;
};

/// Throws what an error number of libmspack stands for.
[[noreturn]] void throw_help_error(int error, bool when_opening);

/// One of libmspack's decompressors with the document that it has opened.
template <typename Decompressor, typename Opened>
class HelpDocument {
 public:
  /// @param library  made with the system's table
  /// @param system   outlives this object
  /// @throws EngineError what the document's damage or a lack of memory stands for
  HelpDocument(Decompressor* library, void (*destroy)(Decompressor*), HelpSystem& system)
      : library_(library, destroy) {
    if (library == nullptr) throw_help_error(MSPACK_ERR_NOMEMORY, true);
    opened_ = library->open(library, HelpSystem::document_name);
    if (opened_ == nullptr) {
      system.rethrow();
      throw_help_error(library->last_error(library), true);
    }
    try {
      system.rethrow();
    } catch (...) {
      library->close(library, opened_);
      throw;
    }
  }
  HelpDocument(const HelpDocument&) = delete;
  HelpDocument& operator=(const HelpDocument&) = delete;
  ~HelpDocument() { library_->close(library_.get(), opened_); }

  Decompressor* library() { return library_.get(); }
  const Opened& opened() const { return *opened_; }

 private:
  std::unique_ptr<Decompressor, void (*)(Decompressor*)> library_;
  Opened* opened_ = nullptr;
};

}  // namespace trfilter
