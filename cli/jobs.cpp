#include "cli/jobs.h"

#include <unistd.h>

#include <filesystem>
#include <memory>
#include <sstream>
#include <utility>
#include <vector>

#include "api/tarnis_internal.h"
#include "cli/captured_lines.h"
#include "cli/engine_directory.h"
#include "cli/exit_status.h"
#include "cli/extraction.h"
#include "cli/input.h"
#include "cli/json_writer.h"
#include "cli/library_file.h"
#include "cli/option_table.h"
#include "cli/result_place.h"
#include "cli/sandbox_test.h"
#include "wrapper/CTarnisDocumentProcessor.h"

namespace tarnis::cli {
namespace {

namespace fs = std::filesystem;
using v1::generic_io::Input;
using v1::generic_io::Output;

/// The session that all documents are done in.
std::shared_ptr<ITarnisSessionWrapper> create_session(const CommandLine& command_line) {
  auto session = CTarnisFilterWrapper().IFCreateSession(engine_directory(command_line),
                                                        command_line.in_process, nullptr);
  for (const auto& set : command_line.settings) set(session->get()->config());
  return session;
}

/// What every job works with: one document.
class Work {
 public:
  Work(const CommandLine& command_line, const std::string& document,
       std::shared_ptr<ITarnisSessionWrapper> session, StandardOutput& output, ResultPlace& place)
      : command_line_(command_line),
        document_(document),
        output_(output),
        place_(place),
        input_(open_document(document)),
        session_(std::move(session)),
        processor_(session_, input_, nullptr) {}

  const CommandLine& command_line() const { return command_line_; }
  StandardOutput& output() { return output_; }
  ITarnisDocumentProcessor& processor() { return processor_; }
  const std::shared_ptr<ITarnisSessionWrapper>& session() { return session_; }
  const std::shared_ptr<ITarnisInputFileWrapper>& input() { return input_; }

  /// Brings a result to its place.
  fs::path keep(const fs::path& result, const std::string& suffix) {
    return place_.keep(result, document_, suffix);
  }
  bool keeps_results() const { return !place_.temporary(); }

  /// A JSON object with the members that every job's has.
  JsonWriter begin_json() const {
    JsonWriter json;
    json.begin_object();
    json.member("job", command_line_.job);
    json.member("document", document_);
    return json;
  }
  void print_json(JsonWriter& json) {
    json.end_object();
    output_.print(json.finish());
  }

 private:
  const CommandLine& command_line_;
  const std::string& document_;
  StandardOutput& output_;
  ResultPlace& place_;
  std::shared_ptr<ITarnisInputFileWrapper> input_;
  std::shared_ptr<ITarnisSessionWrapper> session_;
  CTarnisDocumentProcessor processor_;
};

/// A name as a line shows it: what could move a terminal's cursor or end the line is escaped.
std::string printable(const std::string& name) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string text;
  for (const char c : name) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x20 && byte != 0x7F) {
      text += c;
    } else {
      text += {'\\', 'x', digits[byte >> 4], digits[byte & 0xF]};
    }
  }
  return text;
}

/// Times that a document does not state are 0.
std::string time_text(long filetime) {
  return filetime == 0 ? "" : v1::internal::time::printWindowsFileTime(filetime);
}

// ---- detect
// --------------------------------------------------------------------------------------

std::string version_text(const v1::DetectionInfo& info) {
  if (info.version() == 0) return {};
  return std::to_string(info.version() >> 16) + "." + std::to_string(info.version() & 0xFFFF);
}

std::vector<std::string> attributes_of(const v1::DetectionInfo& info) {
  std::vector<std::string> names;
  if (info.encrypted()) names.emplace_back("encrypted");
  if (info.macBinaryEncoded()) names.emplace_back("MacBinary");
  if (info.appleSingleEncoded()) names.emplace_back("AppleSingle");
  if (info.appleDoubleEncoded()) names.emplace_back("AppleDouble");
  if (info.wangGDLencoded()) names.emplace_back("Wang GDL");
  if (info.windowRMSEncrypted()) names.emplace_back("Windows RMS");
  return names;
}

void detect(Work& work) {
  CTarnisDetectionInfoWrapper detection(work.session(), work.input());
  const v1::DetectionInfo& info = *detection.get();
  if (work.command_line().json) {
    JsonWriter json = work.begin_json();
    json.key("format");
    json.begin_object();
    json.key("number");
    json.number(std::int64_t{info.format()});
    json.member("description", info.description());
    json.member("extension", info.extension());
    json.end_object();
    json.key("category");
    json.begin_object();
    json.key("number");
    json.number(std::int64_t{info.category()});
    json.member("name", info.category_name());
    json.end_object();
    json.key("version");
    info.version() == 0 ? json.null() : json.text(version_text(info));
    json.key("attributes");
    json.begin_array();
    for (const std::string& name : attributes_of(info)) json.text(name);
    json.end_array();
    work.print_json(json);
    return;
  }
  std::ostringstream out;
  out << "Format: " << info.format() << " (" << info.description() << ")\n"
      << "Category: " << info.category() << " (" << info.category_name() << ")\n";
  if (!info.extension().empty()) out << "Extension: " << info.extension() << '\n';
  if (info.version() != 0) out << "Version: " << version_text(info) << '\n';
  for (const std::string& name : attributes_of(info)) out << "Attribute: " << name << '\n';
  work.output().print(out.str());
}

// ---- text, filter, buffer
// ------------------------------------------------------------------------

/// Straight from the engine to standard output, so that the text of a large document is nowhere
/// kept.
void text(Work& work) {
  const auto session = work.session()->get();
  const auto file = work.input()->get();
  v1::internal::filter(session->implementation(), Input(*file), Output(work.output()));
}

void filter(Work& work) {
  const LibraryFile written = run_writing([&] { return work.processor().IFFilterDocument(); });
  if (!written.path.empty()) {
    work.output().print(work.keep(written.path, ".txt").string() + "\n");
  }
  if (written.failure) std::rethrow_exception(written.failure);
}

void buffer(Work& work) {
  const auto stream = work.processor().IFFilterDocumentToBufferStream();
  std::vector<char> block(std::size_t{64} << 10);
  while (const long count = stream->read(block.data(), static_cast<long>(block.size()))) {
    work.output().write(block.data(), count);
  }
}

// ---- list, extract, container, mail
// --------------------------------------------------------------

const char* type_name(const v1::Subfile& member) {
  switch (member.type()) {
    case v1::subfile_type::file:
      return "file";
    case v1::subfile_type::message:
      return "message";
    case v1::subfile_type::attachment:
      return "attachment";
    case v1::subfile_type::folder:
      return "folder";
    case v1::subfile_type::embedded_object:
      return "embedded object";
    case v1::subfile_type::contact:
      return "contact";
    case v1::subfile_type::appointment:
      return "appointment";
    case v1::subfile_type::task:
      return "task";
    case v1::subfile_type::note:
      return "note";
    case v1::subfile_type::journal_entry:
      return "journal entry";
  }
  return "other";
}

void add_member(JsonWriter& json, const v1::Subfile& member) {
  json.member("name", member.rawname());
  json.member("type", type_name(member));
  json.key("size");
  json.number(std::int64_t{member.size()});
  json.key("time");
  member.time() == 0 ? json.null() : json.text(time_text(member.time()));
  json.key("parent");
  member.parent() < 0 ? json.null() : json.number(std::int64_t{member.parent()});
  json.key("children");
  json.begin_array();
  for (const long child : member.children()) json.number(std::int64_t{child});
  json.end_array();
}

std::string member_line(const v1::Subfile& member) {
  std::ostringstream out;
  out << member.index() << '\t' << type_name(member) << '\t' << member.size() << '\t'
      << time_text(member.time()) << '\t' << printable(member.rawname()) << '\n';
  return out.str();
}

/// A line that tells why a member cannot be had.
std::string member_problem(const v1::Subfile& member, const std::exception& error) {
  constexpr std::size_t longest = 200;
  std::string name;
  try {
    name = " (" + printable(member.rawname().substr(0, longest)) + ")";
  } catch (const v1::tarnis_error&) {
    // Its name cannot be had either.
  }
  return "member " + std::to_string(member.index()) + name + ": " + failure_of(error).what() + "\n";
}

/// Tells what went wrong with single members, and ends the program with the status that says so.
void report_members(const std::string& problems) {
  if (problems.empty()) return;
  write_all(STDERR_FILENO, problems);
  throw Failure(ExitStatus::members_failed, "some members failed");
}

void list(Work& work) {
  const v1::Container container = work.processor().IFSubfiles();
  const bool as_json = work.command_line().json;
  JsonWriter json = work.begin_json();
  json.key("members");
  json.begin_array();
  std::string problems;
  for (auto member = container.begin(); member != container.end(); ++member) {
    if (as_json) {
      json.begin_object();
      json.key("index");
      json.number(std::int64_t{member->index()});
    }
    try {
      member->is_folder();  // reads the attributes, all at once
      if (as_json) {
        add_member(json, *member);
      } else {
        work.output().print(member_line(*member));
      }
    } catch (const v1::tarnis_error& error) {
      if (as_json) json.member("error", error.what());
      problems += member_problem(*member, error);
    }
    if (as_json) json.end_object();
  }
  json.end_array();
  if (as_json) work.print_json(json);
  report_members(problems);
}

void extract(Work& work) {
  const v1::Container container = work.processor().IFSubfiles();
  std::string problems;
  const fs::path directory =
      extract_members(container, [&](const v1::Subfile& member, const std::exception& error) {
        problems += member_problem(member, error);
      });
  fs::path place;
  try {
    place = work.keep(directory, ".members");
  } catch (...) {
    std::error_code ignored;
    fs::remove_all(directory, ignored);
    throw;
  }
  work.output().print(place.string() + "\n");
  report_members(problems);
}

/// Copies a file to standard output and removes it.
void print_and_remove(const fs::path& path, StandardOutput& output) {
  struct Remover {
    const fs::path& path;
    ~Remover() {
      std::error_code ignored;
      fs::remove(path, ignored);
    }
  } remover{path};
  v1::io::InputFile file(path.string());
  std::vector<char> block(std::size_t{64} << 10);
  while (const long count = file.read(block.data(), static_cast<long>(block.size()))) {
    output.write(block.data(), count);
  }
}

void container(Work& work) {
  const LibraryFile written = run_writing([&] { return work.processor().IFFilterContainer(); });
  if (written.path.empty()) {
    write_all(STDERR_FILENO, written.problems);
    std::rethrow_exception(written.failure);
  }
  const fs::path result = work.keep(written.path, ".container.txt");
  if (work.command_line().json) {
    JsonWriter json = work.begin_json();
    json.member("file", result.string());
    json.key("size");
    json.number(static_cast<std::int64_t>(fs::file_size(result)));
    json.key("problems");
    json.begin_array();
    std::istringstream lines(written.problems);
    for (std::string line; std::getline(lines, line);) json.text(line);
    json.end_array();
    work.print_json(json);
  } else if (work.keeps_results()) {
    work.output().print(result.string() + "\n");
  } else {
    print_and_remove(result, work.output());
  }
  if (written.failure) {
    write_all(STDERR_FILENO, written.problems);
    std::rethrow_exception(written.failure);
  }
  report_members(written.problems);
}

void mail(Work& work) {
  const v1::Container container = work.processor().IFSubfiles();
  const bool as_json = work.command_line().json;
  JsonWriter json = work.begin_json();
  json.key("messages");
  json.begin_array();
  for (auto member = container.begin(); member != container.end(); ++member) {
    const auto fields = member->mail_metadata();
    if (fields.empty()) continue;
    if (!as_json) {
      work.output().print(std::to_string(member->index()) + "\t" + printable(member->rawname()) +
                          "\n");
      for (const auto& [name, value] : fields) {
        work.output().print("\t" + name + ": " + printable(value) + "\n");
      }
      continue;
    }
    json.begin_object();
    json.key("index");
    json.number(std::int64_t{member->index()});
    json.member("name", member->rawname());
    json.key("fields");
    json.begin_array();
    for (const auto& [name, value] : fields) {
      json.begin_object();
      json.member("name", name);
      json.member("value", value);
      json.end_object();
    }
    json.end_array();
    json.end_object();
  }
  json.end_array();
  if (as_json) work.print_json(json);
}

// ---- metadata
// ------------------------------------------------------------------------------------

/// A property's value in its own type; times as ISO 8601.
void add_value(JsonWriter& json, const v1::SummaryInfoItem& item) {
  switch (item.type()) {
    case v1::summary_item_type::boolean:
      json.member("type", "boolean");
      json.key("value");
      json.boolean(v1::SummaryInfoItem::as_bool(item.element()));
      return;
    case v1::summary_item_type::int32:
      json.member("type", "integer");
      json.key("value");
      json.number(std::int64_t{v1::SummaryInfoItem::as_int32(item.element())});
      return;
    case v1::summary_item_type::floating_point:
      json.member("type", "number");
      json.key("value");
      json.number(v1::SummaryInfoItem::as_double(item.element()));
      return;
    case v1::summary_item_type::epoch_seconds:
      json.member("type", "time");
      json.member("value", item.convert_to_string());
      return;
    case v1::summary_item_type::target_encoding_string:
    case v1::summary_item_type::utf8_string:
      json.member("type", "text");
      json.member("value", item.convert_to_string());
      return;
  }
}

void metadata(Work& work) {
  if (!work.command_line().json) {
    std::string lines;
    {
      const CapturedLines captured(std::cout);
      work.processor().IFFilterMetadata();
      lines = captured.text();
    }
    work.output().print(lines);
    return;
  }
  const auto session = work.session()->get();
  const auto file = work.input()->get();
  JsonWriter json = work.begin_json();
  json.key("properties");
  json.begin_array();
  for (const auto& [name, item] :
       v1::internal::get_summary_information(session->implementation(), Input(*file))) {
    json.begin_object();
    json.member("name", name);
    add_value(json, item);
    json.end_object();
  }
  json.end_array();
  work.print_json(json);
}

using JobFunction = void (*)(Work&);

constexpr std::pair<std::string_view, JobFunction> functions[] = {
    {"text", text},         {"filter", filter},   {"detect", detect},
    {"list", list},         {"extract", extract}, {"container", container},
    {"metadata", metadata}, {"mail", mail},       {"buffer", buffer},
};

JobFunction function_of(std::string_view job) {
  for (const auto& [name, function] : functions) {
    if (name == job) return function;
  }
  throw Failure(ExitStatus::usage, "unknown job '" + std::string(job) + "'");
}

}  // namespace

ExitStatus run_job(const CommandLine& command_line, StandardOutput& output) {
  const JobRow& job = *find_job(command_line.job);
  if (!job.has_document) {
    run_sandbox_test(command_line, output);
    return ExitStatus::success;
  }
  const JobFunction function = function_of(command_line.job);
  const bool headings = command_line.documents.size() > 1 && job.has_lines && !command_line.json;
  std::shared_ptr<ITarnisSessionWrapper> session;
  ResultPlace place(command_line.output_directory);
  auto status = ExitStatus::success;
  for (const std::string& document : command_line.documents) {
    try {
      if (session == nullptr) session = create_session(command_line);
      Work work(command_line, document, session, output, place);
      if (headings) output.print("Document: " + printable(document) + "\n");
      function(work);
    } catch (const std::exception& error) {
      const Failure failure = failure_of(error);
      report(document, command_line.job, failure);
      if (status == ExitStatus::success) status = failure.status();
      if (session == nullptr || output.broken()) break;
    }
  }
  return status;
}

}  // namespace tarnis::cli
