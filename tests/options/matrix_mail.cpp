#include "tests/options/matrix_table.h"

namespace tarnis::options {
namespace {

using v1::Encoding;

const std::string head = "From: a@example.org\r\nTo: b@example.org\r\nSubject: Tea\r\n";
const std::string shown_head = "From: a@example.org\nTo: b@example.org\nSubject: Tea\n";

std::string message(const std::string& type, const std::string& body) {
  return head + "MIME-Version: 1.0\r\nContent-Type: " + type +
         "\r\nContent-Transfer-Encoding: 8bit\r\n\r\n" + body + "\r\n";
}

/// A message that has another one attached.
std::string message_with_message() {
  return message("multipart/mixed; boundary=b",
                 "--b\r\nContent-Type: text/plain\r\n\r\nSee below.\r\n"
                 "--b\r\nContent-Type: message/rfc822\r\n\r\n" +
                     head + "\r\nCome for tea.\r\n--b--\r\n");
}

}  // namespace

void add_mail(Table& table) {
  table.add("hidden_text", "mail", message("text/html; charset=utf-8", "<p>a</p><p hidden>b</p>"),
            show_hidden, shown_head + "a\n", shown_head + "a\nb\n");
  table.add("soft_hyphens", "mail", message("text/plain; charset=utf-8", "so\u00ADft"),
            keep_soft_hyphens, shown_head + "soft\n", shown_head + "so\u00ADft\n");
  add_target(table, "mail", message("text/plain; charset=utf-8", "für"), shown_head + "für\n");
  const std::string faith = message("text/plain", "\xD7\xC5\xD2\xC1");
  table.add_between(
      "source_encoding", "mail", faith,
      [](Configuration& c) { c.source_encoding(Encoding::windows_1252); },
      [](Configuration& c) { c.source_encoding(Encoding::koi8_r); }, shown_head + "×ÅÒÁ\n",
      shown_head + "вера\n");
  const std::string guests =
      message("text/plain",
              "\xF7\xDE\xC5\xD2\xC1 \xD0\xCF\xDA\xC4\xCE\xCF \xD7\xC5\xDE\xC5\xD2\xCF\xCD "
              "\xC7\xCF\xD3\xD4\xC9 \xD7\xC5\xD2\xCE\xD5\xCC\xC9\xD3\xD8");
  table.add_between(
      "character_set_detection", "mail", guests,
      [](Configuration& c) { c.character_set_detection(false); },
      [](Configuration& c) { c.character_set_detection(true); },
      shown_head + "÷ÞÅÒÁ ÐÏÚÄÎÏ ×ÅÞÅÒÏÍ ÇÏÓÔÉ ×ÅÒÎÕÌÉÓØ\n",
      shown_head + "Вчера поздно вечером гости вернулись\n");
  table.add(
      "formatted_mail", "mail", message_with_message(),
      [](Configuration& c) { c.formatted_mail(true); }, "From: a@example.org", "<!DOCTYPE html>",
      Shown::member_line);
}

}  // namespace tarnis::options
