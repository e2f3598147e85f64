#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace trfilter {

/// Decodes base64 (RFC 4648, clause 4) piece by piece; what is no letter of it is passed over, and
/// nothing counts behind the padding.
class Base64Decoder {
 public:
  /// Appends what the next piece gives to `out`.
  void decode(std::string_view text, std::string& out);

 private:
  std::uint32_t bits_ = 0;
  int count_ = 0;
  bool ended_ = false;
};

}  // namespace trfilter
