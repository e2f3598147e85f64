// Cabinets and compiled HTML help, through libmspack. A cabinet has members and no text; a help
// file has members, and its text is that of its topics: the HTML files, in the directory's order,
// each a page. Not handled: the table of contents, the index and the full-text search of a help
// file.
//
// Bounds: a topic is held in memory while it is read, up to 16 MiB of it.

#include <algorithm>
#include <exception>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "engine/charset/text_decoder.h"
#include "engine/core/reader.h"
#include "engine/html/html_charset.h"
#include "engine/html/html_text.h"
#include "engine/html/html_tokenizer.h"
#include "engine/readers/help_files.h"

namespace trfilter {
namespace {

constexpr std::size_t longest_topic = std::size_t{16} << 20;

std::unique_ptr<HelpFiles> open_files(const ReaderContext& context) {
  return context.detection.format == Format::cab ? open_cabinet(context)
                                                 : open_compiled_help(context);
}

/// A topic, as much of it as is kept.
class TopicBytes final : public ByteOutput {
 public:
  void write(std::string_view bytes) override {
    bytes_.append(bytes.substr(0, longest_topic - bytes_.size()));
  }
  std::string take() { return std::move(bytes_); }

 private:
  std::string bytes_;
};

bool is_topic(std::string_view name) {
  const auto ends_with = [&](std::string_view extension) {
    return name.size() >= extension.size() &&
           std::equal(extension.begin(), extension.end(),
                      name.end() - static_cast<std::ptrdiff_t>(extension.size()),
                      [](char wanted, char c) { return wanted == (c | 0x20) || wanted == c; });
  };
  return ends_with(".htm") || ends_with(".html");
}

class Members final : public Subfiles {
 public:
  explicit Members(const ReaderContext& context) : files_(open_files(context)) {}

  std::size_t count() const override { return files_->list().size(); }
  Subfile describe(std::size_t index) override { return files_->list().describe(index); }
  Extraction extract(std::size_t index, ByteOutput& output, bool /*formatted_mail*/) override {
    if (!files_->list().is_folder(index)) files_->extract(index, output);
    return {};
  }

 private:
  std::unique_ptr<HelpFiles> files_;
};

class HelpReader final : public Reader {
 public:
  explicit HelpReader(const ReaderContext& context) : context_(context) {}

  bool step(TextSink& sink) override {
    if (context_.detection.format == Format::cab) {
      throw EngineError(Code::unsupported_format, "a cabinet has members, and no text of its own");
    }
    if (!files_) files_ = open_files(context_);
    const MemberList& list = files_->list();
    while (next_ < list.size() && !is_topic(list.stored_name(next_))) ++next_;
    if (next_ < list.size()) {
      write_topic(next_++, sink);
      return true;
    }
    if (damage_) std::rethrow_exception(damage_);
    return false;
  }

  std::unique_ptr<Subfiles> subfiles() override { return std::make_unique<Members>(context_); }

 private:
  /// A damaged topic gives what can be read; the others follow, and the error last.
  void write_topic(std::size_t index, TextSink& sink) {
    TopicBytes bytes;
    try {
      files_->extract(index, bytes);
    } catch (const EngineError& error) {
      if (error.code() != Code::corrupt) throw;
      damage_ = std::current_exception();
    }
    Document page = Document::from_memory(bytes.take());
    const DetectedCharset charset = detect_html_charset(page, context_.options, context_.limits);
    TextDecoder decoder(*charset.encoding);
    LineEndings line_endings;
    HtmlText topic(sink);
    HtmlTokenizer tokenizer(topic, HtmlTokenizer::Syntax::html);
    std::string text;
    std::string_view rest = page.bytes().substr(charset.mark_length);
    while (!rest.empty()) {
      context_.limits.check_time();
      const std::string_view block = rest.substr(0, TextSink::chunk_size);
      rest.remove_prefix(block.size());
      text = line_endings.normalize(decoder.decode(block, rest.empty()));
      std::erase(text, '\0');
      tokenizer.feed(text);
    }
    tokenizer.finish();
    topic.finish();
    sink.page();
  }

  ReaderContext context_;
  std::unique_ptr<HelpFiles> files_;
  std::size_t next_ = 0;
  std::exception_ptr damage_;
};

}  // namespace
}  // namespace trfilter

TRFILTER_READER(help, trfilter::HelpReader)
