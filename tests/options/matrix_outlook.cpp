#include <string>

#include "engine/mapi/property_ids.h"
#include "tests/engine/mapi_documents.h"
#include "tests/options/matrix_table.h"

namespace tarnis::options {
namespace {

using namespace trfilter::test;
using v1::Encoding;
namespace id = trfilter::mapi::id;

const std::string shown_head = "From: a@example.org\nSubject: Tea\n";

MapiItem item() {
  MapiItem item;
  item.properties.text(id::message_class, "IPM.Note")
      .text(id::subject, "Tea")
      .text(id::sent_representing_email_address, "a@example.org");
  return item;
}

std::string with_body(std::string_view utf8) {
  MapiItem message = item();
  message.properties.text(id::body, utf8);
  return msg_document(message);
}

/// A page of HTML in bytes.
std::string with_page(std::string_view bytes) {
  MapiItem message = item();
  message.properties.binary(id::html, bytes);
  return msg_document(message);
}

/// A body in bytes of a set that the message does not name.
std::string with_byte_body(std::string_view bytes) {
  MapiItem message = item();
  message.properties.text8(id::body, bytes);
  return msg_document(message);
}

std::string with_message() {
  MapiItem outer = item();
  MapiItem::Attached attached;
  attached.properties.integer(id::attach_method, 5).text(id::display_name, "inner");
  attached.message.push_back(item());
  outer.attachments.push_back(std::move(attached));
  return msg_document(outer);
}

}  // namespace

void add_outlook(Table& table) {
  table.add("hidden_text", "msg", with_page("<html><body><p>a</p><p hidden>b</p></body></html>"),
            show_hidden, shown_head + "a\n", shown_head + "a\nb\n");
  table.add("soft_hyphens", "msg", with_body("so\u00ADft"), keep_soft_hyphens,
            shown_head + "soft\n", shown_head + "so\u00ADft\n");
  add_target(table, "msg", with_body("für"), shown_head + "für\n");
  table.add_between(
      "source_encoding", "msg", with_byte_body("\xD7\xC5\xD2\xC1"),
      [](Configuration& c) { c.source_encoding(Encoding::windows_1252); },
      [](Configuration& c) { c.source_encoding(Encoding::koi8_r); }, shown_head + "×ÅÒÁ\n",
      shown_head + "вера\n");
  const std::string guests =
      "\xF7\xDE\xC5\xD2\xC1 \xD0\xCF\xDA\xC4\xCE\xCF \xD7\xC5\xDE\xC5\xD2\xCF\xCD "
      "\xC7\xCF\xD3\xD4\xC9 \xD7\xC5\xD2\xCE\xD5\xCC\xC9\xD3\xD8";
  table.add_between(
      "character_set_detection", "msg", with_byte_body(guests),
      [](Configuration& c) { c.character_set_detection(false); },
      [](Configuration& c) { c.character_set_detection(true); },
      shown_head + "÷ÞÅÒÁ ÐÏÚÄÎÏ ×ÅÞÅÒÏÍ ÇÏÓÔÉ ×ÅÒÎÕÌÉÓØ\n",
      shown_head + "Вчера поздно вечером гости вернулись\n");
  table.add(
      "formatted_mail", "msg", with_message(), [](Configuration& c) { c.formatted_mail(true); },
      "From: a@example.org", "<!DOCTYPE html>", Shown::member_line);
}

}  // namespace tarnis::options
