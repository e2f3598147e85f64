#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "engine/core/document.h"
#include "engine/core/limits.h"
#include "engine/readers/mail_lines.h"

namespace trfilter::mail {

/// How the bytes of a part are stored.
enum class TransferEncoding : std::uint8_t {
  identity,
  quoted_printable,  ///< RFC 2045, 6.7
  base64,            ///< RFC 2045, 6.8
  uuencode,          ///< lines of up to 45 bytes between "begin" and "end"
  yenc,              ///< bytes with 42 added between "=ybegin" and "=yend"
};

/// The encoding that a Content-Transfer-Encoding field names. What is not known is taken as it is.
TransferEncoding transfer_encoding_of(std::string_view field);

/// Undoes a transfer encoding, piece by piece. Damaged text is decoded as far as it makes sense.
class TransferDecoder {
 public:
  virtual ~TransferDecoder() = default;
  /// Appends what the next bytes stand for.
  /// @param last  whether the part ends with them
  virtual void decode(std::string_view bytes, bool last, std::string& out) = 0;
};

std::unique_ptr<TransferDecoder> make_transfer_decoder(TransferEncoding encoding);

/// Reads the decoded bytes of a part in blocks.
class ContentReader {
 public:
  /// @param document, limits  outlive the object
  ContentReader(Document& document, Limits& limits, const Stretch& body, TransferEncoding encoding);

  /// Replaces `out` with the next bytes, some 64 KiB; they may be none.
  /// @return whether more is to come
  bool next(std::string& out);

 private:
  Document* document_;
  Limits* limits_;
  Stretch body_;
  std::unique_ptr<TransferDecoder> decoder_;  ///< null: the bytes stand for themselves
  std::string block_;
};

/// The decoded bytes of a part up to a bound.
std::string read_content(Document& document, Limits& limits, const Stretch& body,
                         TransferEncoding encoding, std::size_t most);

}  // namespace trfilter::mail
