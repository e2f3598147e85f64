#include "cli/command_line.h"

#include <charconv>
#include <iomanip>
#include <sstream>
#include <utility>

#include "cli/exit_status.h"

namespace tarnis::cli {
namespace {

[[noreturn]] void refuse(const std::string& message) {
  throw Failure(ExitStatus::usage, message + "; see tarnis --help");
}

long number_of(const std::string& option, const std::string& text) {
  long value = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc{} || stop != end || value < 0) {
    refuse(option + " expects a number, got '" + text + "'");
  }
  return value;
}

v1::Encoding encoding_of(const std::string& option, const std::string& text) {
  return static_cast<v1::Encoding>(number_of(option, text));
}

/// An option without a value.
struct Flag {
  std::string_view name;
  std::string_view help;
  void (*set)(CommandLine&);
};

/// An option with one.
struct Valued {
  std::string_view name;
  std::string_view value;
  std::string_view help;
  void (*set)(CommandLine&, const std::string& option, const std::string& value);
};

constexpr Flag flags[] = {
    {"--bom", "start the text with a byte-order mark",
     [](CommandLine& c) { c.configuration.unicode_byte_order_marker(true); }},
    {"--custom_pdf_metadata", "give a PDF's own properties too",
     [](CommandLine& c) { c.configuration.custom_pdf_metadata(true); }},
    {"--date_time_field_code", "show date and time fields by their codes",
     [](CommandLine& c) { c.configuration.date_time_field_codes(true); }},
    {"--filename_field_code", "show file name fields by their code",
     [](CommandLine& c) { c.configuration.filename_field_code(true); }},
    {"--formatted_mail", "extract messages as formatted mail",
     [](CommandLine& c) { c.configuration.formatted_mail(true); }},
    {"--header", "show page headers and footers",
     [](CommandLine& c) { c.configuration.header_and_footer(true); }},
    {"--hidden", "show hidden text", [](CommandLine& c) { c.configuration.hidden_text(true); }},
    {"--ip", "read documents in this process", [](CommandLine& c) { c.in_process = true; }},
    {"--lpdf_auto", "read PDF pages in the order that suits each",
     [](CommandLine& c) {
       c.configuration.pdf_logical_reading(v1::LogicalPDFDirection::automatic);
     }},
    {"--lpdf_raw", "read PDF pages as they are stored",
     [](CommandLine& c) { c.configuration.pdf_logical_reading(v1::LogicalPDFDirection::raw); }},
    {"--lpdf_ltr", "read PDF pages left to right",
     [](CommandLine& c) {
       c.configuration.pdf_logical_reading(v1::LogicalPDFDirection::left_to_right);
     }},
    {"--lpdf_rtl", "read PDF pages right to left",
     [](CommandLine& c) {
       c.configuration.pdf_logical_reading(v1::LogicalPDFDirection::right_to_left);
     }},
    {"--oop_log", "let the engine's worker write a log",
     [](CommandLine& c) { c.configuration.out_of_process_log(true); }},
    {"--oop_log_mem", "let that log tell of memory",
     [](CommandLine& c) { c.configuration.out_of_process_memory_log(true); }},
    {"--revision", "show and mark tracked insertions and deletions",
     [](CommandLine& c) { c.configuration.revision_marks(true); }},
    {"--skip_comments", "leave comments out",
     [](CommandLine& c) { c.configuration.skip_comments(true); }},
    {"--skip_embedded_fonts", "leave embedded fonts out",
     [](CommandLine& c) { c.configuration.skip_embedded_fonts(true); }},
    {"--skip_thumbnail", "leave thumbnails out",
     [](CommandLine& c) { c.configuration.skip_thumbnail(true); }},
    {"--soft_hyphens", "keep soft hyphens",
     [](CommandLine& c) { c.configuration.soft_hyphens(true); }},
    {"--tagged_pdf_content", "read tagged PDF in the order of its structure",
     [](CommandLine& c) { c.configuration.tagged_pdf_content(true); }},
    {"--verbose", "show the library's own lines on standard error",
     [](CommandLine& c) { c.verbose = true; }},
    {"--help", "show this text and end", [](CommandLine& c) { c.help = true; }},
    {"--version", "show the version and end", [](CommandLine& c) { c.version = true; }},
};

constexpr Valued valued[] = {
    {"--bin_path", "DIRECTORY", "load the engine, trfilter.so, from there",
     [](CommandLine& c, const std::string&, const std::string& v) { c.engine_directory = v; }},
    {"--extraction_timeout", "SECONDS", "give up extracting after that time; 0: never",
     [](CommandLine& c, const std::string& o, const std::string& v) {
       c.configuration.extraction_timeout(number_of(o, v));
     }},
    {"--output", "FILE", "where filter puts the text, instead of a temporary file",
     [](CommandLine& c, const std::string&, const std::string& v) { c.output = v; }},
    {"--password", "TEXT", "the document's password",
     [](CommandLine& c, const std::string&, const std::string& v) { c.configuration.password(v); }},
    {"--source_encoding", "NUMBER", "the character set of text that does not state one",
     [](CommandLine& c, const std::string& o, const std::string& v) {
       c.configuration.source_encoding(encoding_of(o, v));
     }},
    {"--target_encoding", "NUMBER", "the character set of the text; 53: UTF-8",
     [](CommandLine& c, const std::string& o, const std::string& v) {
       c.configuration.target_encoding(encoding_of(o, v));
     }},
    {"--timeout", "SECONDS", "give up on the document after that time; 0: never",
     [](CommandLine& c, const std::string& o, const std::string& v) {
       c.configuration.timeout(number_of(o, v));
     }},
    {"--tmp_dir", "DIRECTORY", "where the engine puts temporary files",
     [](CommandLine& c, const std::string&, const std::string& v) {
       c.configuration.temporary_directory(v);
     }},
};

struct Job {
  std::string_view name;
  std::string_view help;
};

constexpr Job jobs[] = {
    {"text", "print the document's text"},
    {"filter", "write the document's text to a file and print the file's name"},
    {"detect", "print what the document is"},
};

bool is_job(std::string_view name) {
  for (const Job& job : jobs) {
    if (job.name == name) return true;
  }
  return false;
}

/// Takes the option at `arguments[at]`, with its value if it has one.
/// @return how many arguments were taken
std::size_t take_option(const std::vector<std::string>& arguments, std::size_t at,
                        CommandLine& command_line) {
  const std::string& name = arguments[at];
  for (const Flag& flag : flags) {
    if (flag.name == name) {
      flag.set(command_line);
      return 1;
    }
  }
  for (const Valued& option : valued) {
    if (option.name == name) {
      if (at + 1 == arguments.size()) refuse(name + " expects a value");
      option.set(command_line, name, arguments[at + 1]);
      return 2;
    }
  }
  refuse("unknown option " + name);
}

}  // namespace

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
  if (command_line.help || command_line.version) return command_line;
  if (positional.size() != 2) refuse("expected a job and a document");
  if (!is_job(positional[0])) refuse("unknown job '" + positional[0] + "'");
  if (!command_line.output.empty() && positional[0] != "filter") {
    refuse("--output goes with filter");
  }
  command_line.job = positional[0];
  command_line.document = positional[1];
  return command_line;
}

std::string help_text() {
  std::ostringstream out;
  const auto entry = [&](const std::string& left, std::string_view right) {
    out << "  " << std::left << std::setw(32) << left << right << '\n';
  };
  out << "usage: tarnis JOB [OPTION]... DOCUMENT\n"
         "DOCUMENT is a file, or - for standard input.\n\njobs:\n";
  for (const Job& job : jobs) entry(std::string(job.name), job.help);
  out << "\noptions:\n";
  for (const Flag& flag : flags) entry(std::string(flag.name), flag.help);
  for (const Valued& option : valued) {
    entry(std::string(option.name) + " " + std::string(option.value), option.help);
  }
  out << "\nexit status:\n";
  entry("0", "done");
  entry("1", "another failure");
  entry("2", "the command line is not understood");
  entry("3", "the document's format is unknown or has no reader");
  entry("4", "the document is protected, and the password missing or wrong");
  entry("5", "the document is damaged; what could be read has been printed");
  entry("6", "the document is not there or cannot be opened");
  entry("7", "the time-out has passed");
  return out.str();
}

}  // namespace tarnis::cli
