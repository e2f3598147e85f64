#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "engine/core/document.h"
#include "engine/core/limits.h"
#include "engine/core/options.h"
#include "engine/readers/mail_content.h"
#include "engine/readers/mail_header.h"
#include "engine/readers/mail_lines.h"

namespace trfilter::mail {

/// What a part is, as far as it matters for how it is shown.
enum class PartKind : std::uint8_t {
  mixed,        ///< and every multipart without a row of its own
  alternative,  ///< the same in several forms
  related,      ///< a page and what it shows
  digest,       ///< messages
  signed_,      ///< something and its signature
  encrypted,
  plain,
  html,  ///< and enriched text, which reads the same
  rtf,
  calendar,
  other_text,
  message,  ///< a message within the message: not looked into
  other,
};

/// One part of a message, in the order in which they begin.
struct Part {
  static constexpr std::int32_t none = -1;

  std::uint64_t header = 0;
  std::uint64_t body = 0;
  std::uint64_t end = 0;
  std::int32_t parent = none;
  std::int32_t first_child = none;
  std::int32_t next_sibling = none;
  PartKind kind = PartKind::plain;
  TransferEncoding encoding = TransferEncoding::identity;
  bool attachment = false;  ///< by its disposition
  bool named = false;       ///< has a file name

  bool is_multipart() const { return kind <= PartKind::encrypted; }
};

/// The parts of the message in `stretch` (RFC 2046), found by one pass over its lines without
/// recursion. Multiparts in each other are divided to a depth of 256, a message into 2,000,000
/// parts: what is deeper or behind is part of the last one. A multipart without parts is text.
std::vector<Part> find_parts(Document& document, Limits& limits, const Stretch& stretch,
                             const Options& options);

/// What a part's header says of it beyond its kind.
struct PartFacts {
  std::string media_type;  ///< in lower case; empty: not stated
  std::string charset;
  std::string name;        ///< the file name; empty: none
  std::string content_id;  ///< without angle brackets
  std::string location;    ///< Content-Location
  std::string start;       ///< of multipart/related: the content id of what is shown
  bool flowed = false;
  bool delete_space = false;
  FileTime modified;  ///< of the disposition; 0: not stated
};

PartFacts part_facts(const Header& header, const Options& options);

}  // namespace trfilter::mail
