#include "engine/mapi/item_fields.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>

#include "engine/charset/encoding.h"
#include "engine/mapi/code_page.h"
#include "engine/mapi/property_ids.h"

namespace trfilter::mapi {
namespace {

struct TextField {
  std::string_view label;
  std::uint16_t id;
};

struct NamedTextField {
  std::string_view label;
  NamedProperty property;
};

// [MS-OXOCNTC] 2.2.1.
constexpr auto contact_names = std::to_array<TextField>({
    {"Name", id::display_name},
    {"Nickname", id::nickname},
    {"Company", id::company},
    {"Department", id::department},
    {"Job title", id::job_title},
    {"Profession", id::profession},
    {"Office", id::office_location},
    {"Manager", id::manager},
    {"Assistant", id::assistant},
    {"Spouse", id::spouse},
    {"Hobbies", id::hobbies},
});
constexpr auto contact_phones = std::to_array<TextField>({
    {"Primary phone", id::primary_phone},
    {"Business phone", id::business_phone},
    {"Business phone 2", id::business_phone_2},
    {"Business fax", id::business_fax},
    {"Company phone", id::company_phone},
    {"Assistant's phone", id::assistant_phone},
    {"Home phone", id::home_phone},
    {"Home phone 2", id::home_phone_2},
    {"Home fax", id::home_fax},
    {"Mobile phone", id::mobile_phone},
    {"Car phone", id::car_phone},
    {"Pager", id::pager},
    {"Other phone", id::other_phone},
});
constexpr auto contact_places = std::to_array<NamedTextField>({
    {"Instant messaging", named::instant_messaging},
    {"Web page", named::web_page},
    {"Business address", named::work_address},
    {"Home address", named::home_address},
    {"Other address", named::other_address},
});

constexpr auto task_statuses = std::to_array<std::string_view>(
    {"not started", "in progress", "complete", "waiting on someone else", "deferred"});

std::string shown_time(FileTime time) {
  using namespace std::chrono;
  constexpr std::int64_t ticks_a_second = 10'000'000;
  const sys_seconds point{
      seconds((time.ticks - FileTime::from_unix_seconds(0).ticks) / ticks_a_second)};
  const sys_days day = floor<days>(point);
  const year_month_day date{day};
  const hh_mm_ss clock{point - day};
  std::array<char, 48> text{};
  int length =
      std::snprintf(text.data(), text.size(), "%04d-%02u-%02u", static_cast<int>(date.year()),
                    static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()));
  std::string shown(text.data(), static_cast<std::size_t>(length));
  if (point == day) return shown;
  length = std::snprintf(text.data(), text.size(), " %02d:%02d UTC",
                         static_cast<int>(clock.hours().count()),
                         static_cast<int>(clock.minutes().count()));
  return shown.append(text.data(), static_cast<std::size_t>(length));
}

/// Collects the fields of one item.
class Fields {
 public:
  explicit Fields(PropertySource& properties) : properties_(&properties) {}

  void add(std::string_view label, std::string value) {
    const bool blank = value.find_first_not_of(" \t\r\n") == std::string::npos;
    if (!blank) fields_.push_back({label, std::move(value)});
  }
  void text(std::string_view label, std::uint16_t id) { add(label, properties_->text(id)); }
  void text(std::string_view label, const NamedProperty& property) {
    if (const std::uint16_t id = properties_->id_of(property)) text(label, id);
  }
  void time(std::string_view label, std::uint16_t id) {
    const FileTime time = properties_->time(id);
    if (time.ticks > 0) add(label, shown_time(time));
  }
  void time(std::string_view label, const NamedProperty& property) {
    if (const std::uint16_t id = properties_->id_of(property)) time(label, id);
  }
  void texts(std::string_view label, std::uint16_t id) {
    for (std::string& value : properties_->texts(id)) add(label, std::move(value));
  }

  std::vector<ItemField> take() { return std::move(fields_); }

 private:
  PropertySource* properties_;
  std::vector<ItemField> fields_;
};

std::string shown_address(const MailAddress& address) {
  if (address.name.empty()) return address.address;
  return address.address.empty() ? address.name : address.name + " <" + address.address + ">";
}

void add_contact(PropertySource& properties, Fields& fields) {
  for (const TextField& field : contact_names) fields.text(field.label, field.id);
  fields.texts("Children", id::children);
  constexpr int emails = 3;
  for (std::uint32_t i = 0; i < emails; ++i) {
    NamedProperty property{named::address_set, named::first_email + 0x10 * i, {}};
    property.id += named::email_address_offset;
    fields.text("E-mail", property);
  }
  for (const TextField& field : contact_phones) fields.text(field.label, field.id);
  for (const NamedTextField& field : contact_places) fields.text(field.label, field.property);
  fields.text("Business home page", id::business_home_page);
  fields.text("Personal home page", id::personal_home_page);
  fields.time("Birthday", id::birthday);
  fields.time("Anniversary", id::anniversary);
  if (const std::uint16_t members = properties.id_of(named::list_members)) {
    const auto stored = properties.stored(members);
    for (const std::string& entry : stored ? stored->values : std::vector<std::string>()) {
      fields.add("Member", shown_address(one_off_address(entry, properties.encoding())));
    }
  }
}

// [MS-OXOCAL] 2.2.1. Meeting requests have these too.
void add_appointment(Fields& fields) {
  fields.time("Start", named::appointment_start);
  fields.time("End", named::appointment_end);
  fields.text("Location", named::appointment_location);
  fields.text("Recurrence", named::recurrence_pattern);
}

// [MS-OXOTASK] 2.2.2.2.
void add_task(PropertySource& properties, Fields& fields) {
  fields.time("Start", named::task_start);
  fields.time("Due", named::task_due);
  fields.time("Completed", named::task_completed);
  if (const std::uint16_t id = properties.id_of(named::task_status)) {
    const auto status = properties.integer(id);
    if (status && *status >= 0 && static_cast<std::size_t>(*status) < task_statuses.size()) {
      fields.add("Status", std::string(task_statuses[static_cast<std::size_t>(*status)]));
    }
  }
  if (const std::uint16_t id = properties.id_of(named::percent_complete)) {
    const auto share = properties.number(id);
    if (share && *share > 0 && *share <= 1) {
      fields.add("Complete", std::to_string(std::lround(*share * 100)) + "%");
    }
  }
  fields.text("Owner", named::task_owner);
}

// [MS-OXOJRNL] 2.2.1.
void add_journal_entry(Fields& fields) {
  fields.text("Type", named::log_type);
  fields.time("Start", named::log_start);
  fields.time("End", named::log_end);
}

std::string escaped_html(std::string_view text) {
  std::string escaped;
  for (const char c : text) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '\n':
        escaped += "<br>";
        break;
      default:
        escaped += c;
    }
  }
  return escaped;
}

std::string lower_ascii(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  return lower;
}

/// Where the content of an HTML document begins: behind its body's start tag.
std::size_t content_of(std::string_view html) {
  const std::size_t tag = lower_ascii(html).find("<body");
  const std::size_t end = tag == std::string_view::npos ? tag : html.find('>', tag);
  return end == std::string_view::npos ? 0 : end + 1;
}

}  // namespace

std::vector<ItemField> item_fields(Message& message) {
  PropertySource& properties = message.properties();
  Fields fields(properties);
  switch (item_kind(message)) {
    case SubfileKind::contact:
      add_contact(properties, fields);
      break;
    case SubfileKind::task:
      add_task(properties, fields);
      break;
    case SubfileKind::journal_entry:
      add_journal_entry(fields);
      break;
    case SubfileKind::appointment:
      add_appointment(fields);
      break;
    default: {
      const std::string message_class = lower_ascii(properties.text(id::message_class));
      if (message_class.starts_with("ipm.schedule.meeting")) add_appointment(fields);
      break;
    }
  }
  return fields.take();
}

void put_fields_first(const std::vector<ItemField>& fields, std::vector<MailBody>& bodies) {
  if (fields.empty()) return;
  std::string plain;
  std::string html;
  for (const ItemField& field : fields) {
    plain.append(field.label).append(": ").append(field.value).append("\n");
    html.append("<p>").append(field.label).append(": ").append(escaped_html(field.value));
    html.append("</p>\n");
  }
  bool done = false;
  for (MailBody& body : bodies) {
    if (body.kind == MailBody::Kind::rtf) continue;
    done = true;
    if (body.kind == MailBody::Kind::plain) {
      body.bytes.insert(0, plain + "\n");
      continue;
    }
    body.bytes = decode_text(body.bytes, encoding_of_label(body.charset));
    body.charset = utf8_encoding().name;
    body.bytes.insert(content_of(body.bytes), html);
  }
  if (!done) {
    bodies.insert(bodies.begin(), {MailBody::Kind::plain, std::move(plain), utf8_encoding().name});
  }
}

}  // namespace trfilter::mapi
