#include <iomanip>
#include <sstream>

#include "cli/command_line.h"
#include "cli/exit_status.h"
#include "cli/option_table.h"

namespace tarnis::cli {
namespace {

constexpr JobRow jobs[] = {
    {"text", "print the document's text", false, false, false},
    {"filter", "write the document's text to a file and print the file's name", false, true, true},
    {"detect", "print what the document is", true, false, true},
    {"list", "print the members of a container", true, false, true},
    {"extract", "write the members to a directory and print its name", false, true, true},
    {"container", "print the text of the document and of all members, framed", true, true, false},
    {"metadata", "print the document's properties", true, false, true},
    {"mail", "print the mail fields of the members", true, false, true},
    {"buffer", "print the document's text once all of it is in the library's buffer", false, false,
     false},
    {"sandbox-test", "try what a document's reader must not be able to do; takes no document",
     false, false, true, false},
};

constexpr StatusRow statuses[] = {
    {static_cast<int>(ExitStatus::success), "done"},
    {static_cast<int>(ExitStatus::other), "another failure"},
    {static_cast<int>(ExitStatus::usage), "the command line is not understood"},
    {static_cast<int>(ExitStatus::unsupported),
     "the document's format is unknown or has no reader"},
    {static_cast<int>(ExitStatus::password_protected),
     "the document is protected, and the password missing or wrong"},
    {static_cast<int>(ExitStatus::damaged),
     "the document is damaged; what could be read has been printed"},
    {static_cast<int>(ExitStatus::not_found), "the document is not there or cannot be opened"},
    {static_cast<int>(ExitStatus::timed_out), "the time-out has passed"},
    {static_cast<int>(ExitStatus::members_failed),
     "some members failed, each told on standard error; the others are done"},
};

std::string spelled(const Option& option) {
  std::string text(option.name);
  if (!option.value.empty()) text += " " + std::string(option.value);
  return text;
}

/// A word as man(7) shows it: a hyphen that is typed is "\-".
std::string roff(std::string_view text) {
  std::string out;
  for (const char c : text) {
    if (c == '-' || c == '\\') out += '\\';
    out += c;
  }
  return out;
}

}  // namespace

std::span<const JobRow> job_table() {
  return jobs;
}

std::span<const StatusRow> status_table() {
  return statuses;
}

const JobRow* find_job(std::string_view name) {
  for (const JobRow& job : jobs) {
    if (job.name == name) return &job;
  }
  return nullptr;
}

std::string help_text() {
  std::ostringstream out;
  const auto entry = [&](const std::string& left, std::string_view right) {
    out << "  " << std::left << std::setw(30) << left << right << '\n';
  };
  out << "usage: tarnis JOB [OPTION]... DOCUMENT...\n"
         "DOCUMENT is a file, or - for standard input. Of several each is done in its turn; one "
         "that\n"
         "fails is told on standard error, and the program ends with the status of the first of "
         "these.\n\njobs:\n";
  for (const JobRow& job : jobs) entry(std::string(job.name), job.help);
  out << "\noptions:\n";
  for (const Option& option : option_table()) entry(spelled(option), option.help);
  out << "\nexit status:\n";
  for (const StatusRow& row : statuses) entry(std::to_string(row.status), row.help);
  return out.str();
}

std::string manual_page() {
  std::ostringstream out;
  const auto entry = [&](std::string_view left, std::string_view right) {
    out << ".TP\n.B " << roff(left) << '\n' << roff(right) << '\n';
  };
  out << ".TH TARNIS 1 \"\" \"tarnis " TARNIS_VERSION
         "\"\n"
         ".SH NAME\ntarnis \\- documents into text, and facts about them\n"
         ".SH SYNOPSIS\n.B tarnis\n.I JOB\n.RI [ OPTION ]...\n.IR DOCUMENT ...\n"
         ".SH DESCRIPTION\nDoes one job on a document: a file, or \\- for standard input. Results "
         "go to standard output, messages to standard error. Of several documents each is done in "
         "its turn; one that fails is told, and the program ends with the status of the first of "
         "these.\n.SH JOBS\n";
  for (const JobRow& job : jobs) entry(job.name, job.help);
  out << ".SH OPTIONS\n";
  for (const Option& option : option_table()) entry(spelled(option), option.help);
  out << ".SH EXIT STATUS\n";
  for (const StatusRow& row : statuses) entry(std::to_string(row.status), row.help);
  return out.str();
}

}  // namespace tarnis::cli
