#include "wrapper/ParsedArguments.h"

#include <iostream>
#include <sstream>
#include <stdexcept>

namespace tarnis::argument {

const std::unordered_set<std::string> all_valued_options = {
    "--bin_path",        "--extraction_timeout", "--tmp_dir", "--password",
    "--source_encoding", "--target_encoding",    "--timeout"};

const std::unordered_set<std::string> all_boolean_options = {"--bom",
                                                             "--custom_pdf_metadata",
                                                             "--date_time_field_code",
                                                             "--filename_field_code",
                                                             "--formatted_mail",
                                                             "--header",
                                                             "--hidden",
                                                             "--ip",
                                                             "--lpdf_auto",
                                                             "--lpdf_raw",
                                                             "--lpdf_ltr",
                                                             "--lpdf_rtl",
                                                             "--oop_log",
                                                             "--oop_log_mem",
                                                             "--revision",
                                                             "--skip_comments",
                                                             "--skip_embedded_fonts",
                                                             "--skip_thumbnail",
                                                             "--soft_hyphens",
                                                             "--tagged_pdf_content"};

namespace {

[[noreturn]] void refuse(const std::string& text, const std::string& argument) {
  std::ostringstream message;
  message << text << argument;
  throw std::invalid_argument(message.str());
}

}  // namespace

ParsedArguments::ParsedArguments(int expected_positional,
                                 const std::unordered_set<std::string>& boolean_options,
                                 const std::unordered_set<std::string>& valued_options, int argc,
                                 char** argv) {
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (argument.empty() || argument.front() != '-') {
      positional.push_back(argument);
      continue;
    }
    if (all_boolean_options.count(argument) == 0 && all_valued_options.count(argument) == 0) {
      refuse("Argument is not a valid configuration option: ", argument);
    }
    if (valued_options.count(argument) != 0) {
      if (++i >= argc) throw std::invalid_argument("Final command line option expects a value");
      const std::string value = argv[i];
      if (!value.empty() && value.front() == '-') {
        std::cerr << "Warning: " << value
                  << " is being interpreted as an argument to the previous option. This may be "
                     "unexpected.\n";
      }
      values[argument] = value;
    } else if (boolean_options.count(argument) != 0) {
      flags.insert(argument);
    } else {
      refuse("Unrecognised command line option ", argument);
    }
  }
  if (expected_positional < 0 ||
      positional.size() != static_cast<std::size_t>(expected_positional)) {
    std::ostringstream message;
    message << "Incorrect number of positional arguments. Expected " << expected_positional
            << ", got " << positional.size();
    throw std::invalid_argument(message.str());
  }
}

}  // namespace tarnis::argument
