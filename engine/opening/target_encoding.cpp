#include "engine/opening/target_encoding.h"

#include "engine/core/engine_error.h"

namespace trfilter {
namespace {

constexpr std::uint32_t automatic = 0;  // the engine's choice, which is UTF-8

}  // namespace

TargetEncoding::TargetEncoding(const ReaderModules& modules, Options& options) {
  const std::uint32_t number = options.target_encoding;
  if (options.no_encoding_conversion || number == automatic || number == Options::utf8) {
    return;
  }
  auto* const make =
      reinterpret_cast<MakeTextEncoder*>(modules.function("encode", "trfilter_text_encoder"));
  encoder_.reset(make(number));
  if (!encoder_) throw EngineError(Code::bad_output_type, "the target encoding is not supported");
  if (!encoder_->has_byte_order_mark()) options.byte_order_mark = false;
}

std::string_view TargetEncoding::encode(std::string_view utf8, bool last) {
  if (!encoder_) return utf8;
  out_.clear();
  encoder_->encode(utf8, last, out_);
  return out_;
}

}  // namespace trfilter
