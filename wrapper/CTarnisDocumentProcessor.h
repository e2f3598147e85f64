#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "wrapper/interfaces.h"

namespace tarnis {

/// The one implementation of the jobs. Progress goes to standard output, what does not stop a job
/// to standard error. Files are made under names of the system's temporary directory and are
/// readable by their owner alone.
class TARNIS_EXPORT CTarnisDocumentProcessor : public ITarnisDocumentProcessor {
 public:
  /// Keeps all three for as long as it lives.
  CTarnisDocumentProcessor(std::shared_ptr<ITarnisSessionWrapper> session,
                           std::shared_ptr<ITarnisInputFileWrapper> input,
                           std::shared_ptr<ITarnisDetectionInfoWrapper> detection);

  std::shared_ptr<ITarnisDetectionInfoWrapper> IFGetDetectionInfo() override;
  std::filesystem::path IFExtract() override;
  std::filesystem::path IFFilterContainer() override;
  std::filesystem::path IFFilterDocument() override;
  std::shared_ptr<InBufferStream> IFFilterDocumentToBufferStream() override;
  std::filesystem::path IFFilterMetadata() override;
  v1::Container IFSubfiles() override;
  ~CTarnisDocumentProcessor() override = default;

  // Names from inside documents, made safe: byte strings with '/' as the only separator.

  /// The separators: "/".
  static std::string separator_chars();
  /// Whether `path` is empty or begins with '/'. The empty path counts, so that it goes the leaf's
  /// way.
  static bool is_absolute_path(const std::string& path);
  /// What follows the last separator; all of `path` when it has none.
  static std::string get_leaf(const std::string& path);
  /// The part of `path`, from the begin of a component to its end, that never climbs above its
  /// start.
  /// @throws std::out_of_range when `path` ends above its start
  static std::string make_safe_relative_path(const std::string& path);
  /// The leaf of an absolute path, the safe part of a relative one.
  static std::string make_safe_path(const std::string& path);
  /// False for a path that does not exist.
  /// @throws std::filesystem::filesystem_error when its status cannot be told
  static bool is_directory(const std::string& path);
  /// Makes a directory with a fresh name; it is never removed here.
  static std::filesystem::path create_temp_dir();
  /// `directory` joined with `name`, after making every missing directory above it, for their owner
  /// alone; an absolute `name` replaces `directory`. The file itself is not made.
  static std::filesystem::path prepare_output(const std::string& directory,
                                              const std::string& name);

 private:
  template <class File, class Out>
  void filter_container(const std::string& title, const std::string& label, File& file, Out& out);
  template <class Out>
  void filter_member(const v1::Subfile& member, const std::string& title, Out& out);

  std::shared_ptr<ITarnisSessionWrapper> session_;
  std::shared_ptr<ITarnisInputFileWrapper> input_;
  std::shared_ptr<ITarnisDetectionInfoWrapper> detection_;
  std::filesystem::path output_path_;
};

}  // namespace tarnis
