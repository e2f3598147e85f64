#include <optional>
#include <utility>

#include "api/container_implementation.h"
#include "api/engine_call.h"
#include "api/engine_values.h"
#include "api/session_implementation.h"
#include "api/throw_on_error.h"
#include "api/time.h"

namespace tarnis::v1::internal {

namespace {

/// The text of a number that `target` leads to; empty when it leads nowhere.
template <class Number, class Print>
std::string target_text(const void* target, Print print) {
  return target == nullptr ? std::string() : print(number_at<Number>(target));
}

/// Nothing for a type that has no text.
std::optional<std::string> text_of(const tag_TRMailField& field) {
  const std::uint64_t word = field.value.word;
  const void* const target = field.value.pointer;
  switch (field.type) {
    case TR_MAIL_BOOLEAN:
      return (word & 0xFF) != 0 ? "1" : "0";
    case TR_MAIL_INT32:
      return number_text(static_cast<std::int32_t>(static_cast<std::uint32_t>(word)));
    case TR_MAIL_UINT32:
      return number_text(static_cast<std::uint32_t>(word));
    case TR_MAIL_INT64:
      return target_text<std::int64_t>(target, number_text<std::int64_t>);
    case TR_MAIL_UINT64:
      return target_text<std::uint64_t>(target, number_text<std::uint64_t>);
    case TR_MAIL_TEXT:
      return target == nullptr ? std::string() : static_cast<const char*>(target);
    case TR_MAIL_UTF16_TEXT:
      return utf16_to_utf8(target);
    case TR_MAIL_FILETIME:
      return target_text<std::int64_t>(target, time::printWindowsFileTime);
    case TR_MAIL_FLOAT:
      return target_text<float>(target, number_text<double>);
    case TR_MAIL_DOUBLE:
      return target_text<double>(target, number_text<double>);
    default:
      return std::nullopt;
  }
}

std::multimap<std::string, std::string> texts_of(const tag_TRMailInfo& info) {
  std::multimap<std::string, std::string> texts;
  for (std::int32_t index = 0; info.fields != nullptr && index < info.count; ++index) {
    const tag_TRMailField* const field = info.fields[index];
    if (field == nullptr || field->present == 0) continue;
    std::string name(field->name);
    if (std::optional<std::string> text = text_of(*field)) {
      texts.emplace(std::move(name), std::move(*text));
    }
  }
  return texts;
}

}  // namespace

std::multimap<std::string, std::string> ContainerImplementation::mail_metadata(long index) const {
  tag_TRMailRequest request{};
  request.header = TR_HEADER_WORD(sizeof(request));
  request.index = static_cast<std::uint32_t>(index);
  tag_TRMailInfo* info = nullptr;
  const int status = call_extraction(*session_, &tag_TRExtractInterface::get_subfile_mail_info,
                                     handle_, &request, &info);
  // What the engine answered is read and given back before its status is raised.
  std::multimap<std::string, std::string> texts;
  if (info != nullptr) texts = texts_of(*info);
  notify_extraction(*session_, &tag_TRExtractInterface::free_info, handle_, info);
  throw_on_error(status);
  return texts;
}

}  // namespace tarnis::v1::internal
