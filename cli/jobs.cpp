#include "cli/jobs.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <sstream>

#include "api/tarnis_internal.h"
#include "cli/exit_status.h"
#include "cli/input.h"

namespace tarnis::cli {
namespace {

/// The engine's folder beside this program: build trees and installs have the same shape.
std::string own_engine_directory() {
  std::error_code error;
  const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
  if (error) throw Failure(ExitStatus::other, "cannot find the program's own folder");
  return (program.parent_path().parent_path() / "lib" / "trfilter").string();
}

v1::Session start_session(const CommandLine& command_line) {
  return {command_line.engine_directory.empty() ? own_engine_directory()
                                                : command_line.engine_directory,
          command_line.in_process, command_line.configuration};
}

/// A file of text in the making: it gets its final name when it is whole, or not at all.
class TextFile {
 public:
  explicit TextFile(const std::string& final_path)
      : final_path_(final_path),
        path_(final_path.empty()
                  ? (std::filesystem::temp_directory_path() / "tarnis-XXXXXX").string()
                  : final_path + ".XXXXXX"),
        descriptor_(::mkostemp(path_.data(), O_CLOEXEC)) {
    if (descriptor_ < 0) {
      throw Failure(ExitStatus::other, "cannot create " + path_ + ": " + std::strerror(errno));
    }
  }
  TextFile(const TextFile&) = delete;
  TextFile& operator=(const TextFile&) = delete;
  ~TextFile() {
    ::close(descriptor_);
    if (!path_.empty()) ::unlink(path_.c_str());
  }

  long write(const char* bytes, long count) {
    write_all(descriptor_, {bytes, static_cast<std::size_t>(count)});
    return count;
  }

  /// Keeps the file. @return its final name
  std::string keep() {
    std::string kept = path_;
    if (!final_path_.empty()) {
      std::filesystem::rename(path_, final_path_);
      kept = final_path_;
    }
    path_.clear();
    return kept;
  }

 private:
  std::string final_path_;
  std::string path_;  ///< empty once kept
  int descriptor_;
};

void print_text(const v1::Session& session, v1::io::InputFile& document, StandardOutput& output) {
  v1::internal::filter(session.implementation(), v1::generic_io::Input(document),
                       v1::generic_io::Output(output));
}

void filter_to_file(const v1::Session& session, v1::io::InputFile& document,
                    const std::string& path, StandardOutput& output) {
  TextFile file(path);
  v1::internal::filter(session.implementation(), v1::generic_io::Input(document),
                       v1::generic_io::Output(file));
  output.print(file.keep() + "\n");
}

void print_detection(const v1::Session& session, v1::io::InputFile& document,
                     StandardOutput& output) {
  const v1::DetectionInfo info =
      v1::internal::detect(session.implementation(), v1::generic_io::Input(document));
  std::ostringstream out;
  out << "Format: " << info.format() << " (" << info.description() << ")\n"
      << "Category: " << info.category() << " (" << info.category_name() << ")\n";
  if (!info.extension().empty()) out << "Extension: " << info.extension() << '\n';
  if (info.version() != 0) {
    out << "Version: " << (info.version() >> 16) << '.' << (info.version() & 0xFFFF) << '\n';
  }
  if (info.encrypted()) out << "Encrypted: yes\n";
  if (info.macBinaryEncoded()) out << "Wrapped in: MacBinary\n";
  if (info.appleSingleEncoded()) out << "Wrapped in: AppleSingle\n";
  if (info.appleDoubleEncoded()) out << "Wrapped in: AppleDouble\n";
  if (info.wangGDLencoded()) out << "Wrapped in: Wang GDL\n";
  if (info.windowRMSEncrypted()) out << "Rights management: Windows RMS\n";
  output.print(out.str());
}

}  // namespace

void run_job(const CommandLine& command_line, StandardOutput& output) {
  const auto document = open_document(command_line.document);
  const v1::Session session = start_session(command_line);
  if (command_line.job == "detect") {
    print_detection(session, *document, output);
  } else if (command_line.job == "filter") {
    filter_to_file(session, *document, command_line.output, output);
  } else {
    print_text(session, *document, output);
  }
}

}  // namespace tarnis::cli
