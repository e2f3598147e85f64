#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>

#include "api/configuration.h"
#include "api/export.h"

namespace tarnis::v1::internal {

class SessionImplementation;

/// What accompanies an engine option id.
struct FilterConfigArgs {
  int value = 0;
  /// Null, or the characters of a string that the configuration holds.
  const void* pointer = nullptr;
};

/// The settings that have an engine operation of their own, in the order of their replay.
enum class Setters { extraction_timeout = 0, timeout = 1, source_encoding = 2 };

/// The value of every setting, as its getter returns it.
struct ConfigurationSettings {
  bool out_of_process_log = false;
  bool header_and_footer = false;
  bool header_and_footer_tags = false;
  bool unicode_byte_order_marker = false;
  bool no_encoding_conversion = false;
  bool out_of_process_memory_log = false;
  std::string temporary_directory;
  LogicalPDFDirection pdf_logical_reading = LogicalPDFDirection::automatic;
  bool revision_marks = false;
  std::string password;
  bool hidden_text = false;
  bool skip_comments = false;
  bool skip_embedded_fonts = false;
  bool skip_thumbnail = false;
  bool date_time_field_codes = false;
  bool filename_field_code = false;
  bool soft_hyphens = false;
  bool character_set_detection = true;
  bool custom_pdf_metadata = false;
  bool tagged_pdf_content = false;
  Encoding target_encoding = Encoding::utf8;
  long extraction_timeout = 350;
  long timeout = 350;
  Encoding source_encoding = Encoding::automatic;
  bool formatted_mail = false;
};

/// The hidden state of a Configuration: settings, what the engine has to be told of them, and the
/// session to tell it to.
class TARNIS_EXPORT ConfigurationImplementation {
 public:
  ConfigurationImplementation() = default;
  /// The copy's history names the strings of the copy.
  ConfigurationImplementation(const ConfigurationImplementation& other);
  ConfigurationImplementation& operator=(const ConfigurationImplementation&) = delete;

  /// The word that accompanies every opening of an engine stream.
  std::uint32_t flags() const noexcept { return flags_; }

  /// Clears the bits of both words, then sets those of the first for true, of the second for false.
  void switch_flags(bool value, std::uint32_t bits_of_true, std::uint32_t bits_of_false);

  void in_process(bool value);

  /// Tells the engine of a linked session, and records `args` for later sessions. What
  /// `args.pointer` names must live as long as this configuration, or until the next call for `id`.
  void apply(int id, FilterConfigArgs args);

  /// Calls `call` with a linked session, and records it for later sessions.
  /// @throws std::bad_function_call when a session is linked and `call` is empty
  void apply(Setters key, std::function<void(SessionImplementation*)> call);

  /// Tells a linked session everything recorded: options by ascending id, then setters by key.
  /// @throws std::bad_function_call when a recorded function is empty
  void apply_history() const;

  /// Sends the history to `session`, and each later change. Does not own the session, which must
  /// outlive every change.
  void link_to_session(SessionImplementation* session);

  SessionImplementation* session() const noexcept { return session_; }
  const std::map<int, FilterConfigArgs>& option_history() const noexcept { return option_history_; }

 private:
  std::uint32_t flags_ = 0;
  std::map<int, FilterConfigArgs> option_history_;
  std::map<Setters, std::function<void(SessionImplementation*)>> setter_history_;
  SessionImplementation* session_ = nullptr;

 public:
  ConfigurationSettings settings;
};

}  // namespace tarnis::v1::internal
