#include "engine/readers/odf_content.h"

#include <algorithm>
#include <utility>

#include "engine/readers/odf_values.h"

namespace trfilter {
namespace {

using E = OdfElement;

constexpr std::size_t most_collected = std::size_t{1} << 20;
constexpr std::size_t most_page_texts = 1024;
constexpr std::size_t most_changes = std::size_t{1} << 20;

bool is_blank(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

/// The code of a date or time field, in the words that word processors use.
std::string_view date_code(std::string_view element_name) {
  if (element_name == "date") return "DATE";
  if (element_name == "time") return "TIME";
  if (element_name.starts_with("creation")) return "CREATEDATE";
  if (element_name.starts_with("print")) return "PRINTDATE";
  return "SAVEDATE";
}

/// What programs store for a value that only a page has.
bool is_placeholder(std::string_view text) {
  return text == "???" || text == "<number>";
}

}  // namespace

OdfContentHandler::OdfContentHandler(TextFlow& flow, OdfStyles& styles, Limits& limits,
                                     ShowObject show_object)
    : flow_(flow),
      styles_(styles),
      lists_(styles),
      tables_(flow, styles),
      limits_(limits),
      show_object_(std::move(show_object)) {}

void OdfContentHandler::start_element(const XmlElement& element) {
  if (skipped_depth_ > 0) {
    limits_.check_depth(++skipped_depth_);
    return;
  }
  const E kind = odf_element(element);
  if (kind == E::skipped) {
    skipped_depth_ = 1;
    return;
  }
  Open open{kind, in_text_};
  styles_.start_element(kind, element);
  if (kind >= E::paragraph && kind <= E::ruby_text) {
    start_text(element, open);
  } else if (kind >= E::page) {
    start_drawing(element, open);
  } else {
    start_structure(element, open);
  }
  // The element may have turned out to be one to skip.
  if (skipped_depth_ > 0) return;
  open_.push_back(open);
  limits_.check_depth(static_cast<unsigned>(open_.size()));
}

void OdfContentHandler::start_structure(const XmlElement& element, Open& open) {
  switch (open.kind) {
    case E::document:
      is_open_document_ = true;
      if (open_.empty() && element.attribute("class") == "spreadsheet") tables_.set_spreadsheet();
      break;
    case E::body:
      in_body_ = true;
      break;
    case E::spreadsheet:
      if (open_.size() == 2) tables_.set_spreadsheet();
      break;
    case E::chart:
      in_chart_ = true;
      break;
    case E::meta:
      if (!in_text_) skipped_depth_ = 1;
      break;
    case E::annotation:
      begin_aside(open);
      begin_region(open, Region::comment);
      // Before OpenDocument the author is an attribute.
      flow_.text(comment_label(element.attribute("author")));
      break;
    case E::annotation_author:
      if (open_.empty() || open_.back().kind != E::annotation) break;
      collecting_ = Collecting::author;
      collected_.clear();
      break;
    case E::page_header:
    case E::page_footer:
      begin_page_text(element, open);
      break;
    case E::table:
      in_text_ = false;
      if (shows_paragraphs()) tables_.begin_table(element);
      break;
    case E::row:
      if (shows_paragraphs()) tables_.begin_row(element);
      break;
    case E::cell:
    case E::covered_cell:
      if (shows_paragraphs()) tables_.begin_cell(element, open.kind == E::covered_cell);
      break;
    case E::column:
      if (shows_paragraphs()) tables_.column(element);
      break;
    default:
      break;
  }
}

void OdfContentHandler::start_text(const XmlElement& element, Open& open) {
  switch (open.kind) {
    case E::paragraph:
    case E::heading: {
      if (!shows_paragraphs()) break;
      const std::string_view style = element.attribute("style-name");
      if (styles_.hides("paragraph", style)) begin_region(open, Region::hidden);
      const bool heading = open.kind == E::heading && !lists_.in_item();
      begin_paragraph(open, heading ? lists_.heading_label(element) : lists_.paragraph_label());
      break;
    }
    case E::span:
      if (in_text_ && styles_.hides("text", element.attribute("style-name"))) {
        begin_region(open, Region::hidden);
      }
      break;
    case E::space:
      if (in_text_) {
        const unsigned count = odf_unsigned(element.attribute("c")).value_or(1);
        verbatim(std::string(std::min(count, most_blanks), ' '));
      }
      break;
    case E::tab:
      if (in_text_) verbatim(tables_.in_sheet_cell() ? " " : "\t");
      break;
    case E::line_break:
      if (!in_text_) break;
      if (tables_.in_sheet_cell()) {
        verbatim(" ");
      } else {
        begin_verbatim();
        flow_.line();
      }
      break;
    case E::list:
      lists_.begin_list(element);
      break;
    case E::list_item:
    case E::list_header:
      lists_.begin_item(element, open.kind == E::list_item);
      break;
    case E::note:
    case E::footnote:
    case E::endnote: {
      begin_aside(open);
      const bool end = open.kind == E::endnote || element.attribute("note-class") == "endnote";
      begin_region(open, end ? Region::endnote : Region::footnote);
      break;
    }
    case E::note_citation:
      in_text_ = false;
      break;
    case E::section: {
      const std::string_view display = element.attribute("display");
      if (display == "none" || element.attribute("is-hidden") == "true") {
        begin_region(open, Region::hidden);
      }
      break;
    }
    case E::tracked_changes:
      if (!flow_.sink().options().revision_marks) skipped_depth_ = 1;
      break;
    case E::changed_region:
      region_id_ = element.attribute("id");
      break;
    case E::insertion:
      if (insertions_.size() < most_changes) insertions_.insert(region_id_);
      break;
    case E::deletion:
      flow_.begin_capture(TextFlow::Excess::dropped);
      lists_.enter_aside();
      tables_.enter_aside();
      break;
    case E::change:
      if (in_text_) show_deletion(element.attribute("change-id"));
      break;
    case E::change_start:
      begin_insertion(element.attribute("change-id"));
      break;
    case E::change_end:
      end_insertion(element.attribute("change-id"));
      break;
    case E::hidden_text:
      if (element.attribute("is-hidden") == "true" && in_text_) {
        begin_region(open, Region::hidden);
        text(element.attribute("string-value"));
        in_text_ = false;
      }
      break;
    case E::hidden_paragraph:
      if (element.attribute("is-hidden") == "true" && in_text_ && !paragraphs_.back().hidden) {
        paragraphs_.back().hidden = true;
        flow_.begin(Region::hidden);
      }
      break;
    case E::date_field:
      if (in_text_) {
        begin_field(open, Region::date_time_code, Region::date_time_result,
                    date_code(element.name()));
      }
      break;
    case E::file_name:
      if (in_text_) begin_field(open, Region::filename_code, Region::filename_result, "FILENAME");
      break;
    case E::page_value:
      if (in_text_) {
        collecting_ = Collecting::placeholder;
        collected_.clear();
      }
      break;
    case E::ruby_text:
      if (in_text_) text("(");
      break;
    default:
      break;
  }
}

void OdfContentHandler::start_drawing(const XmlElement& element, Open& open) {
  switch (open.kind) {
    case E::page:
      if (!in_body_) break;
      if (pages_++ > 0) flow_.page();
      if (styles_.hides("drawing-page", element.attribute("style-name"))) {
        begin_region(open, Region::hidden);
      }
      break;
    case E::notes:
      begin_region(open, Region::speaker_note);
      break;
    case E::header_declaration:
    case E::footer_declaration:
      if (!in_body_) break;
      begin_region(open, open.kind == E::header_declaration ? Region::header : Region::footer);
      begin_paragraph(open, {});
      break;
    case E::shape:
    case E::object: {
      if (!shows_paragraphs()) break;
      if (in_chart_ && tables_.in_table()) {
        // A chart's data say here which cells they are of.
        skipped_depth_ = 1;
        break;
      }
      const bool inner = !open_.empty() && open_.back().kind == E::shape;
      if (!inner) begin_aside(open);
      in_text_ = false;
      const std::string_view role = element.attribute("class");
      if (element.attribute("display") == "none") {
        begin_region(open, Region::hidden);
      } else if (role == "header") {
        begin_region(open, Region::header);
      } else if (role == "footer" || role == "date-time" || role == "page-number") {
        begin_region(open, Region::footer);
      }
      const std::string_view reference = element.attribute("href");
      if (open.kind == E::object && !reference.empty()) show_object_(reference);
      break;
    }
    case E::image_text:
      if (!shows_paragraphs()) break;
      collecting_ = Collecting::image_text;
      collected_.clear();
      break;
    case E::math:
      if (open_.empty()) {
        is_open_document_ = true;
        in_body_ = true;
      }
      if (shows_paragraphs()) begin_paragraph(open, {});
      in_text_ = false;
      break;
    case E::math_token:
      in_text_ = !paragraphs_.empty();
      if (in_text_) text(" ");
      break;
    default:
      break;
  }
}

void OdfContentHandler::end_element(std::string_view /*name*/, std::string_view /*uri*/) {
  if (skipped_depth_ > 0) {
    --skipped_depth_;
    return;
  }
  if (open_.empty()) return;
  Open open = open_.back();
  open_.pop_back();
  styles_.end_element(open.kind);
  end_known(open);
  in_text_ = open.text_before;
}

void OdfContentHandler::end_known(Open& open) {
  switch (open.kind) {
    case E::body:
      in_body_ = !open_.empty() && std::any_of(open_.begin(), open_.end(), [](const Open& outer) {
        return outer.kind == E::body;
      });
      break;
    case E::page_header:
    case E::page_footer:
      if (in_page_text_) end_page_text(open.kind == E::page_header);
      break;
    case E::chart:
      in_chart_ = false;
      break;
    case E::region:
      if (in_page_text_) flow_.cell(1);
      break;
    case E::table:
      if (shows_paragraphs()) tables_.end_table();
      break;
    case E::row:
      if (shows_paragraphs()) tables_.end_row();
      break;
    case E::cell:
    case E::covered_cell:
      if (shows_paragraphs()) tables_.end_cell();
      break;
    case E::list:
      lists_.end_list();
      break;
    case E::list_item:
    case E::list_header:
      lists_.end_item();
      break;
    case E::deletion: {
      TextRecord record = flow_.end_capture();
      lists_.leave_aside();
      tables_.leave_aside();
      record.drop_last_paragraph();
      if (record.has_text() && deleted_size_ + record.size() <= most_deleted) {
        deleted_size_ += record.size();
        deletions_.insert_or_assign(region_id_, std::move(record));
      }
      break;
    }
    case E::ruby_text:
      if (in_text_) text(")");
      break;
    case E::page_value:
    case E::image_text:
    case E::annotation_author:
      end_collecting();
      break;
    default:
      break;
  }
  if (open.is_paragraph) end_paragraph();
  if (open.has_region) flow_.end(open.region);
  if (open.is_detour) {
    tables_.leave_aside();
    lists_.leave_aside();
    flow_.end_detour();
  }
}

void OdfContentHandler::finish() {
  skipped_depth_ = 0;
  while (!open_.empty()) end_element({}, {});
  for (; !open_insertions_.empty(); open_insertions_.pop_back()) flow_.end(Region::inserted);
}

void OdfContentHandler::begin_region(Open& open, Region region) {
  open.has_region = true;
  open.region = region;
  flow_.begin(region);
}

void OdfContentHandler::begin_aside(Open& open) {
  open.is_detour = true;
  in_text_ = false;
  flow_.begin_detour();
  lists_.enter_aside();
  tables_.enter_aside();
}

void OdfContentHandler::begin_paragraph(Open& open, std::string label) {
  open.is_paragraph = true;
  in_text_ = true;
  tables_.begin_paragraph();
  flow_.begin_anchor();
  paragraphs_.emplace_back().label = std::move(label);
}

void OdfContentHandler::end_paragraph() {
  if (paragraphs_.back().hidden) flow_.end(Region::hidden);
  paragraphs_.pop_back();
  if (!tables_.in_sheet_cell()) flow_.paragraph();
  flow_.end_anchor();
}

void OdfContentHandler::begin_page_text(const XmlElement& element, Open& open) {
  const bool in_master_page = !open_.empty() && open_.back().kind == E::master_page;
  if (!in_master_page || element.attribute("display") == "false" ||
      page_texts_.size() >= most_page_texts) {
    skipped_depth_ = 1;
    return;
  }
  open.text_before = false;
  in_page_text_ = true;
  flow_.begin_capture(TextFlow::Excess::dropped);
  flow_.begin_row();
}

void OdfContentHandler::end_page_text(bool header) {
  in_page_text_ = false;
  TextRecord record = flow_.end_capture();
  record.drop_last_paragraph();
  if (!record.has_text() || !page_texts_.insert(record.bytes()).second) return;
  if (!header) {
    footers_.push_back(std::move(record));
    return;
  }
  flow_.begin(Region::header);
  flow_.show(record);
  flow_.end(Region::header);
  flow_.row();
}

void OdfContentHandler::show_footers() {
  for (const TextRecord& footer : footers_) {
    flow_.begin(Region::footer);
    flow_.show(footer);
    flow_.end(Region::footer);
    flow_.row();
  }
  footers_.clear();
}

void OdfContentHandler::begin_field(Open& open, Region code_region, Region result_region,
                                    std::string_view code) {
  begin_verbatim();
  flow_.begin(code_region);
  flow_.text(code);
  flow_.end(code_region);
  begin_region(open, result_region);
}

void OdfContentHandler::show_deletion(std::string_view id) {
  const auto deletion = deletions_.find(std::string(id));
  if (deletion == deletions_.end()) return;
  begin_verbatim();
  flow_.begin(Region::deleted);
  flow_.show(deletion->second);
  flow_.end(Region::deleted);
  // Shown once: a document may point at it many times.
  deletions_.erase(deletion);
}

void OdfContentHandler::begin_insertion(std::string_view id) {
  if (!insertions_.contains(std::string(id)) || open_insertions_.size() >= most_changes) return;
  if (in_text_) begin_verbatim();
  flow_.begin(Region::inserted);
  open_insertions_.emplace_back(id);
}

void OdfContentHandler::end_insertion(std::string_view id) {
  const auto found = std::find(open_insertions_.begin(), open_insertions_.end(), id);
  if (found == open_insertions_.end()) return;
  open_insertions_.erase(found);
  flow_.end(Region::inserted);
}

void OdfContentHandler::end_collecting() {
  const Collecting what = std::exchange(collecting_, Collecting::nothing);
  if (collected_.empty()) return;
  if (what == Collecting::image_text) {
    flow_.begin(Region::alternative_text);
    flow_.text(collected_);
    flow_.end(Region::alternative_text);
    flow_.paragraph();
  } else if (what == Collecting::author) {
    flow_.text(comment_label(collected_));
  } else if (what == Collecting::placeholder && !is_placeholder(collected_)) {
    text(collected_);
  }
}

void OdfContentHandler::characters(std::string_view characters) {
  if (skipped_depth_ > 0) return;
  if (collecting_ != Collecting::nothing) {
    if (collected_.size() < most_collected) collected_ += characters;
  } else if (in_text_) {
    text(characters);
  }
}

/// Adds text of a paragraph; each run of white space in it is one blank, none at either end.
void OdfContentHandler::text(std::string_view utf8) {
  Paragraph& paragraph = paragraphs_.back();
  while (!utf8.empty()) {
    if (is_blank(utf8.front())) {
      paragraph.blank_due = true;
      utf8.remove_prefix(1);
      continue;
    }
    std::size_t end = 1;
    for (; end < utf8.size(); ++end) {
      if (!is_blank(utf8[end])) continue;
      const bool single = utf8[end] == ' ' && end + 1 < utf8.size() && !is_blank(utf8[end + 1]);
      if (!single) break;
    }
    begin_verbatim();
    flow_.text(utf8.substr(0, end));
    utf8.remove_prefix(end);
  }
}

/// Shows what is due before more of the paragraph.
void OdfContentHandler::begin_verbatim() {
  Paragraph& paragraph = paragraphs_.back();
  if (!paragraph.label.empty()) flow_.text(std::exchange(paragraph.label, {}));
  if (paragraph.blank_due && !paragraph.at_start) flow_.text(" ");
  paragraph.blank_due = false;
  paragraph.at_start = false;
}

void OdfContentHandler::verbatim(std::string_view utf8) {
  begin_verbatim();
  flow_.text(utf8);
}

}  // namespace trfilter
