// Second looks at mail stores, databases and encrypted packets.

#include "engine/core/fields.h"
#include "engine/detect/families.h"
#include "engine/detect/refinements.h"

namespace trfilter::detection {
namespace {

constexpr Detection nothing{};

}  // namespace

/// [MS-PST] 2.2.2.6: the client's letters tell the store of a server's copy. The version is 97 for
/// the small, 2003 for the large file form.
Detection refine_pst(Content& content, Format) {
  const std::string_view head = content.head();
  constexpr std::uint32_t first_large_form = 23;
  const std::uint32_t form = le16(head, 10);
  const Format format = matches(head, 8, "SO") ? Format::ost : Format::pst;
  return found(format, Detection::version_of(form >= first_large_form ? 2003 : 97));
}

Detection refine_restricted_message(Content&, Format format) {
  return found(format, 0, Detection::encrypted | Detection::windows_rms);
}

Detection refine_edb(Content& content, Format format) {
  const std::uint32_t version = le32(content.head(), 8);
  return version == 0x620 || version == 0x600 ? found(format) : nothing;
}

/// The header's engine number: 3, 4, and what came with Access 2007 and later.
Detection refine_access(Content& content, Format format) {
  if (le32(content.head(), 0) != 0x100) return nothing;
  const std::uint32_t engine = byte_at(content.head(), 0x14);
  if (format == Format::access_2007) {
    return found(format, Detection::version_of(engine <= 2 ? 12 : 14));
  }
  if (engine == 0) return found(Format::access_97, Detection::version_of(8));
  return found(Format::access_2000, Detection::version_of(9));
}

/// SEG-Y: 40 lines of 80 EBCDIC characters that all begin with "C", then a binary header.
Detection refine_seg_y(Content& content, Format format) {
  const std::string_view head = content.head();
  for (std::size_t line = 0; line < 20; ++line) {
    if (byte_at(head, line * 80) != 0xC3) return nothing;
  }
  const std::uint32_t samples = be16(head, 3224);
  return samples >= 1 && samples <= 16 ? found(format) : nothing;
}

/// OpenPGP packets (RFC 4880 4.2): a length that fits and a body that makes sense for the tag.
Detection refine_pgp(Content& content, Format format) {
  const std::string_view head = content.head();
  const std::uint32_t tag_byte = byte_at(head, 0);
  const bool old_form = (tag_byte & 0x40) == 0;
  const std::uint32_t tag = old_form ? (tag_byte >> 2) & 0xF : tag_byte & 0x3F;
  std::size_t body = 0;
  std::uint64_t length = 0;
  if (old_form) {
    const std::uint32_t kind = tag_byte & 3;
    if (kind == 3) return nothing;
    body = kind == 0 ? 2 : kind == 1 ? 3 : 5;
    length = kind == 0 ? byte_at(head, 1) : kind == 1 ? be16(head, 1) : be32(head, 1);
  } else {
    const std::uint32_t first = byte_at(head, 1);
    if (first < 192) {
      body = 2;
      length = first;
    } else if (first < 224) {
      body = 3;
      length = ((first - 192) << 8) + byte_at(head, 2) + 192;
    } else {
      return nothing;
    }
  }
  if (length < 4 || body + length > content.size()) return nothing;
  const auto public_key_algorithm = [&](std::size_t offset) {
    const std::uint32_t algorithm = byte_at(head, offset);
    return (algorithm >= 1 && algorithm <= 3) || (algorithm >= 16 && algorithm <= 22);
  };
  const std::uint32_t version = byte_at(head, body);
  const std::uint64_t end = body + length;
  bool sound = false;
  std::uint64_t attributes = 0;
  switch (tag) {
    case 1:  // a session key for a public key, before the encrypted data
      sound = version == 3 && public_key_algorithm(body + 9) && length >= 12 &&
              end < content.size() && (byte_at(content.read(end, 1), 0) & 0x80) != 0;
      attributes = Detection::encrypted;
      break;
    case 2:  // signature: type, algorithm, hash
      sound = version == 4 && byte_at(head, body + 1) <= 0x50 && public_key_algorithm(body + 2) &&
              byte_at(head, body + 3) >= 1 && byte_at(head, body + 3) <= 14 && length >= 20;
      if (version == 3) sound = byte_at(head, body + 1) == 5 && public_key_algorithm(body + 15);
      break;
    case 3:  // a session key from a pass phrase
      sound = version == 4 && byte_at(head, body + 1) >= 1 && byte_at(head, body + 1) <= 13 &&
              byte_at(head, body + 2) <= 3 && byte_at(head, body + 3) <= 14 && length <= 64 &&
              end < content.size() && (byte_at(content.read(end, 1), 0) & 0x80) != 0;
      attributes = Detection::encrypted;
      break;
    case 4:  // announces a signature
      sound = version == 3 && length == 13 && public_key_algorithm(body + 3) &&
              byte_at(head, body + 12) <= 1;
      break;
    case 5:
    case 6:  // keys: creation time, algorithm
      sound = (version == 4 && public_key_algorithm(body + 5)) ||
              ((version == 2 || version == 3) && public_key_algorithm(body + 7));
      sound = sound && length >= 32 && be32(head, body + 1) > 0x20000000;
      break;
    default:
      break;
  }
  return sound ? found(format, 0, attributes) : nothing;
}

}  // namespace trfilter::detection
