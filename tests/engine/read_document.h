#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "engine/core/format.h"
#include "engine/core/limits.h"
#include "engine/core/options.h"
#include "engine/core/properties.h"
#include "engine/core/subfiles.h"

namespace trfilter::test {

/// What reading one document gave.
struct Reading {
  std::string text;
  int code = 0;        ///< 0, or the engine code that the reading ended with
  std::string reason;  ///< why, when it did not end well
};

/// Reads `bytes` as a document of `format`, in process, through the reader modules of the build.
Reading read_document(std::string bytes, Format format, const Options& options = {});

/// The same for the properties.
Properties read_properties(std::string bytes, Format format, const Options& options = {});

/// What listing one document as a container gave.
struct Listing {
  std::vector<Subfile> members;  ///< up to where the list ends or breaks off
  int code = 0;                  ///< 0, or the engine code that the listing ended with
  std::string reason;            ///< why, when it did not end well
};

/// Lists the members of `bytes`; none for what is no container.
Listing list_members(std::string bytes, Format format, const Options& options = {});

/// What extracting one member gave.
struct Extracted {
  std::string bytes;     ///< what came before an error, too
  std::string location;  ///< where an external member is; empty: it is none
  int code = 0;
  std::string reason;
};

/// Extracts the member of this index.
Extracted extract_member(std::string bytes, Format format, std::size_t index,
                         const Options& options = {}, bool formatted_mail = false);

/// Extracts several members of one opened container, in this order.
std::vector<Extracted> extract_members(std::string bytes, Format format,
                                       const std::vector<std::size_t>& indexes,
                                       const Options& options = {}, bool formatted_mail = false);

/// The mail fields of each member.
std::vector<Properties> mail_fields_of(std::string bytes, Format format,
                                       const Options& options = {});

/// The bytes of a file below the source folder, e.g. "samples/letter.docx". Fails the test without
/// it.
std::string source_file(std::string_view relative_path);

}  // namespace trfilter::test
