#include "engine/charset/text_decoder.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

#include "engine/charset/byte_characters.h"
#include "engine/charset/decoder_module.h"
#include "engine/charset/utf8_scan.h"
#include "engine/core/utf8.h"

namespace trfilter {
namespace {

constexpr std::string_view replacement = "\xEF\xBF\xBD";
constexpr char16_t next_line = 0x85;

}  // namespace

/// What each byte of a single-byte set stands for, as UTF-8.
struct TextDecoder::ByteTable {
  explicit ByteTable(const Encoding& encoding);

  void convert(std::string_view bytes, std::string& out) const;

  struct Character {
    std::array<char, 4> utf8;
    std::uint8_t length;
  };
  std::array<Character, 256> characters{};
};

TextDecoder::ByteTable::ByteTable(const Encoding& encoding) {
  const ByteCharacters& units = byte_characters(encoding);
  for (unsigned byte = 0; byte < characters.size(); ++byte) {
    // Mainframes end lines with what ISO 6429 calls "next line".
    const bool line_end = encoding.kind == Encoding::Kind::ebcdic && units[byte] == next_line;
    Character& character = characters[byte];
    character.length =
        static_cast<std::uint8_t>(encode_utf8(line_end ? U'\n' : units[byte], character.utf8));
  }
}

void TextDecoder::ByteTable::convert(std::string_view bytes, std::string& out) const {
  const std::size_t filled = out.size();
  out.resize(filled + bytes.size() * sizeof(Character::utf8));
  char* to = out.data() + filled;
  for (const char byte : bytes) {
    const Character& character = characters[static_cast<unsigned char>(byte)];
    std::memcpy(to, character.utf8.data(), character.utf8.size());
    to += character.length;
  }
  out.resize(static_cast<std::size_t>(to - out.data()));
}

TextDecoder::TextDecoder(const Encoding& encoding) : encoding_(&encoding) {
  switch (encoding.kind) {
    case Encoding::Kind::utf8:
      break;
    case Encoding::Kind::single_byte:
    case Encoding::Kind::ebcdic:
      bytes_ = std::make_unique<ByteTable>(encoding);
      break;
    default:
      decoder_ = open_character_decoder(encoding, BadBytes::replaced);
      break;
  }
}

TextDecoder::TextDecoder(TextDecoder&&) noexcept = default;
TextDecoder& TextDecoder::operator=(TextDecoder&&) noexcept = default;
TextDecoder::~TextDecoder() = default;

std::string_view TextDecoder::decode(std::string_view bytes, bool last) {
  if (encoding_->kind == Encoding::Kind::utf8) return decode_utf8(bytes, last);
  const bool between_characters = !decoder_ || decoder_->between_characters();
  if (encoding_->is_ascii_superset() && between_characters && is_ascii(bytes)) return bytes;
  out_.clear();
  if (bytes_) {
    bytes_->convert(bytes, out_);
  } else {
    decoder_->decode(bytes, last, out_);
  }
  return out_;
}

std::string_view TextDecoder::decode_utf8(std::string_view bytes, bool last) {
  if (carry_.empty()) {
    const std::size_t valid = valid_utf8_prefix(bytes);
    if (valid == bytes.size()) return bytes;
    const std::string_view rest = bytes.substr(valid);
    if (!last && is_truncated_utf8(rest)) {
      carry_ = rest;
      return bytes.substr(0, valid);
    }
  }
  out_.clear();
  if (!carry_.empty()) {
    // At most three bytes are carried; the sequence ends within the next three.
    const std::size_t more = std::min<std::size_t>(bytes.size(), 3);
    std::string joint = std::move(carry_);
    const std::size_t carried = joint.size();
    carry_.clear();
    joint.append(bytes.substr(0, more));
    const std::size_t length = utf8_sequence_length(joint);
    if (length > carried) {
      out_.append(joint, 0, length);
      bytes.remove_prefix(length - carried);
    } else if (!last && more == bytes.size() && is_truncated_utf8(joint)) {
      carry_ = std::move(joint);
      return {};
    } else {
      for (std::size_t i = 0; i < carried; ++i) out_.append(replacement);
    }
  }
  append_repaired(bytes, last);
  return out_;
}

void TextDecoder::append_repaired(std::string_view bytes, bool last) {
  while (!bytes.empty()) {
    const std::size_t valid = valid_utf8_prefix(bytes);
    out_.append(bytes.substr(0, valid));
    bytes.remove_prefix(valid);
    if (bytes.empty()) return;
    if (!last && is_truncated_utf8(bytes)) {
      carry_ = bytes;
      return;
    }
    out_.append(replacement);
    bytes.remove_prefix(1);
  }
}

std::string_view LineEndings::normalize(std::string_view text) {
  if (text.empty()) return text;
  if (after_carriage_return_ && text.front() == '\n') text.remove_prefix(1);
  std::size_t at = text.find('\r');
  after_carriage_return_ = false;
  if (at == std::string_view::npos) return text;
  out_.clear();
  std::size_t from = 0;
  while (at != std::string_view::npos) {
    out_.append(text, from, at - from);
    out_.push_back('\n');
    from = at + 1;
    if (from == text.size()) {
      after_carriage_return_ = true;
      break;
    }
    if (text[from] == '\n') ++from;
    at = text.find('\r', from);
  }
  out_.append(text.substr(from));
  return out_;
}

}  // namespace trfilter
