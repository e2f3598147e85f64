#include "cli/command_line.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <string_view>

#include "cli/exit_status.h"
#include "cli/option_table.h"
#include "cli/password.h"

namespace tarnis::cli {
namespace {

using v1::Configuration;
using v1::Encoding;
using v1::LogicalPDFDirection;

[[noreturn]] void refuse(const std::string& message) {
  throw Failure(ExitStatus::usage, message + "; see tarnis --help");
}

long number_of(std::string_view option, const std::string& text) {
  long value = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc{} || stop != end || value < 0) {
    refuse(std::string(option) + " expects a number, got '" + text + "'");
  }
  return value;
}

/// The setter of a boolean setting, for the table.
template <Configuration& (Configuration::*setter)(bool)>
void enable(CommandLine& command_line, const std::string&) {
  command_line.settings.emplace_back([](Configuration& c) { (c.*setter)(true); });
}

template <LogicalPDFDirection direction>
void read_pdf(CommandLine& command_line, const std::string&) {
  command_line.settings.emplace_back([](Configuration& c) { c.pdf_logical_reading(direction); });
}

template <bool CommandLine::*field>
void raise(CommandLine& command_line, const std::string&) {
  command_line.*field = true;
}

template <std::string CommandLine::*field>
void keep(CommandLine& command_line, const std::string& value) {
  command_line.*field = value;
}

void set_password(CommandLine& command_line, const std::string& password) {
  command_line.settings.emplace_back([password](Configuration& c) { c.password(password); });
}

void set_encoding(CommandLine& command_line, std::string_view option, const std::string& value,
                  Configuration& (Configuration::*setter)(Encoding)) {
  const auto encoding = static_cast<Encoding>(number_of(option, value));
  command_line.settings.emplace_back([=](Configuration& c) { (c.*setter)(encoding); });
}

void set_seconds(CommandLine& command_line, std::string_view option, const std::string& value,
                 Configuration& (Configuration::*setter)(long)) {
  const long seconds = number_of(option, value);
  command_line.settings.emplace_back([=](Configuration& c) { (c.*setter)(seconds); });
}

// Every option of the program: the parser, --help and the manual page come from here.
constexpr Option options[] = {
    {"--bin_path", "DIRECTORY", "load the engine, trfilter.so, from there",
     keep<&CommandLine::engine_directory>},
    {"--bom", "", "start the text with a byte-order mark",
     enable<&Configuration::unicode_byte_order_marker>},
    {"--custom_pdf_metadata", "", "give a PDF's own properties too",
     enable<&Configuration::custom_pdf_metadata>},
    {"--date_time_field_code", "", "show date and time fields by their codes",
     enable<&Configuration::date_time_field_codes>},
    {"--extraction_timeout", "SECONDS", "give up extracting a member after that time; 0: never",
     [](CommandLine& c, const std::string& v) {
       set_seconds(c, "--extraction_timeout", v, &Configuration::extraction_timeout);
     }},
    {"--filename_field_code", "", "show file name fields by their code",
     enable<&Configuration::filename_field_code>},
    {"--formatted_mail", "", "extract messages as formatted mail",
     enable<&Configuration::formatted_mail>},
    {"--header", "", "show page headers and footers", enable<&Configuration::header_and_footer>},
    {"--hidden", "", "show hidden text", enable<&Configuration::hidden_text>},
    {"--ip", "", "read documents in this process, not in a locked-down one",
     raise<&CommandLine::in_process>},
    {"--json", "", "print the result of detect, list, metadata, mail or container as JSON",
     raise<&CommandLine::json>},
    {"--lpdf_auto", "", "read each PDF page in the order that suits it",
     read_pdf<LogicalPDFDirection::automatic>},
    {"--lpdf_ltr", "", "read PDF pages left to right",
     read_pdf<LogicalPDFDirection::left_to_right>},
    {"--lpdf_raw", "", "read PDF pages as they are stored", read_pdf<LogicalPDFDirection::raw>},
    {"--lpdf_rtl", "", "read PDF pages right to left",
     read_pdf<LogicalPDFDirection::right_to_left>},
    {"--oop_log", "", "let the engine's worker write a log",
     enable<&Configuration::out_of_process_log>},
    {"--oop_log_mem", "", "let that log tell of memory",
     enable<&Configuration::out_of_process_memory_log>},
    {"--output", "DIRECTORY", "put the result of filter, extract or container there",
     keep<&CommandLine::output_directory>},
    {"--password", "TEXT", "the document's password, for all on this machine to see", set_password},
    {"--password_fd", "NUMBER", "read the document's password from this file descriptor",
     [](CommandLine& c, const std::string& v) {
       set_password(c, password_from_descriptor(static_cast<int>(number_of("--password_fd", v))));
     }},
    {"--password_prompt", "", "ask for the document's password on the terminal",
     [](CommandLine& c, const std::string&) { set_password(c, password_from_terminal()); }},
    {"--revision", "", "show and mark tracked insertions and deletions",
     enable<&Configuration::revision_marks>},
    {"--skip_comments", "", "leave comments out", enable<&Configuration::skip_comments>},
    {"--skip_embedded_fonts", "", "leave embedded fonts out",
     enable<&Configuration::skip_embedded_fonts>},
    {"--skip_thumbnail", "", "leave thumbnails out", enable<&Configuration::skip_thumbnail>},
    {"--soft_hyphens", "", "keep soft hyphens", enable<&Configuration::soft_hyphens>},
    {"--source_encoding", "NUMBER", "the character set of text that does not state one",
     [](CommandLine& c, const std::string& v) {
       set_encoding(c, "--source_encoding", v, &Configuration::source_encoding);
     }},
    {"--tagged_pdf_content", "", "read tagged PDF in the order of its structure",
     enable<&Configuration::tagged_pdf_content>},
    {"--target_encoding", "NUMBER", "the character set of the text; 53: UTF-8",
     [](CommandLine& c, const std::string& v) {
       set_encoding(c, "--target_encoding", v, &Configuration::target_encoding);
     }},
    {"--timeout", "SECONDS", "give up on the document after that time; 0: never",
     [](CommandLine& c, const std::string& v) {
       set_seconds(c, "--timeout", v, &Configuration::timeout);
     }},
    {"--tmp_dir", "DIRECTORY", "where the engine puts temporary files",
     [](CommandLine& c, const std::string& v) {
       c.settings.emplace_back([v](Configuration& s) { s.temporary_directory(v); });
     }},
    {"--verbose", "", "show the library's own lines on standard error",
     raise<&CommandLine::verbose>},
    {"--help", "", "show jobs and options, and end", raise<&CommandLine::help>},
    {"--man", "", "show the manual page's source, and end", raise<&CommandLine::man>},
    {"--version", "", "show the version, and end", raise<&CommandLine::version>},
};

/// Takes the option at `arguments[at]`, with its value if it has one.
/// @return how many arguments were taken
std::size_t take_option(const std::vector<std::string>& arguments, std::size_t at,
                        CommandLine& command_line) {
  for (const Option& option : options) {
    if (option.name != arguments[at]) continue;
    if (option.value.empty()) {
      option.set(command_line, {});
      return 1;
    }
    if (at + 1 == arguments.size()) refuse(arguments[at] + " expects a value");
    option.set(command_line, arguments[at + 1]);
    return 2;
  }
  refuse("unknown option " + arguments[at]);
}

/// Refuses options that would do nothing for the job.
void check_job(const CommandLine& command_line) {
  const JobRow* job = find_job(command_line.job);
  if (job == nullptr) refuse("unknown job '" + command_line.job + "'");
  if (command_line.json && !job->has_json) refuse("--json does not go with " + command_line.job);
  if (!command_line.output_directory.empty() && !job->has_output) {
    refuse("--output does not go with " + command_line.job);
  }
}

}  // namespace

std::span<const Option> option_table() {
  return options;
}

CommandLine parse_command_line(const std::vector<std::string>& arguments) {
  CommandLine command_line;
  std::vector<std::string> positional;
  for (std::size_t at = 0; at < arguments.size();) {
    const std::string& argument = arguments[at];
    if (argument == "-" || argument.empty() || argument.front() != '-') {
      positional.push_back(argument);
      ++at;
    } else {
      at += take_option(arguments, at, command_line);
    }
  }
  if (command_line.help || command_line.man || command_line.version) return command_line;
  const JobRow* job = positional.empty() ? nullptr : find_job(positional[0]);
  const bool has_document = job == nullptr || job->has_document;
  if (has_document ? positional.size() < 2 : positional.size() != 1) {
    refuse(has_document ? "expected a job and a document" : "the job takes no document");
  }
  command_line.job = std::move(positional[0]);
  command_line.documents.assign(std::make_move_iterator(positional.begin() + 1),
                                std::make_move_iterator(positional.end()));
  if (std::ranges::count(command_line.documents, "-") > 1) {
    refuse("standard input can be read once");
  }
  check_job(command_line);
  return command_line;
}

}  // namespace tarnis::cli
