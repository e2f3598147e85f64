// Compiled HTML help: the files of the "/" namespace. What the compiler adds for its viewer, in
// names that begin with "/#", "/$" or "::", is no file of the author's and is left out.

#include <string_view>
#include <vector>

#include "engine/core/engine_error.h"
#include "engine/readers/help_files.h"
#include "engine/readers/help_system.h"

namespace trfilter {
namespace {

class CompiledHelp final : public HelpFiles {
 public:
  explicit CompiledHelp(const ReaderContext& context)
      : system_(context.document, context.limits),
        document_(mspack_create_chm_decompressor(system_.table()), mspack_destroy_chm_decompressor,
                  system_),
        list_(context.options, context.limits) {
    for (mschmd_file* file = document_.opened().files; file != nullptr; file = file->next) {
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
    system_.extract([&](std::string_view bytes) { output.write(bytes); },
                    [&] {
                      return document_.library()->extract(document_.library(), files_[index],
                                                          HelpSystem::member_name);
                    });
  }

 private:
  HelpSystem system_;
  HelpDocument<mschm_decompressor, mschmd_header> document_;
  MemberList list_;
  std::vector<mschmd_file*> files_;  ///< belong to the help file
};

}  // namespace

std::unique_ptr<HelpFiles> open_compiled_help(const ReaderContext& context) {
  return std::make_unique<CompiledHelp>(context);
}

}  // namespace trfilter
