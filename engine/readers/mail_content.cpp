#include "engine/readers/mail_content.h"

#include <algorithm>

#include "engine/mail/transfer_encoding.h"

namespace trfilter::mail {
namespace {

constexpr std::size_t npos = std::string_view::npos;
constexpr std::size_t block = std::size_t{64} << 10;
// What of a line is kept until its end is seen; no encoder writes such lines.
constexpr std::size_t longest_line = std::size_t{64} << 10;

class Base64 : public TransferDecoder {
 public:
  void decode(std::string_view bytes, bool, std::string& out) override {
    decoder_.decode(bytes, out);
  }

 private:
  Base64Decoder decoder_;
};

/// Hands whole lines to a function of its own.
class LineDecoder : public TransferDecoder {
 public:
  void decode(std::string_view bytes, bool last, std::string& out) override {
    while (!bytes.empty()) {
      const std::size_t end = bytes.find('\n');
      if (end == npos) {
        line_ += bytes;
        break;
      }
      if (line_.empty()) {
        line(bytes.substr(0, end), true, out);
      } else {
        line_ += bytes.substr(0, end);
        line(line_, true, out);
        line_.clear();
      }
      bytes.remove_prefix(end + 1);
    }
    if (line_.size() > longest_line || (last && !line_.empty())) {
      line(line_, false, out);
      line_.clear();
    }
  }

 protected:
  /// @param ended  whether a line feed follows
  virtual void line(std::string_view text, bool ended, std::string& out) = 0;

 private:
  std::string line_;
};

class QuotedPrintableDecoder : public LineDecoder {
 protected:
  void line(std::string_view text, bool ended, std::string& out) override {
    std::string_view line_end = ended ? "\n" : "";
    if (text.ends_with('\r')) {
      text.remove_suffix(1);
      line_end = ended ? "\r\n" : "\r";
    }
    if (ended) {
      // White space at the end of a line has been added on the way.
      while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
    }
    if (text.ends_with('=')) {
      text.remove_suffix(1);
      line_end = {};
    }
    while (!text.empty()) {
      const std::size_t at = text.find('=');
      out += text.substr(0, at);
      if (at == npos) break;
      text.remove_prefix(at);
      if (append_marked_byte(text, out)) {
        text.remove_prefix(3);
      } else {
        out.push_back('=');
        text.remove_prefix(1);
      }
    }
    out += line_end;
  }
};

class UuDecoder : public LineDecoder {
 protected:
  void line(std::string_view text, bool, std::string& out) override {
    if (text.ends_with('\r')) text.remove_suffix(1);
    if (ended_) return;
    if (!begun_) {
      begun_ = text.starts_with("begin ");
      return;
    }
    if (text.empty() || text == "end") {
      ended_ = text == "end";
      return;
    }
    const auto value = [](char c) { return static_cast<unsigned>(c - ' ') & 63u; };
    std::size_t left = value(text.front());
    text.remove_prefix(1);
    for (; left != 0 && !text.empty(); text.remove_prefix(std::min<std::size_t>(4, text.size()))) {
      unsigned bits = 0;
      for (std::size_t i = 0; i < 4; ++i) {
        bits = bits << 6 | (i < text.size() ? value(text[i]) : 0);
      }
      for (unsigned shift = 16; left != 0; shift -= 8) {
        out.push_back(static_cast<char>(bits >> shift & 0xFF));
        --left;
        if (shift == 0) break;
      }
    }
  }

 private:
  bool begun_ = false;
  bool ended_ = false;
};

class YencDecoder : public LineDecoder {
 protected:
  void line(std::string_view text, bool, std::string& out) override {
    if (text.ends_with('\r')) text.remove_suffix(1);
    if (text.starts_with("=ybegin ") || text.starts_with("=ypart ") || ended_) return;
    if (text.starts_with("=yend ")) {
      ended_ = true;
      return;
    }
    // A period at the begin of a line is doubled on its way through news.
    if (text.starts_with("..")) text.remove_prefix(1);
    for (std::size_t i = 0; i < text.size(); ++i) {
      int byte = static_cast<unsigned char>(text[i]);
      if (text[i] == '=' && i + 1 < text.size()) {
        byte = static_cast<unsigned char>(text[++i]) - 64;
      }
      out.push_back(static_cast<char>((byte - 42) & 0xFF));
    }
  }

 private:
  bool ended_ = false;
};

}  // namespace

TransferEncoding transfer_encoding_of(std::string_view field) {
  std::string name;
  for (const char c : field) {
    if (c == ';' || c == '(') break;
    if (c > ' ' && c != '"') name.push_back(static_cast<char>(c >= 'A' && c <= 'Z' ? c | 0x20 : c));
  }
  if (name == "quoted-printable") return TransferEncoding::quoted_printable;
  if (name == "base64") return TransferEncoding::base64;
  if (name == "x-uuencode" || name == "x-uue" || name == "uuencode" || name == "uue") {
    return TransferEncoding::uuencode;
  }
  if (name == "x-yenc" || name == "yenc") return TransferEncoding::yenc;
  return TransferEncoding::identity;
}

std::unique_ptr<TransferDecoder> make_transfer_decoder(TransferEncoding encoding) {
  switch (encoding) {
    case TransferEncoding::identity:
      break;
    case TransferEncoding::quoted_printable:
      return std::make_unique<QuotedPrintableDecoder>();
    case TransferEncoding::base64:
      return std::make_unique<Base64>();
    case TransferEncoding::uuencode:
      return std::make_unique<UuDecoder>();
    case TransferEncoding::yenc:
      return std::make_unique<YencDecoder>();
  }
  return nullptr;
}

ContentReader::ContentReader(Document& document, Limits& limits, const Stretch& body,
                             TransferEncoding encoding)
    : document_(&document),
      limits_(&limits),
      body_(body),
      decoder_(make_transfer_decoder(encoding)) {}

bool ContentReader::next(std::string& out) {
  std::string& raw = decoder_ ? block_ : out;
  raw.resize(static_cast<std::size_t>(std::min<std::uint64_t>(block, body_.size())));
  raw.resize(document_->read_at(body_.begin, raw));
  body_.begin += raw.size();
  const bool last = raw.empty() || body_.size() == 0;
  if (decoder_) {
    if (body_.line_end == '\r') std::ranges::replace(block_, '\r', '\n');
    out.clear();
    decoder_->decode(block_, last, out);
  }
  limits_->check_time();
  return !last;
}

std::string read_content(Document& document, Limits& limits, const Stretch& body,
                         TransferEncoding encoding, std::size_t most) {
  ContentReader reader(document, limits, body, encoding);
  std::string bytes;
  std::string piece;
  bool more = true;
  while (more && bytes.size() < most) {
    more = reader.next(piece);
    bytes += piece;
  }
  bytes.resize(std::min(bytes.size(), most));
  return bytes;
}

}  // namespace trfilter::mail
