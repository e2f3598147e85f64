#include "engine/readers/idml_story.h"

#include "engine/core/fields.h"

namespace trfilter::idml {
namespace {

constexpr std::size_t most_parts = std::size_t{1} << 20;
constexpr std::size_t most_note_bytes = std::size_t{1} << 20;

// Characters of UTF-8 that mean something here.
constexpr std::string_view line_separator = "\u2028";
constexpr std::string_view paragraph_separator = "\u2029";
constexpr std::string_view anchor = "\uFEFF";  // of what is not text

/// The region that a tracked change is; nothing for one that leaves text as it is.
std::optional<Region> region_of_change(std::string_view type) {
  if (type == "InsertedText") return Region::inserted;
  if (type == "DeletedText") return Region::deleted;
  return std::nullopt;
}

}  // namespace

void DesignMapHandler::start_element(const XmlElement& element) {
  std::vector<std::string>* parts = nullptr;
  if (element.name() == "Spread") parts = &spreads;
  if (element.name() == "MasterSpread") parts = &master_spreads;
  if (element.name() == "Story") parts = &stories;
  const std::string_view source = element.attribute("src");
  if (parts != nullptr && !source.empty() && parts->size() < most_parts) {
    parts->emplace_back(source);
  }
}

void SpreadHandler::start_element(const XmlElement& element) {
  if (element.name() == "Page") ++pages;
  const std::string_view story = element.attribute("ParentStory");
  if (story.empty() || story == "n" || stories.size() >= most_parts) return;
  if (known_.emplace(story).second) stories.emplace_back(story);
}

void StoryHandler::start_element(const XmlElement& element) {
  limits_.check_depth(++depth_);
  const std::string_view name = element.name();
  if (note_depth_ != 0) ++note_depth_;
  if (name == "Content") {
    in_content_ = true;
  } else if (name == "Br") {
    end_paragraph();
  } else if (name == "TextVariableInstance") {
    add(element.attribute("ResultText"));
  } else if (name == "Change") {
    begin_change(element);
  } else if (note_depth_ != 0) {
    return;
  } else if (name == "Footnote" || name == "Endnote" || name == "Note") {
    notes_.push_back({name == "Note" ? Region::comment : Region::footnote, {}});
    note_depth_ = 1;
  } else if (name == "Table") {
    if (++tables_ == 1) {
      end_paragraph();
      row_.clear();
    }
  } else if (name == "Cell" && tables_ == 1) {
    begin_cell(element);
  }
}

/// A note waits as text alone, without what was done to it.
void StoryHandler::begin_change(const XmlElement& element) {
  changes_.push_back(note_depth_ != 0 ? std::nullopt
                                      : region_of_change(element.attribute("ChangeType")));
  if (changes_.back()) sink_.begin(*changes_.back());
}

void StoryHandler::end_change() {
  if (changes_.empty()) return;
  if (changes_.back()) sink_.end(*changes_.back());
  changes_.pop_back();
}

void StoryHandler::finish() {
  while (!changes_.empty()) end_change();
  note_depth_ = 0;
  end_paragraph();
}

/// A cell's name is its column and its row, with a colon between.
void StoryHandler::begin_cell(const XmlElement& element) {
  const std::string_view name = element.attribute("Name");
  const std::size_t colon = name.find(':');
  const std::string_view row = colon == npos ? name : name.substr(colon + 1);
  if (row == row_) return;
  if (!row_.empty()) sink_.row();
  row_ = row;
  sink_.begin_row();
}

void StoryHandler::end_element(std::string_view name, std::string_view /*uri*/) {
  --depth_;
  if (name == "Content") {
    in_content_ = false;
  } else if (name == "Change") {
    end_change();
  }
  if (note_depth_ != 0) {
    --note_depth_;
    return;
  }
  if (name == "Table" && tables_ != 0) {
    if (--tables_ == 0 && !row_.empty()) sink_.row();
  } else if (name == "Cell" && tables_ == 1) {
    end_paragraph();
    sink_.cell();
  } else if (name == "Story") {
    end_paragraph();
  }
}

void StoryHandler::characters(std::string_view text) {
  if (!in_content_) return;
  // Separators within the text; what is anchored has no character of its own.
  std::size_t at = 0;
  while ((at = text.find_first_of("\xE2\xEF", at)) != npos) {
    const std::string_view rest = text.substr(at);
    const bool ends_paragraph = rest.starts_with(paragraph_separator);
    const bool ends_line = rest.starts_with(line_separator);
    if (!ends_paragraph && !ends_line && !rest.starts_with(anchor)) {
      ++at;  // another character that begins alike
      continue;
    }
    add(text.substr(0, at));
    if (ends_paragraph) end_paragraph();
    if (ends_line) add("\n");
    text = rest.substr(anchor.size());  // all three have the same length
    at = 0;
  }
  add(text);
}

void StoryHandler::add(std::string_view text) {
  if (note_depth_ == 0) {
    sink_.text(text);
  } else if (notes_.back().text.size() < most_note_bytes) {
    notes_.back().text += text;
  }
}

void StoryHandler::end_paragraph() {
  if (note_depth_ != 0) {
    add("\n");
    return;
  }
  sink_.paragraph();
  for (const Note& note : notes_) {
    const std::string_view text(note.text);
    const std::size_t end = text.find_last_not_of("\n ");
    if (end == npos) continue;
    sink_.begin(note.region);
    sink_.text(text.substr(0, end + 1));
    sink_.end(note.region);
    sink_.paragraph();
  }
  notes_.clear();
}

}  // namespace trfilter::idml
