#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "api/export.h"
#include "api/tarnis.h"
#include "wrapper/CTarnisIOWrapper.h"
#include "wrapper/ParsedArguments.h"

namespace tarnis {

// What a host holds. Objects are made with std::make_shared and shared by handles to their
// interface; every `get` copies a handle. One thread uses a session and what belongs to it at a
// time.

/// A command line, parsed.
class TARNIS_EXPORT ITarnisArgsWrapper {
 public:
  virtual std::shared_ptr<argument::ParsedArguments> get() = 0;
  virtual ~ITarnisArgsWrapper() = default;
};

/// A configuration of the host's own. Sessions do not read it: a session's settings are changed
/// through `Session::config()`.
class TARNIS_EXPORT ITarnisConfigWrapper {
 public:
  virtual std::shared_ptr<v1::Configuration> get() = 0;
  virtual ~ITarnisConfigWrapper() = default;
};

/// A started engine.
class TARNIS_EXPORT ITarnisSessionWrapper {
 public:
  virtual std::shared_ptr<v1::Session> get() = 0;
  /// The configuration wrapper that the session was created with, while anyone else holds it; then
  /// null.
  virtual std::shared_ptr<ITarnisConfigWrapper> IFGetConfig() = 0;
  virtual ~ITarnisSessionWrapper() = default;
};

/// Where sessions come from.
class TARNIS_EXPORT ITarnisFilterWrapper {
 public:
  /// Starts the engine of the directory `bin_path` with default settings; those of `config` are not
  /// read.
  /// @throws what starting a v1::Session throws
  virtual std::shared_ptr<ITarnisSessionWrapper> IFCreateSession(
      const std::string& bin_path, bool in_process,
      std::shared_ptr<ITarnisConfigWrapper> config) = 0;
  virtual ~ITarnisFilterWrapper() = default;
};

/// A document to read.
class TARNIS_EXPORT ITarnisInputFileWrapper {
 public:
  virtual std::shared_ptr<v1::io::IFile> get() = 0;
  virtual ~ITarnisInputFileWrapper() = default;
};

/// What a document is.
class TARNIS_EXPORT ITarnisDetectionInfoWrapper {
 public:
  virtual std::shared_ptr<v1::DetectionInfo> get() = 0;
  virtual ~ITarnisDetectionInfoWrapper() = default;
};

/// Whole jobs on one document. Engine failures pass through as v1::tarnis_error; files that a job
/// has written stay, whatever happens, and belong to the host.
class TARNIS_EXPORT ITarnisDocumentProcessor {
 public:
  /// The detection result that the processor was made with.
  virtual std::shared_ptr<ITarnisDetectionInfoWrapper> IFGetDetectionInfo() = 0;

  /// Writes every member of a container below a new temporary directory. A member that fails is
  /// reported on standard error, and the next one follows.
  /// @return the directory
  /// @throws std::out_of_range for a member's name that climbs above the directory
  virtual std::filesystem::path IFExtract() = 0;

  /// Filters the document and, recursively, all members into one framed text file.
  /// @return the file
  virtual std::filesystem::path IFFilterContainer() = 0;

  /// Filters the document to a new text file. @return the file
  virtual std::filesystem::path IFFilterDocument() = 0;

  /// Filters the document to memory, or a temporary file of the stream's own beyond 5 MiB.
  virtual std::shared_ptr<InBufferStream> IFFilterDocumentToBufferStream() = 0;

  /// Prints the document's properties on standard output, a line each, sorted by name.
  /// @return where the latest job that wrote files put its result; empty before any
  virtual std::filesystem::path IFFilterMetadata() = 0;

  /// The document's members. The container must not outlive the processor's session and input.
  virtual v1::Container IFSubfiles() = 0;

  virtual ~ITarnisDocumentProcessor() = default;
};

}  // namespace tarnis
