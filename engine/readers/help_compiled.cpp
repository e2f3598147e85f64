// Compiled HTML help: the files of the "/" namespace. What the compiler adds for its viewer, in
// names that begin with "/#", "/$" or "::", is no file of the author's and is left out.

#include <string_view>
#include <vector>

#include "engine/core/engine_error.h"
#include "engine/readers/help_files.h"
#include "engine/readers/help_system.h"

namespace trfilter {
namespace {

/// Closes the library and what it has opened.
struct Close {
  mschmd_header* help = nullptr;
  void operator()(mschm_decompressor* library) const {
    if (help != nullptr) library->close(library, help);
    mspack_destroy_chm_decompressor(library);
  }
};

class CompiledHelp final : public HelpFiles {
 public:
  explicit CompiledHelp(const ReaderContext& context)
      : system_(context.document, context.limits), list_(context.options, context.limits) {
    library_.reset(mspack_create_chm_decompressor(system_.table()));
    if (!library_) throw_help_error(MSPACK_ERR_NOMEMORY, true);
    library_.get_deleter().help = library_->open(library_.get(), HelpSystem::document_name);
    system_.rethrow();
    const mschmd_header* help = library_.get_deleter().help;
    if (help == nullptr) throw_help_error(library_->last_error(library_.get()), true);
    for (mschmd_file* file = help->files; file != nullptr; file = file->next) {
      std::string_view name(file->filename);
      if (name.starts_with("/#") || name.starts_with("/$")) continue;
      // The root of the help file is none of the host's.
      if (name.starts_with('/')) name.remove_prefix(1);
      if (name.empty()) continue;
      MemberFacts facts;
      facts.name = name;
      facts.name_is_utf8 = true;
      facts.folder = name.ends_with('/') && file->length == 0;
      facts.size = file->length;
      list_.add(facts);
      files_.push_back(file);
      context.limits.check_time();
    }
    list_.finish();
  }

  const MemberList& list() const override { return list_; }

  void extract(std::size_t index, ByteOutput& output) override {
    system_.extract(
        [&](std::string_view bytes) { output.write(bytes); },
        [&] { return library_->extract(library_.get(), files_[index], HelpSystem::member_name); });
  }

 private:
  HelpSystem system_;
  MemberList list_;
  std::unique_ptr<mschm_decompressor, Close> library_;
  std::vector<mschmd_file*> files_;  ///< belong to the help file
};

}  // namespace

std::unique_ptr<HelpFiles> open_compiled_help(const ReaderContext& context) {
  return std::make_unique<CompiledHelp>(context);
}

}  // namespace trfilter
