#include "api/error.h"

#include <iterator>
#include <locale>
#include <sstream>
#include <utility>

#include "api/throw_on_error.h"

namespace tarnis::v1 {

namespace {

constexpr char unknown_error_message[] = "An unknown error occured within Tarnis";
constexpr int general_error = 6;
constexpr int format_not_supported = 7;
constexpr int password_protected = 8;

bool has_name(int code) {
  return code >= 0 && static_cast<std::size_t>(code) < std::size(error_names);
}

std::string message_of(int code) {
  std::ostringstream message;
  message.imbue(std::locale::classic());
  message << "Tarnis error " << code << ": ";
  if (!has_name(code)) {
    message << "UnknownError";
  } else if (error_names[code] != nullptr) {
    message << error_names[code];
  }
  return message.str();
}

}  // namespace

// Some rows are identifiers, others sentences; the wording is part of the interface.
const char* const error_names[48] = {
    "Success",                                                             // 0
    "Unable to load a required dll",                                       // 1
    "OutOfCore",                                                           // 2
    "processCancelled",                                                    // 3
    "The document appears to be corrupt and can not be processed",         // 4
    "badOutputType",                                                       // 5
    "A general error occured",                                             // 6
    "Documents of this format can not be processed",                       // 7
    "The document is password protected",                                  // 8
    "ADSNotFound",                                                         // 9
    "Unable to detect the format of the document",                         // 10
    "The document format was not recognized",                              // 11
    "The document reader encountered an error during initial processing",  // 12
    "NoReader",                                                            // 13
    "Unable to create the output file on disk",                            // 14
    "CreateTempFileFailed",                                                // 15
    "ErrorWritingToOutputFile",                                            // 16
    "CreateProcessFailed",                                                 // 17
    "WaitForChildFailed",                                                  // 18
    "ChildTimeOut",                                                        // 19
    "ArchiveFileNotFound",                                                 // 20
    "ArchiveFatalError",                                                   // 21
    "OpenStreamFailure",                                                   // 22
    "InterfaceFunctionNotFound",                                           // 23
    "InputFileNotFound",                                                   // 24
    "OpenOutputFileFailed",                                                // 25
    "MemoryLeak",                                                          // 26
    "MemoryOverwrite",                                                     // 27
    "GPF",                                                                 // 28
    "OopCore",                                                             // 29
    "TRoopLogFailed",                                                      // 30
    "OverNestedFileLimit",                                                 // 31
    "PSTAccessFailed",                                                     // 32
    "The document is password protected",                                  // 33
    "The Tarnis API was called with invalid arguments",                    // 34
    nullptr,                                                               // 35
    "OopBadConfig",                                                        // 36
    "OopBrokenPipe",                                                       // 37
    "OopPipeOEF",                                                          // 38
    "IPCTimeOut",                                                          // 39
    "InvalidOopDriverSignature",                                           // 40
    "InvalidOopServiceSignature",                                          // 41
    "ZeroFile",                                                            // 42
    "The compression method used by the document is not supported",        // 43
    "NoTemplates",                                                         // 44
    "NoMainTemplate",                                                      // 45
    "InvalidTemplate",                                                     // 46
    "TemplateError",                                                       // 47
};

tarnis_error::tarnis_error() : message_(unknown_error_message), code_(general_error) {}

tarnis_error::tarnis_error(std::string message)
    : message_(std::move(message)), code_(general_error) {}

tarnis_error::tarnis_error(int code) : message_(message_of(code)), code_(code) {}

tarnis_error::~tarnis_error() = default;

const char* tarnis_error::what() const noexcept {
  return message_.c_str();
}

password_protected_error::password_protected_error() = default;

password_protected_error::~password_protected_error() = default;

const char* password_protected_error::what() const noexcept {
  return "Tarnis error: The file is password protected";
}

format_not_supported_error::format_not_supported_error() = default;

format_not_supported_error::~format_not_supported_error() = default;

const char* format_not_supported_error::what() const noexcept {
  return "Tarnis error: Operation not supported on files of this format";
}

external_subfile_error::external_subfile_error(std::string location)
    : location_(std::move(location)) {}

external_subfile_error::~external_subfile_error() = default;

const char* external_subfile_error::what() const noexcept {
  return "Tarnis error: Subfile is stored externally and linked to by the document";
}

namespace internal {

void throw_on_error(int status) {
  if (status == 0) return;
  if (status == format_not_supported) throw format_not_supported_error();
  if (status == password_protected) throw password_protected_error();
  throw tarnis_error(has_name(status) ? status : general_error);
}

}  // namespace internal

}  // namespace tarnis::v1
