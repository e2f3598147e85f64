#include "wrapper/CTarnisDocumentProcessor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <iostream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

#include "api/tarnis_internal.h"
#include "bufferstream/temporary_name.h"

namespace tarnis {
namespace {

namespace fs = std::filesystem;
using v1::generic_io::Input;
using v1::generic_io::Output;

constexpr mode_t owner_alone = 0700;
constexpr mode_t owner_reads_and_writes = 0600;

/// Makes a file for its owner alone.
/// @return false when it cannot be made, or is there already
bool create_private_file(const std::string& path) {
  const int file =
      ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, owner_reads_and_writes);
  if (file < 0) return false;
  ::close(file);
  return true;
}

/// Makes a file where there was none: a fresh name that somebody else has taken meanwhile is
/// refused.
void create_fresh_file(const fs::path& path) {
  if (!create_private_file(path.string())) {
    throw std::runtime_error("Could not create output file at path: " + path.string());
  }
}

/// Makes what is missing of a directory and those above it, for their owner alone.
void create_private_directories(const fs::path& path) {
  std::error_code unknown;
  if (path.empty() || fs::is_directory(path, unknown)) return;
  fs::path made;
  for (const fs::path& part : path) {
    made /= part;
    ::mkdir(made.c_str(), owner_alone);
  }
  // Says what is wrong where one of them is still missing.
  fs::create_directories(path);
}

/// Whether some directory of `path`, a relative file name, is above the one that it starts in.
bool leaves_its_directory(const fs::path& path) {
  long depth = 0;
  for (const fs::path& part : path.parent_path()) {
    if (part == "..") {
      --depth;
    } else if (!part.empty() && part != ".") {
      ++depth;
    }
    if (depth < 0) return true;
  }
  return false;
}

template <class Out>
void write_text(Out& out, const std::string& text) {
  Output(out).write(text.data(), static_cast<long>(text.size()));
}

void announce(const char* what, const fs::path& path) {
  std::cout << what << " '" << path.string() << "'" << std::endl;
}

}  // namespace

CTarnisDocumentProcessor::CTarnisDocumentProcessor(
    std::shared_ptr<ITarnisSessionWrapper> session, std::shared_ptr<ITarnisInputFileWrapper> input,
    std::shared_ptr<ITarnisDetectionInfoWrapper> detection)
    : session_(std::move(session)), input_(std::move(input)), detection_(std::move(detection)) {}

std::shared_ptr<ITarnisDetectionInfoWrapper> CTarnisDocumentProcessor::IFGetDetectionInfo() {
  return detection_;
}

fs::path CTarnisDocumentProcessor::IFFilterDocument() {
  output_path_ = ostrel::temporary_name();
  create_fresh_file(output_path_);
  v1::io::OutputFile output(output_path_.string());
  announce("Output file is", output_path_);
  const auto session = session_->get();
  const auto file = input_->get();
  v1::internal::filter(session->implementation(), Input(*file), Output(output));
  return output_path_;
}

std::shared_ptr<InBufferStream> CTarnisDocumentProcessor::IFFilterDocumentToBufferStream() {
  auto result = std::make_shared<InBufferStream>();
  const auto session = session_->get();
  const auto file = input_->get();
  v1::internal::filter(session->implementation(), Input(*file), Output(*result));
  return result;
}

fs::path CTarnisDocumentProcessor::IFFilterMetadata() {
  const auto session = session_->get();
  const auto file = input_->get();
  const auto properties =
      v1::internal::get_summary_information(session->implementation(), Input(*file));
  for (const auto& [name, item] : properties) {
    const std::string value = item.convert_to_string();
    std::cout << name << ": " << value << std::endl;
  }
  return output_path_;
}

v1::Container CTarnisDocumentProcessor::IFSubfiles() {
  const auto session = session_->get();
  const auto file = input_->get();
  return v1::internal::subfiles(session->implementation(), Input(*file));
}

fs::path CTarnisDocumentProcessor::IFExtract() {
  output_path_ = create_temp_dir();
  announce("Extracting to", output_path_);
  const auto session = session_->get();
  const auto file = input_->get();
  const v1::Container container = v1::internal::subfiles(session->implementation(), Input(*file));
  for (auto member = container.begin(); member != container.end(); ++member) {
    if (member->is_folder()) continue;
    const std::string name = member->rawname();
    const std::string safe_name = make_safe_path(name);
    // A "." counts as a step down there, and a name may climb behind it.
    if (leaves_its_directory(safe_name)) {
      throw std::out_of_range("Subfile name is outside of the output directory: " + name);
    }
    const fs::path target = prepare_output(output_path_.string(), safe_name);
    try {
      // A member of the same name as an earlier one replaces it: opening tells what fails here.
      create_private_file(target.string());
      v1::io::OutputFile output(target.string());
      v1::internal::extract(member->implementation(), Output(output));
    } catch (const std::exception& error) {
      std::cerr << "Error extracting subfile " << std::to_string(member->index())
                << "\nName: " << name << "\n"
                << error.what() << "\n\n";
    }
  }
  return output_path_;
}

fs::path CTarnisDocumentProcessor::IFFilterContainer() {
  output_path_ = ostrel::temporary_name();
  create_fresh_file(output_path_);
  v1::io::OutputFile output(output_path_.string());
  announce("Output file is", output_path_);
  const auto file = input_->get();
  filter_container("Root", "Top Level File", *file, output);
  return output_path_;
}

template <class File, class Out>
void CTarnisDocumentProcessor::filter_container(const std::string& title, const std::string& label,
                                                File& file, Out& out) {
  const auto session = session_->get();
  write_text(out, "=== " + title + " ===\n");
  if (!label.empty()) write_text(out, label + "\n");

  bool supported = true;
  try {
    const auto detection = v1::internal::detect(session->implementation(), Input(file));
    write_text(out, "--- " + detection.description() + " ---\n");
  } catch (const v1::format_not_supported_error&) {
    supported = false;
  } catch (const std::exception& error) {
    std::cerr << "Error detecting: " << title << "\n" << error.what() << "\n";
  }
  if (supported) {
    try {
      v1::internal::filter(session->implementation(), Input(file), Output(out));
    } catch (const v1::format_not_supported_error&) {
      // A document without text of its own; its members may have some.
    } catch (const std::exception& error) {
      std::cerr << "Error filtering: " << title << "\n" << error.what() << "\n";
    }
  }
  write_text(out, "\n");

  const v1::Container container = v1::internal::subfiles(session->implementation(), Input(file));
  for (auto member = container.begin(); member != container.end(); ++member) {
    filter_member(*member, title, out);
  }
}

/// One member of the container `title`: its block in the text, or a report.
template <class Out>
void CTarnisDocumentProcessor::filter_member(const v1::Subfile& member, const std::string& title,
                                             Out& out) {
  std::string name;
  try {
    if (member.is_folder()) return;
    name = member.rawname();
    v1::io::InMemoryFile bytes;
    v1::internal::extract(member.implementation(), Output(bytes));
    const std::string line =
        "--- Subfile " + std::to_string(member.index()) + " of " + title + " ---\n";
    std::cout << line;
    filter_container(name, line, bytes, out);
  } catch (const std::exception& error) {
    std::cerr << "Error extracting subfile " << std::to_string(member.index()) << " (" << name
              << ") from " << title << "\n"
              << error.what() << "\n";
  }
}

template void CTarnisDocumentProcessor::filter_container(const std::string&, const std::string&,
                                                         v1::io::IFile&, v1::io::OutputFile&);
template void CTarnisDocumentProcessor::filter_container(const std::string&, const std::string&,
                                                         v1::io::InMemoryFile&,
                                                         v1::io::OutputFile&);

std::string CTarnisDocumentProcessor::separator_chars() {
  return "/";
}

bool CTarnisDocumentProcessor::is_absolute_path(const std::string& path) {
  return path.empty() || path.front() == '/';
}

std::string CTarnisDocumentProcessor::get_leaf(const std::string& path) {
  const std::size_t last = path.find_last_of(separator_chars());
  return last == std::string::npos ? path : path.substr(last + 1);
}

std::string CTarnisDocumentProcessor::make_safe_relative_path(const std::string& path) {
  const std::string separators = separator_chars();
  std::size_t begin = path.find_first_not_of(separators);
  if (begin == std::string::npos) return path;
  std::size_t start = 0;
  long depth = 0;
  while (begin != std::string::npos) {
    const std::size_t end = path.find_first_of(separators, begin);
    depth += path.compare(begin, end - begin, "..") == 0 ? -1 : 1;
    begin = path.find_first_not_of(separators, end);
    if (depth < 0) start = begin;
  }
  // A path that ends above its start has no position to begin at, and is refused by this very call.
  return path.substr(start);
}

std::string CTarnisDocumentProcessor::make_safe_path(const std::string& path) {
  return is_absolute_path(path) ? get_leaf(path) : make_safe_relative_path(path);
}

bool CTarnisDocumentProcessor::is_directory(const std::string& path) {
  return fs::is_directory(fs::status(path));
}

fs::path CTarnisDocumentProcessor::create_temp_dir() {
  // The fresh name is absolute, so that joining gives the name itself.
  const fs::path path = fs::temp_directory_path() / ostrel::temporary_name();
  fs::create_directories(path.parent_path());
  if (::mkdir(path.c_str(), owner_alone) != 0) {
    throw fs::filesystem_error("cannot create directory", path,
                               std::error_code(errno, std::generic_category()));
  }
  return path;
}

fs::path CTarnisDocumentProcessor::prepare_output(const std::string& directory,
                                                  const std::string& name) {
  fs::path result = fs::path(directory) / fs::path(name);
  create_private_directories(result.parent_path());
  return result;
}

}  // namespace tarnis
