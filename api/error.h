#pragma once

#include <exception>
#include <string>

#include "api/export.h"

namespace tarnis::v1 {

/// The text of each engine error code, indexed by code 0 to 47. Row 35 has no text and is null.
extern TARNIS_EXPORT const char* const error_names[48];

/// A failure that the engine reported, or that the library met while it was starting the engine.
class TARNIS_EXPORT tarnis_error : public std::exception {
 public:
  /// "An unknown error occured within Tarnis", code 6.
  tarnis_error();
  /// `message` as it stands, code 6.
  explicit tarnis_error(std::string message);
  /// "Tarnis error CODE: NAME"; a code outside 0 to 47 has the name "UnknownError".
  explicit tarnis_error(int code);
  ~tarnis_error() override;

  tarnis_error(const tarnis_error&) = default;
  tarnis_error& operator=(const tarnis_error&) = default;

  /// Owned by this object.
  const char* what() const noexcept override;

  /// The engine's code; 6, a general error, when the error was not made from a code.
  int code() const noexcept { return code_; }

 private:
  std::string message_;
  int code_;
};

/// The document cannot be read without a password, or the given one is wrong.
class TARNIS_EXPORT password_protected_error : public tarnis_error {
 public:
  password_protected_error();
  ~password_protected_error() override;
  password_protected_error(const password_protected_error&) = default;
  password_protected_error& operator=(const password_protected_error&) = default;
  const char* what() const noexcept override;
};

/// The engine cannot do what was asked of it with documents of this format.
class TARNIS_EXPORT format_not_supported_error : public tarnis_error {
 public:
  format_not_supported_error();
  ~format_not_supported_error() override;
  format_not_supported_error(const format_not_supported_error&) = default;
  format_not_supported_error& operator=(const format_not_supported_error&) = default;
  const char* what() const noexcept override;
};

/// A subfile has no bytes in its container: the document only links to it.
class TARNIS_EXPORT external_subfile_error : public tarnis_error {
 public:
  explicit external_subfile_error(std::string location);
  ~external_subfile_error() override;
  external_subfile_error(const external_subfile_error&) = default;
  external_subfile_error& operator=(const external_subfile_error&) = default;
  const char* what() const noexcept override;

  /// The name under which the document refers to the subfile; owned by this object.
  const std::string& location() const noexcept { return location_; }

 private:
  std::string location_;
};

}  // namespace tarnis::v1
