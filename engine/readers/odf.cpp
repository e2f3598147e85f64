// Texts, spreadsheets, presentations and drawings of OpenDocument 1.0 to 1.3 (ISO/IEC 26300; OASIS
// OpenDocument part 2 describes packages, part 3 the schema), their templates, flat documents of
// one XML file, and the formats of OpenOffice.org 1 that they descend from.
//
// A document's text is: page headers; the body, with notes, comments and frames behind the
// paragraph or table row that they stand in; page footers. A sheet is its name as a paragraph and
// its rows, with a tab for each column (a gap of more than 64 columns is one tab); sheets and
// slides are pages. Charts, formulas and other embedded documents show their own text where they
// stand. Deleted text is shown at its mark.
//
// Not read: scripts, form controls, tracked changes of spreadsheets, embedded documents of other
// kinds. An encrypted package is refused with code 8, whatever the password.
//
// Bounds: parts are parsed as they are unpacked and never held; see TextFlow, OdfTables, OdfStyles
// and OdfContentHandler for what is held back, repeated and kept. Objects nest up to
// most_object_depth.
#include <array>
#include <memory>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include "engine/core/engine_error.h"
#include "engine/core/reader.h"
#include "engine/readers/odf_content.h"
#include "engine/readers/odf_files.h"
#include "engine/readers/odf_flow.h"
#include "engine/readers/odf_properties.h"
#include "engine/readers/odf_styles.h"
#include "engine/xml/inline_files.h"
#include "engine/xml/xml_parser.h"
#include "engine/zip/zip_package.h"

namespace trfilter {
namespace {

constexpr std::size_t piece_size = std::size_t{64} << 10;
constexpr std::size_t most_object_depth = 4;
constexpr std::size_t most_objects = 4096;

/// Looks for encrypted members in META-INF/manifest.xml.
class ManifestHandler final : public XmlHandler {
 public:
  bool encrypted = false;

  void start_element(const XmlElement& element) override {
    encrypted |= element.name() == "encryption-data" || element.name() == "encrypted-key";
  }
};

/// Where the XML of a document comes from, piece by piece.
class XmlSource {
 public:
  explicit XmlSource(std::unique_ptr<ZipPackage::Part> part) : part_(std::move(part)) {}
  explicit XmlSource(Document& document) : cursor_(std::in_place, document) {}

  std::size_t read(std::span<char> out) { return part_ ? part_->read(out) : cursor_->read(out); }

 private:
  std::unique_ptr<ZipPackage::Part> part_;
  std::optional<DocumentCursor> cursor_;
};

/// Pushes one XML document through a handler. Damage ends it early and is noted.
class XmlPump {
 public:
  XmlPump(XmlSource source, XmlHandler& handler, Limits& limits)
      : source_(std::move(source)), parser_(handler, limits), buffer_(piece_size) {}

  /// @return whether there is more
  bool step() {
    std::size_t count = 0;
    try {
      count = source_.read(buffer_);
    } catch (const EngineError& error) {
      if (error.code() != Code::corrupt && error.code() != Code::unknown_compression) throw;
      damaged_ = true;
    }
    if (count != 0) {
      parser_.feed({buffer_.data(), count});
      return true;
    }
    parser_.finish();
    damaged_ = damaged_ || !parser_.well_formed();
    return false;
  }

  bool damaged() const { return damaged_; }

 private:
  XmlSource source_;
  XmlParser parser_;
  std::vector<char> buffer_;
  bool damaged_ = false;
};

class OdfReader final : public Reader {
 public:
  explicit OdfReader(const ReaderContext& context)
      : context_(context),
        document_(context.document),
        limits_(context.limits),
        content_(flow_, styles_, limits_, [this](std::string_view name) { show_object(name); }) {
    if (document_.head(2) != "PK") return;
    package_ = std::make_unique<ZipPackage>(document_, limits_);
    refuse_encrypted();
    if (!package_->contains(content_part) && !package_->contains(styles_part)) {
      throw EngineError(Code::corrupt, "the package has no content");
    }
  }

  bool step(TextSink& sink) override;
  void properties(Properties& properties) override;
  std::unique_ptr<Subfiles> subfiles() override;

 private:
  enum class Stage : std::uint8_t { begin, styles, content };
  static constexpr std::string_view content_part = "content.xml";
  static constexpr std::string_view styles_part = "styles.xml";
  static constexpr std::string_view properties_part = "meta.xml";

  void refuse_encrypted();
  void begin(Stage stage, std::string_view part);
  void end_pump();
  void show_object(std::string_view reference);

  const ReaderContext context_;
  Document& document_;
  Limits& limits_;
  std::unique_ptr<ZipPackage> package_;  ///< null: a flat document
  TextFlow flow_;
  OdfStyles styles_;
  OdfContentHandler content_;
  Stage stage_ = Stage::begin;
  std::unique_ptr<XmlPump> pump_;
  bool damaged_ = false;

  std::vector<std::string> object_folders_;  ///< of the objects around what is being read
  std::unordered_set<std::string> objects_;  ///< parts that have been shown
};

void OdfReader::refuse_encrypted() {
  auto part = package_->open("META-INF/manifest.xml");
  if (!part) return;
  ManifestHandler manifest;
  XmlPump pump(XmlSource(std::move(part)), manifest, limits_);
  while (!manifest.encrypted && pump.step()) {
  }
  if (manifest.encrypted) {
    throw EngineError(Code::password_protected, "the package is encrypted");
  }
}

bool OdfReader::step(TextSink& sink) {
  flow_.set_sink(sink);
  switch (stage_) {
    case Stage::begin:
      if (package_ && package_->contains(styles_part)) {
        begin(Stage::styles, styles_part);
      } else {
        begin(Stage::content, content_part);
      }
      return true;
    case Stage::styles:
      if (pump_->step()) return true;
      end_pump();
      begin(Stage::content, content_part);
      return true;
    case Stage::content:
      if (pump_ && pump_->step()) return true;
      if (pump_) end_pump();
      content_.show_footers();
      if (damaged_ || (package_ && package_->damaged()) || !content_.is_open_document()) {
        throw EngineError(Code::corrupt, "the document is damaged");
      }
      return false;
  }
  return false;
}

void OdfReader::begin(Stage stage, std::string_view part) {
  stage_ = stage;
  if (!package_) {
    pump_ = std::make_unique<XmlPump>(XmlSource(document_), content_, limits_);
    return;
  }
  auto opened = package_->open(part);
  if (!opened) {
    damaged_ = true;
    return;
  }
  pump_ = std::make_unique<XmlPump>(XmlSource(std::move(opened)), content_, limits_);
}

void OdfReader::end_pump() {
  content_.finish();
  damaged_ = damaged_ || pump_->damaged();
  pump_.reset();
}

/// Shows the text of an object's own document, "./Object 1" beside the part that names it.
void OdfReader::show_object(std::string_view reference) {
  if (!package_ || object_folders_.size() >= most_object_depth) return;
  if (reference.starts_with('#')) reference.remove_prefix(1);
  while (reference.starts_with("./")) reference.remove_prefix(2);
  while (reference.ends_with('/')) reference.remove_suffix(1);
  if (reference.empty()) return;
  const std::string folder = (object_folders_.empty() ? std::string() : object_folders_.back()) +
                             std::string(reference) + "/";
  const std::string part = folder + std::string(content_part);
  if (objects_.size() >= most_objects || !objects_.insert(part).second) return;
  auto opened = package_->open(part);
  if (!opened) return;
  object_folders_.push_back(folder);
  OdfStyles styles;
  OdfContentHandler content(flow_, styles, limits_,
                            [this](std::string_view name) { show_object(name); });
  XmlPump pump(XmlSource(std::move(opened)), content, limits_);
  while (pump.step()) {
  }
  content.finish();
  damaged_ = damaged_ || pump.damaged();
  object_folders_.pop_back();
}

void OdfReader::properties(Properties& properties) {
  OdfPropertiesHandler handler(properties);
  std::optional<XmlPump> pump;
  if (!package_) {
    pump.emplace(XmlSource(document_), handler, limits_);
  } else if (auto part = package_->open(properties_part)) {
    pump.emplace(XmlSource(std::move(part)), handler, limits_);
  }
  while (pump && !handler.done() && pump->step()) {
  }
}

std::unique_ptr<Subfiles> OdfReader::subfiles() {
  if (package_) return odf_files(*package_, context_);
  return inline_files(
      [this](XmlHandler& handler, const bool& done) {
        XmlPump pump(XmlSource(document_), handler, limits_);
        while (!done && pump.step()) {
        }
      },
      context_);
}

}  // namespace
}  // namespace trfilter

TRFILTER_READER(odf, trfilter::OdfReader)
