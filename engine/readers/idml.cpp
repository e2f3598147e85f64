// Packages of the InDesign Markup Language ("IDML File Format Specification"): a zip archive with a
// map of the document, its spreads, and its stories, the runs of text that frames show.
//
// The text is that of the stories, spread by spread in the order of their frames, and then of the
// stories that no frame shows. What stands on master spreads repeats on pages: it is a header.
// Properties are those of the XMP packet, and the number of pages.
//
// Not handled: the place of frames on their page, text of hidden layers and conditions, which is
// shown.
//
// Bounds: parts are parsed as they are unpacked, in pieces of 64 KiB; kept are lists of names.

#include <limits>
#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

#include "engine/core/embedded_files.h"
#include "engine/core/property_names.h"
#include "engine/core/reader.h"
#include "engine/opc/opc_package.h"
#include "engine/readers/idml_story.h"
#include "engine/xml/xmp.h"
#include "engine/zip/package_files.h"

namespace trfilter {
namespace {

constexpr std::string_view map_part = "designmap.xml";

class IdmlReader final : public Reader {
 public:
  explicit IdmlReader(const ReaderContext& context)
      : context_(context), package_(context.document, context.limits) {
    if (!package_.parse(map_part, map_)) package_.note_damage();
    if (map_.stories.empty()) {
      // The map is lost: the stories are there all the same.
      for (const std::string& name : package_.zip().names()) {
        if (name.starts_with("Stories/")) map_.stories.push_back(name);
      }
    }
    if (map_.stories.empty() && map_.spreads.empty()) {
      throw EngineError(Code::corrupt, "the package has neither stories nor spreads");
    }
  }

  bool step(TextSink& sink) override {
    if (!ordered_) order_stories();
    if (parser_) {
      if (parser_->step()) return true;
      story_->finish();
      parser_.reset();
      story_.reset();
      if (entries_[next_ - 1].master) sink.end(Region::header);
      if (entries_[next_ - 1].ends_spread) sink.page();
    }
    if (next_ < entries_.size()) {
      const Entry& entry = entries_[next_++];
      if (entry.master) sink.begin(Region::header);
      story_ = std::make_unique<idml::StoryHandler>(sink, context_.limits);
      parser_ = std::make_unique<OpcPartParser>(package_, entry.part, *story_);
      return true;
    }
    if (package_.damaged()) {
      throw EngineError(Code::corrupt, "the package is damaged: its text may be incomplete");
    }
    return false;
  }

  void properties(Properties& properties) override {
    constexpr std::size_t most_packet = std::size_t{4} << 20;
    const std::string packet = package_.zip().read_all("META-INF/metadata.xml", most_packet);
    add_xmp_properties(packet, context_.limits, properties);
    std::size_t pages = 0;
    for (const std::string& part : map_.spreads) {
      idml::SpreadHandler spread;
      package_.parse(part, spread);
      pages += spread.pages;
    }
    if (pages != 0 && pages <= std::numeric_limits<std::int32_t>::max()) {
      properties.add(property::page_count, static_cast<std::int32_t>(pages));
    }
  }

  /// The members of the archive, as those of any other.
  std::unique_ptr<Subfiles> subfiles() override {
    auto files = std::make_unique<EmbeddedFiles>();
    for (const std::string& name : package_.zip().names()) {
      if (!name.ends_with('/')) add_package_file(*files, package_.zip(), name);
    }
    files->settle_names(context_.limits);
    return files;
  }

 private:
  struct Entry {
    std::string part;
    bool master = false;
    bool ends_spread = false;
  };

  void order_stories() {
    ordered_ = true;
    std::unordered_set<std::string> added;
    const auto add_spreads = [&](const std::vector<std::string>& spreads, bool master) {
      for (const std::string& spread_part : spreads) {
        context_.limits.check_time();
        idml::SpreadHandler spread;
        if (!package_.parse(spread_part, spread)) package_.note_damage();
        const std::size_t before = entries_.size();
        for (const std::string& story : spread.stories) {
          std::string part = "Stories/Story_" + story + ".xml";
          if (!package_.zip().contains(part) || !added.insert(part).second) continue;
          entries_.push_back({std::move(part), master, false});
        }
        if (entries_.size() > before) entries_.back().ends_spread = true;
      }
    };
    add_spreads(map_.spreads, false);
    add_spreads(map_.master_spreads, true);
    for (const std::string& story : map_.stories) {
      if (added.insert(story).second) entries_.push_back({story, false, false});
    }
  }

  const ReaderContext context_;
  OpcPackage package_;
  idml::DesignMapHandler map_;
  bool ordered_ = false;
  std::vector<Entry> entries_;
  std::size_t next_ = 0;
  std::unique_ptr<idml::StoryHandler> story_;
  std::unique_ptr<OpcPartParser> parser_;
};

}  // namespace
}  // namespace trfilter

TRFILTER_READER(idml, trfilter::IdmlReader)
