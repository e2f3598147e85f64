#include <utility>

#include "engine/core/property_names.h"
#include "engine/readers/rtf_parser.h"

namespace trfilter::rtf {
namespace {

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  return text;
}

}  // namespace

void Parser::begin_destination(const Token& token) {
  flush_text();
  Group& group = top();
  group.needs_unicode = false;
  const bool body = group.destination == Destination::body;
  switch (token.word.action) {
    case Action::contents:
    case Action::alternate_unicode:
      break;
    case Action::alternate:
      group.alternate = true;
      break;
    case Action::header:
      begin_region(Region::header);
      break;
    case Action::footer:
      begin_region(Region::footer);
      break;
    case Action::footnote:
      begin_note(Region::footnote);
      break;
    case Action::annotation:
      if (options_->skip_comments) {
        skip_rest_of_group();
      } else {
        begin_note(Region::comment);
        if (top().at_end == AtEnd::note) {
          flow_.text(comment_label(std::exchange(annotation_author_, {})));
        }
      }
      break;
    case Action::annotation_author:
      group.destination = Destination::annotation_author;
      annotation_author_.clear();
      break;
    case Action::text_box:
      begin_note(std::nullopt);
      break;
    case Action::picture:
      group.destination = Destination::ignored;
      break;
    case Action::shape_property:
      group.destination = Destination::ignored;
      group.at_end = AtEnd::text_box_property;
      shape_property_name_.clear();
      shape_property_value_.clear();
      break;
    case Action::shape_property_name:
      group.destination = Destination::shape_property_name;
      break;
    case Action::shape_property_value:
      group.destination = Destination::shape_property_value;
      break;
    case Action::field:
      if (group.at_end != AtEnd::nothing) break;
      group.at_end = AtEnd::field;
      group.field = static_cast<std::int32_t>(fields_.size());
      fields_.emplace_back();
      fields_.back().text_before_result = text_shown_;
      break;
    case Action::field_instruction:
      if (group.field < 0 || group.at_end != AtEnd::nothing) return skip_rest_of_group();
      group.destination = Destination::field_instruction;
      group.in_body = false;
      group.at_end = AtEnd::field_instruction;
      break;
    case Action::field_result:
      if (group.field < 0 || !body || group.at_end != AtEnd::nothing) break;
      switch (fields_[static_cast<std::size_t>(group.field)].kind) {
        case Field::Kind::date_time:
          begin_region(Region::date_time_result);
          break;
        case Field::Kind::file_name:
          begin_region(Region::filename_result);
          break;
        default:
          break;
      }
      break;
    case Action::form_field:
      if (group.field < 0) return skip_rest_of_group();
      group.destination = Destination::ignored;
      break;
    case Action::form_item: {
      if (group.field < 0) return skip_rest_of_group();
      Field& field = fields_[static_cast<std::size_t>(group.field)];
      if (field.items.size() >= Field::most_items) return skip_rest_of_group();
      field.items.emplace_back();
      group.destination = Destination::form_item;
      break;
    }
    case Action::font_table:
      group.destination = Destination::font_table;
      group.in_body = false;
      break;
    default:
      begin_information_destination(token);
      break;
  }
}

void Parser::begin_information_destination(const Token& token) {
  Group& group = top();
  if (information_ == nullptr || group.at_end != AtEnd::nothing) return skip_rest_of_group();
  group.in_body = false;
  const std::string_view name = token.word.action == Action::information_text
                                    ? property_name_of(token.word.value)
                                    : std::string_view();
  switch (token.word.action) {
    case Action::information:
    case Action::user_properties:
      group.destination = Destination::information;
      break;
    case Action::information_text:
      // Two of them stand outside of the information group.
      if (group.destination != Destination::information && name != property::application &&
          name != property::document_template) {
        return skip_rest_of_group();
      }
      group.destination = Destination::information_value;
      group.at_end = AtEnd::information_text;
      group.value = token.word.value;
      value_.clear();
      break;
    case Action::information_time:
      group.at_end = AtEnd::information_time;
      group.value = token.word.value;
      information_->begin_time();
      break;
    case Action::property_name:
      group.destination = Destination::information_value;
      group.at_end = AtEnd::property_name;
      value_.clear();
      break;
    case Action::property_value:
      group.destination = Destination::information_value;
      group.at_end = AtEnd::property_value;
      value_.clear();
      break;
    default:
      skip_rest_of_group();
      break;
  }
}

void Parser::begin_region(Region region) {
  Group& group = top();
  if (group.destination != Destination::body || group.at_end != AtEnd::nothing) {
    return skip_rest_of_group();
  }
  if (region == Region::header || region == Region::footer) {
    const bool shown = options_->header_and_footer || options_->header_and_footer_tags;
    if (!shown || information_ != nullptr || !tables_around_.empty()) {
      return skip_rest_of_group();
    }
    set_open_marks(0);
    flow_.show_notes();
    settle_section();
    flow_.paragraph();
    tables_around_.push_back(std::exchange(table_, {}));
    group.marks = 0;
    group.table_level = 0;
    page_region_due_ = region;
  } else {
    settle_page_region();
    set_open_marks(0);
    flow_.begin(region);
  }
  group.region = region;
  group.at_end = AtEnd::region;
}

void Parser::begin_note(std::optional<Region> region) {
  Group& group = top();
  if (group.destination != Destination::body || group.at_end != AtEnd::nothing ||
      information_ != nullptr) {
    return skip_rest_of_group();
  }
  std::vector<Region> around;
  if ((group.marks & hidden) != 0) around.push_back(Region::hidden);
  if ((group.marks & deleted) != 0) around.push_back(Region::deleted);
  if ((group.marks & inserted) != 0) around.push_back(Region::inserted);
  settle_page_region();
  set_open_marks(0);
  flow_.begin_note(std::move(around), region);
  tables_around_.push_back(std::exchange(table_, {}));
  group.marks = 0;
  group.table_level = 0;
  group.at_end = AtEnd::note;
}

// Ends of destinations.

void Parser::end_field_instruction() {
  const Group& group = top();
  Field& field = fields_[static_cast<std::size_t>(group.field)];
  field.settle();
  const bool around_is_body = groups_[groups_.size() - 2].destination == Destination::body;
  if (!around_is_body) return;
  Region region{};
  if (field.kind == Field::Kind::date_time) {
    region = Region::date_time_code;
  } else if (field.kind == Field::Kind::file_name) {
    region = Region::filename_code;
  } else {
    return;
  }
  settle_section();
  settle_page_region();
  set_open_marks(groups_[groups_.size() - 2].marks);
  flow_.begin(region);
  flow_.text(trimmed(field.instruction));
  flow_.end(region);
}

void Parser::end_field() {
  const Field field = std::move(fields_.back());
  fields_.pop_back();
  if (groups_.empty() || text_shown_ != field.text_before_result) return;
  const std::string text = field.text_without_result();
  if (text.empty() || !prepare_text()) return;
  flush_bytes();
  text_ += text;
}

void Parser::end_shape_property() {
  const std::string name = std::exchange(shape_property_name_, {});
  const std::string value = std::exchange(shape_property_value_, {});
  const Group& group = groups_[groups_.size() - 2];
  if (value.empty() || !group.in_body || information_ != nullptr) return;
  std::optional<Region> region;
  if (name == "wzDescription") {
    region = Region::alternative_text;
  } else if (name != "gtextUNICODE") {
    return;
  }
  std::vector<Region> around;
  if ((group.marks & hidden) != 0) around.push_back(Region::hidden);
  if ((group.marks & deleted) != 0) around.push_back(Region::deleted);
  settle_page_region();
  set_open_marks(0);
  flow_.begin_note(std::move(around), region);
  flow_.text(value);
  flow_.end_note();
}

}  // namespace trfilter::rtf
