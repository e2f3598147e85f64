#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "engine/charset/text_decoder.h"
#include "engine/core/options.h"
#include "engine/core/text_sink.h"
#include "engine/mail/message.h"

namespace trfilter {

/// Writes text of a message as it arrives, in constant memory: plain text with its lines, HTML as
/// its text. Flowed text (RFC 3676) is put together again; line feeds before the first and behind
/// the last text are left out.
class MailTextWriter {
 public:
  /// Whether the title of a page is shown: no mail program shows one.
  enum class Title : bool { left_out, shown };

  /// @param form  its kind is plain or HTML; its bytes are not looked at
  /// @param sink  outlives the object
  MailTextWriter(const MailBody& form, const Options& options, TextSink& sink,
                 Title title = Title::left_out);
  MailTextWriter(const MailTextWriter&) = delete;
  MailTextWriter& operator=(const MailTextWriter&) = delete;
  ~MailTextWriter();

  /// Takes the next piece of the text as it is encoded. The more the first piece with more than
  /// ASCII has, the better is a guess about its encoding.
  /// @param last  whether the text ends with it
  void feed(std::string_view bytes, bool last);

 private:
  class Html;

  std::string_view decoded(std::string_view bytes, bool last);
  void plain(std::string_view text, bool last);
  void flowed_line(std::string_view line);
  void lines(std::string_view text);

  const Options* options_;
  TextSink* sink_;
  std::string charset_;
  std::unique_ptr<Html> html_;
  std::optional<TextDecoder> decoder_;
  LineEndings line_endings_;
  std::string clean_;

  // Plain text.
  std::size_t line_feeds_due_ = 0;
  bool begun_ = false;
  bool flowed_;
  bool delete_space_;
  std::string line_;         ///< of flowed text, as far as it has come
  bool goes_on_ = false;     ///< the last line of flowed text ended with a blank
  std::size_t quoting_ = 0;  ///< quote marks before that line
};

}  // namespace trfilter
