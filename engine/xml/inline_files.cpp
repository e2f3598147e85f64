#include "engine/xml/inline_files.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "engine/core/embedded_files.h"
#include "engine/core/media_extension.h"
#include "engine/xml/base64.h"

namespace trfilter {
namespace {

constexpr std::size_t longest_name = 1024;

/// Finds the elements that hold files and decodes them; a subclass takes what comes out.
class FilesHandler : public XmlHandler {
 public:
  void start_element(const XmlElement& element) final {
    const std::string_view name = element.name();
    if (name == "font-face-uri") ++fonts_;
    if (name == "part") part_ = element.attribute("name");
    if (open_) return;
    if (name == "binary-data") {
      begin({});
    } else if (name == "binData") {
      begin(element.attribute("name"));
    } else if (name == "binaryData") {
      begin(part_);
    } else if (name == "binary" && element.has_attribute("id")) {
      begin(element.attribute("id"));
    }
    if (open_) element_ = name;
  }

  void characters(std::string_view text) final {
    if (!open_) return;
    bytes_.clear();
    decoder_.decode(text, bytes_);
    if (!bytes_.empty()) take(bytes_);
  }

  void end_element(std::string_view name, std::string_view /*uri*/) final {
    if (name == "font-face-uri" && fonts_ != 0) --fonts_;
    if (!open_ || name != element_) return;
    open_ = false;
    end_file();
    ++number_;
  }

 protected:
  std::size_t number() const { return number_; }
  bool is_font() const { return fonts_ != 0; }

 private:
  virtual void begin_file(std::string_view stated_name) = 0;
  virtual void take(std::string_view bytes) = 0;
  virtual void end_file() = 0;

  void begin(std::string_view stated_name) {
    open_ = true;
    decoder_ = {};
    begin_file(stated_name);
  }

  std::size_t number_ = 0;
  unsigned fonts_ = 0;
  bool open_ = false;
  std::string element_;
  std::string part_;  ///< of a flat package
  Base64Decoder decoder_;
  std::string bytes_;
};

struct Found {
  EmbeddedFiles::File file;
  std::size_t number = 0;
};

class ListHandler final : public FilesHandler {
 public:
  explicit ListHandler(const ReaderContext& context) : context_(context) {}

  std::vector<Found> found;

 private:
  void begin_file(std::string_view stated_name) override {
    file_ = {};
    file_.name = stated_name.substr(0, longest_name);
    file_.path = file_.name;
    head_.clear();
  }

  void take(std::string_view bytes) override {
    context_.limits.charge_unpacked(bytes.size());
    if (head_.size() < media_head) head_ += bytes.substr(0, media_head - head_.size());
    file_.size += static_cast<std::int64_t>(bytes.size());
  }

  void end_file() override {
    const bool thumbnail = file_.path.find("docProps/thumbnail") != std::string::npos;
    if (is_font() && context_.options.skip_embedded_fonts) return;
    if (thumbnail && context_.options.skip_thumbnail) return;
    if (file_.name.empty()) {
      file_.name = (is_font() ? "font" : "image") + std::to_string(number() + 1) +
                   std::string(media_extension(head_));
    }
    context_.limits.check_members(found.size() + 1);
    found.push_back({std::move(file_), number()});
  }

  const ReaderContext& context_;
  EmbeddedFiles::File file_;
  std::string head_;
};

class WriteHandler final : public FilesHandler {
 public:
  WriteHandler(std::size_t wanted, ByteOutput& output, Limits& limits)
      : wanted_(wanted), output_(output), limits_(limits) {}

  const bool& done() const { return done_; }

 private:
  void begin_file(std::string_view /*stated_name*/) override { writing_ = number() == wanted_; }
  void take(std::string_view bytes) override {
    limits_.check_time();
    if (writing_) output_.write(bytes);
  }
  void end_file() override { done_ = done_ || writing_; }

  std::size_t wanted_;
  ByteOutput& output_;
  Limits& limits_;
  bool writing_ = false;
  bool done_ = false;
};

}  // namespace

std::unique_ptr<Subfiles> inline_files(
    std::function<void(XmlHandler& handler, const bool& done)> parse,
    const ReaderContext& context) {
  ListHandler list(context);
  parse(list, false);
  if (list.found.empty()) return nullptr;
  auto files = std::make_unique<EmbeddedFiles>();
  for (Found& found : list.found) {
    files->add(std::move(found.file),
               [parse, number = found.number, &limits = context.limits](ByteOutput& output) {
                 WriteHandler handler(number, output, limits);
                 parse(handler, handler.done());
                 if (!handler.done())
                   throw EngineError(Code::corrupt, "a file within the XML is cut short");
               });
  }
  files->settle_names(context.limits);
  return files;
}

}  // namespace trfilter
