#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "engine/mapi/mapi_message.h"

namespace trfilter::mapi {

/// A fact of a contact, an appointment, a task or a journal entry, as people read it.
struct ItemField {
  std::string_view label;
  std::string value;  ///< UTF-8; may have several lines
};

/// The facts that an item states beside its headers and its body; none for a mere message.
std::vector<ItemField> item_fields(Message& message);

/// The bodies of an item with its facts put before the text of the plain and the HTML form; a plain
/// form is added where there is neither.
void put_fields_first(const std::vector<ItemField>& fields, std::vector<MailBody>& bodies);

}  // namespace trfilter::mapi
