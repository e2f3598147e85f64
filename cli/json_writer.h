#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tarnis::cli {

/// Writes one JSON text (RFC 8259), indented. Calls come in the order of the text: in an object
/// each value follows its `key`.
///
/// Strings are any bytes. What is not valid UTF-8 is escaped without loss: each such byte XX as the
/// lone surrogate \udcXX, which no valid text holds.
class JsonWriter {
 public:
  void begin_object() { begin('{'); }
  void end_object() { end('}'); }
  void begin_array() { begin('['); }
  void end_array() { end(']'); }
  void key(std::string_view name);

  void text(std::string_view bytes);
  void number(std::int64_t value);
  void number(double value);
  void boolean(bool value);
  void null();

  /// A key with its value.
  void member(std::string_view name, std::string_view value) {
    key(name);
    text(value);
  }

  /// The whole text, with a line feed at its end; the writer is then empty.
  std::string finish();

 private:
  void begin(char bracket);
  void end(char bracket);
  void separate();
  void indent();
  void quote(std::string_view bytes);

  std::string out_;
  std::vector<bool> has_values_;  ///< of each open bracket
  bool after_key_ = false;
};

}  // namespace tarnis::cli
