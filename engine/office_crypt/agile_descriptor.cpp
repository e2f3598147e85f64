#include "engine/office_crypt/agile_descriptor.h"

#include <nettle/base64.h>

#include <array>
#include <charconv>

#include "engine/xml/xml_parser.h"

namespace trfilter {
namespace {

constexpr std::size_t longest_value = 4096;

std::uint32_t number_of(std::string_view text) {
  std::uint32_t value = 0;
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value;
}

std::string base64_of(std::string_view text) {
  if (text.size() > longest_value) return {};
  base64_decode_ctx context;
  base64_decode_init(&context);
  std::string bytes(BASE64_DECODE_LENGTH(text.size()), '\0');
  std::size_t size = bytes.size();
  if (base64_decode_update(&context, &size, reinterpret_cast<std::uint8_t*>(bytes.data()),
                           text.size(), text.data()) == 0) {
    return {};
  }
  bytes.resize(size);
  return bytes;
}

struct HashName {
  std::string_view name;
  Digest digest;
};

constexpr std::array hash_names{
    HashName{"SHA1", Digest::sha1},     HashName{"SHA-1", Digest::sha1},
    HashName{"SHA256", Digest::sha256}, HashName{"SHA384", Digest::sha384},
    HashName{"SHA512", Digest::sha512}, HashName{"MD5", Digest::md5},
};

AgileParameters parameters_of(const XmlElement& element) {
  AgileParameters result;
  result.present = true;
  result.salt_size = number_of(element.attribute("saltSize"));
  result.block_size = number_of(element.attribute("blockSize"));
  result.key_size = number_of(element.attribute("keyBits")) / 8;
  result.salt = base64_of(element.attribute("saltValue"));
  bool hash_known = false;
  for (const HashName& row : hash_names) {
    if (element.attribute("hashAlgorithm") != row.name) continue;
    result.hash = row.digest;
    hash_known = true;
  }
  const std::string_view chaining = element.attribute("cipherChaining");
  const bool feedback = chaining == "ChainingModeCFB";
  if (feedback) result.chaining = Chaining::cfb;
  result.known = hash_known && element.attribute("cipherAlgorithm") == "AES" &&
                 (feedback || chaining == "ChainingModeCBC") &&
                 result.block_size == PackageCipher::block_size &&
                 (result.key_size == 16 || result.key_size == 24 || result.key_size == 32);
  return result;
}

class DescriptorHandler final : public XmlHandler {
 public:
  explicit DescriptorHandler(AgileDescriptor& descriptor) : descriptor_(descriptor) {}

  void start_element(const XmlElement& element) override {
    if (element.name() == "keyData") {
      descriptor_.package = parameters_of(element);
    } else if (element.name() == "encryptedKey" && element.uri().ends_with("/password")) {
      descriptor_.secret = parameters_of(element);
      descriptor_.spin_count = number_of(element.attribute("spinCount"));
      descriptor_.verifier_input = base64_of(element.attribute("encryptedVerifierHashInput"));
      descriptor_.verifier_value = base64_of(element.attribute("encryptedVerifierHashValue"));
      descriptor_.key_value = base64_of(element.attribute("encryptedKeyValue"));
    }
  }

 private:
  AgileDescriptor& descriptor_;
};

}  // namespace

AgileDescriptor::AgileDescriptor(std::string_view xml, Limits& limits) {
  DescriptorHandler handler(*this);
  XmlParser parser(handler, limits);
  parser.feed(xml);
  parser.finish();
}

}  // namespace trfilter
