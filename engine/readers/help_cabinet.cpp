// Cabinet files ([MS-CAB]): stored, MSZIP, LZX and Quantum folders. A file that goes on in another
// cabinet of a set is damaged here: the others are not at hand.

#include <chrono>
#include <string>
#include <vector>

#include "engine/core/engine_error.h"
#include "engine/readers/help_files.h"
#include "engine/readers/help_system.h"

namespace trfilter {
namespace {

/// The format has local time without a zone; it is taken for UTC.
FileTime time_of(const mscabd_file& file) {
  const auto date = std::chrono::year(file.date_y) /
                    std::chrono::month(static_cast<unsigned char>(file.date_m)) /
                    std::chrono::day(static_cast<unsigned char>(file.date_d));
  if (!date.ok()) return {};
  const std::int64_t days = std::chrono::sys_days(date).time_since_epoch().count();
  return FileTime::from_unix_seconds(days * 86'400 + file.time_h * 3600L + file.time_m * 60L +
                                     file.time_s);
}

class Cabinet final : public HelpFiles {
 public:
  explicit Cabinet(const ReaderContext& context)
      : system_(context.document, context.limits),
        document_(mspack_create_cab_decompressor(system_.table()), mspack_destroy_cab_decompressor,
                  system_),
        list_(context.options, context.limits) {
    for (mscabd_file* file = document_.opened().files; file != nullptr; file = file->next) {
      std::string name(file->filename);
      for (char& c : name) {
        if (c == '\\') c = '/';
      }
      MemberFacts facts;
      facts.name = name;
      facts.name_is_utf8 = (file->attribs & MSCAB_ATTRIB_UTF_NAME) != 0;
      facts.size = file->length;
      facts.time = time_of(*file);
      list_.add(facts);
      files_.push_back(file);
      context.limits.check_time();
    }
    list_.finish();
  }

  const MemberList& list() const override { return list_; }

  void extract(std::size_t index, ByteOutput& output) override {
    mscabd_file* const file = files_[index];
    if (file->folder == nullptr) throw_help_error(MSPACK_ERR_DATAFORMAT, false);
    if (MSCABD_COMP_METHOD(file->folder->comp_type) > MSCAB_COMP_LZX) {
      throw EngineError(Code::unknown_compression, "a cabinet's folder has an unknown compression");
    }
    system_.extract([&](std::string_view bytes) { output.write(bytes); },
                    [&] {
                      return document_.library()->extract(document_.library(), file,
                                                          HelpSystem::member_name);
                    });
  }

 private:
  HelpSystem system_;
  HelpDocument<mscab_decompressor, mscabd_cabinet> document_;
  MemberList list_;
  std::vector<mscabd_file*> files_;  ///< belong to the cabinet
};

}  // namespace

std::unique_ptr<HelpFiles> open_cabinet(const ReaderContext& context) {
  return std::make_unique<Cabinet>(context);
}

}  // namespace trfilter
