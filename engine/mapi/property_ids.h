#pragma once

#include <cstdint>

#include "engine/mapi/property.h"

/// Numbers of the properties that are read, [MS-OXPROPS].
namespace trfilter::mapi::id {

// Messages.
constexpr std::uint16_t importance = 0x0017;
constexpr std::uint16_t message_class = 0x001A;
constexpr std::uint16_t sensitivity = 0x0036;
constexpr std::uint16_t subject = 0x0037;
constexpr std::uint16_t client_submit_time = 0x0039;
constexpr std::uint16_t subject_prefix = 0x003D;
constexpr std::uint16_t sent_representing_name = 0x0042;
constexpr std::uint16_t reply_recipient_entries = 0x004F;
constexpr std::uint16_t reply_recipient_names = 0x0050;
constexpr std::uint16_t sent_representing_address_type = 0x0064;
constexpr std::uint16_t sent_representing_email_address = 0x0065;
constexpr std::uint16_t conversation_topic = 0x0070;
constexpr std::uint16_t transport_message_headers = 0x007D;
constexpr std::uint16_t sender_name = 0x0C1A;
constexpr std::uint16_t sender_address_type = 0x0C1E;
constexpr std::uint16_t sender_email_address = 0x0C1F;
constexpr std::uint16_t display_bcc = 0x0E02;
constexpr std::uint16_t display_cc = 0x0E03;
constexpr std::uint16_t display_to = 0x0E04;
constexpr std::uint16_t message_delivery_time = 0x0E06;
constexpr std::uint16_t normalized_subject = 0x0E1D;
constexpr std::uint16_t body = 0x1000;
constexpr std::uint16_t rtf_compressed = 0x1009;
constexpr std::uint16_t html = 0x1013;
constexpr std::uint16_t internet_message_id = 0x1035;
constexpr std::uint16_t internet_references = 0x1039;
constexpr std::uint16_t in_reply_to = 0x1042;
constexpr std::uint16_t internet_codepage = 0x3FDE;
constexpr std::uint16_t message_locale = 0x3FF1;
constexpr std::uint16_t message_codepage = 0x3FFD;
constexpr std::uint16_t sender_smtp_address = 0x5D01;
constexpr std::uint16_t sent_representing_smtp_address = 0x5D02;

// Recipients; the first three are also those of folders and contacts.
constexpr std::uint16_t display_name = 0x3001;
constexpr std::uint16_t address_type = 0x3002;
constexpr std::uint16_t email_address = 0x3003;
constexpr std::uint16_t recipient_type = 0x0C15;
constexpr std::uint16_t smtp_address = 0x39FE;
constexpr std::uint16_t recipient_display_name = 0x5FF6;

// Attachments.
constexpr std::uint16_t creation_time = 0x3007;
constexpr std::uint16_t last_modification_time = 0x3008;
constexpr std::uint16_t attach_data = 0x3701;  ///< bytes or an object
constexpr std::uint16_t attach_filename = 0x3704;
constexpr std::uint16_t attach_method = 0x3705;
constexpr std::uint16_t attach_long_filename = 0x3707;
constexpr std::uint16_t attach_pathname = 0x3708;
constexpr std::uint16_t attach_transport_name = 0x370C;
constexpr std::uint16_t attach_long_pathname = 0x370D;
constexpr std::uint16_t attach_mime_tag = 0x370E;
constexpr std::uint16_t attach_content_id = 0x3712;
constexpr std::uint16_t attach_content_location = 0x3713;

// Contacts.
constexpr std::uint16_t generation = 0x3A05;
constexpr std::uint16_t given_name = 0x3A06;
constexpr std::uint16_t business_phone = 0x3A08;
constexpr std::uint16_t home_phone = 0x3A09;
constexpr std::uint16_t surname = 0x3A11;
constexpr std::uint16_t company = 0x3A16;
constexpr std::uint16_t job_title = 0x3A17;
constexpr std::uint16_t department = 0x3A18;
constexpr std::uint16_t office_location = 0x3A19;
constexpr std::uint16_t primary_phone = 0x3A1A;
constexpr std::uint16_t business_phone_2 = 0x3A1B;
constexpr std::uint16_t mobile_phone = 0x3A1C;
constexpr std::uint16_t car_phone = 0x3A1E;
constexpr std::uint16_t other_phone = 0x3A1F;
constexpr std::uint16_t pager = 0x3A21;
constexpr std::uint16_t business_fax = 0x3A24;
constexpr std::uint16_t home_fax = 0x3A25;
constexpr std::uint16_t assistant_phone = 0x3A2E;
constexpr std::uint16_t home_phone_2 = 0x3A2F;
constexpr std::uint16_t assistant = 0x3A30;
constexpr std::uint16_t anniversary = 0x3A41;
constexpr std::uint16_t birthday = 0x3A42;
constexpr std::uint16_t hobbies = 0x3A43;
constexpr std::uint16_t middle_name = 0x3A44;
constexpr std::uint16_t profession = 0x3A46;
constexpr std::uint16_t spouse = 0x3A48;
constexpr std::uint16_t manager = 0x3A4E;
constexpr std::uint16_t nickname = 0x3A4F;
constexpr std::uint16_t personal_home_page = 0x3A50;
constexpr std::uint16_t business_home_page = 0x3A51;
constexpr std::uint16_t company_phone = 0x3A57;
constexpr std::uint16_t children = 0x3A58;

}  // namespace trfilter::mapi::id

/// Named properties, by their property sets.
namespace trfilter::mapi::named {

/// A property set of Outlook items: they differ in the first bytes alone.
constexpr Guid item_set(unsigned char number) {
  return {number, 0x20, 0x06, 0, 0, 0, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46};
}
constexpr Guid appointment_set = item_set(0x02);
constexpr Guid task_set = item_set(0x03);
constexpr Guid address_set = item_set(0x04);
constexpr Guid log_set = item_set(0x0A);
constexpr Guid public_strings = {0x29, 0x03, 0x02, 0, 0, 0, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46};

constexpr NamedProperty home_address{address_set, 0x801A, {}};
constexpr NamedProperty work_address{address_set, 0x801B, {}};
constexpr NamedProperty other_address{address_set, 0x801C, {}};
constexpr NamedProperty web_page{address_set, 0x802B, {}};
constexpr NamedProperty list_members{address_set, 0x8054, {}};
constexpr NamedProperty instant_messaging{address_set, 0x8062, {}};
constexpr std::uint32_t first_email = 0x8080;      ///< of three, 0x10 apart; display name there ...
constexpr std::uint32_t email_address_offset = 3;  ///< ... and the address behind it

constexpr NamedProperty appointment_location{appointment_set, 0x8208, {}};
constexpr NamedProperty appointment_start{appointment_set, 0x820D, {}};
constexpr NamedProperty appointment_end{appointment_set, 0x820E, {}};
constexpr NamedProperty recurrence_pattern{appointment_set, 0x8232, {}};

constexpr NamedProperty task_status{task_set, 0x8101, {}};
constexpr NamedProperty percent_complete{task_set, 0x8102, {}};
constexpr NamedProperty task_start{task_set, 0x8104, {}};
constexpr NamedProperty task_due{task_set, 0x8105, {}};
constexpr NamedProperty task_completed{task_set, 0x810F, {}};
constexpr NamedProperty task_owner{task_set, 0x811F, {}};

constexpr NamedProperty log_type{log_set, 0x8700, {}};
constexpr NamedProperty log_start{log_set, 0x8706, {}};
constexpr NamedProperty log_end{log_set, 0x8708, {}};

constexpr NamedProperty keywords{public_strings, 0, "Keywords"};

}  // namespace trfilter::mapi::named
