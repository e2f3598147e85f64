#include "engine/readers/mail_names.h"

#include <algorithm>
#include <array>

#include "engine/mail/mail_charset.h"
#include "engine/mail/transfer_encoding.h"

namespace trfilter::mail {
namespace {

constexpr std::size_t longest_file_name = 120;

struct Extension {
  std::string_view media_type;
  std::string_view extension;
};
constexpr std::array extensions{
    Extension{"application/gzip", "gz"},
    Extension{"application/json", "json"},
    Extension{"application/ms-tnef", "dat"},
    Extension{"application/msword", "doc"},
    Extension{"application/pdf", "pdf"},
    Extension{"application/pgp-encrypted", "asc"},
    Extension{"application/pgp-keys", "asc"},
    Extension{"application/pgp-signature", "asc"},
    Extension{"application/pkcs7-mime", "p7m"},
    Extension{"application/pkcs7-signature", "p7s"},
    Extension{"application/postscript", "ps"},
    Extension{"application/rtf", "rtf"},
    Extension{"application/vnd.ms-excel", "xls"},
    Extension{"application/vnd.ms-powerpoint", "ppt"},
    Extension{"application/vnd.oasis.opendocument.presentation", "odp"},
    Extension{"application/vnd.oasis.opendocument.spreadsheet", "ods"},
    Extension{"application/vnd.oasis.opendocument.text", "odt"},
    Extension{"application/vnd.openxmlformats-officedocument.presentationml.presentation", "pptx"},
    Extension{"application/vnd.openxmlformats-officedocument.spreadsheetml.sheet", "xlsx"},
    Extension{"application/vnd.openxmlformats-officedocument.wordprocessingml.document", "docx"},
    Extension{"application/x-gzip", "gz"},
    Extension{"application/x-javascript", "js"},
    Extension{"application/x-pkcs7-mime", "p7m"},
    Extension{"application/x-pkcs7-signature", "p7s"},
    Extension{"application/x-tar", "tar"},
    Extension{"application/x-zip-compressed", "zip"},
    Extension{"application/xml", "xml"},
    Extension{"application/zip", "zip"},
    Extension{"audio/mpeg", "mp3"},
    Extension{"audio/wav", "wav"},
    Extension{"image/bmp", "bmp"},
    Extension{"image/gif", "gif"},
    Extension{"image/jpeg", "jpg"},
    Extension{"image/jpg", "jpg"},
    Extension{"image/png", "png"},
    Extension{"image/svg+xml", "svg"},
    Extension{"image/tiff", "tif"},
    Extension{"image/webp", "webp"},
    Extension{"message/delivery-status", "txt"},
    Extension{"message/disposition-notification", "txt"},
    Extension{"text/calendar", "ics"},
    Extension{"text/css", "css"},
    Extension{"text/csv", "csv"},
    Extension{"text/directory", "vcf"},
    Extension{"text/html", "html"},
    Extension{"text/javascript", "js"},
    Extension{"text/plain", "txt"},
    Extension{"text/rfc822-headers", "txt"},
    Extension{"text/rtf", "rtf"},
    Extension{"text/vcard", "vcf"},
    Extension{"text/x-vcard", "vcf"},
    Extension{"text/xml", "xml"},
    Extension{"video/mp4", "mp4"},
};

}  // namespace

std::string_view extension_of(std::string_view media_type) {
  const auto row = std::ranges::find(extensions, media_type, &Extension::media_type);
  return row == extensions.end() ? std::string_view("bin") : row->extension;
}

std::string without_folders(std::string_view path) {
  return std::string(path.substr(path.find_last_of("/\\") + 1));
}

std::string name_of_location(std::string_view location) {
  location = location.substr(0, location.find_first_of("?#"));
  const std::size_t slash = location.find_last_of("/\\");
  if (slash != std::string_view::npos) location.remove_prefix(slash + 1);
  if (const std::size_t colon = location.rfind(':'); colon != std::string_view::npos) {
    location.remove_prefix(colon + 1);
  }
  return decode_mail_text(decode_percent(location), {}, Options{});
}

std::string file_name_of(std::string_view text) {
  std::string name;
  for (const char c : text) {
    const bool bad = static_cast<unsigned char>(c) < ' ' || c == '\x7F' || c == '/' || c == '\\';
    name.push_back(bad ? '_' : c);
    if (name.size() > longest_file_name * 4) break;
  }
  if (name.size() > longest_file_name) {
    // Cut between characters, the ending kept.
    std::string ending;
    const std::size_t dot = name.rfind('.');
    if (dot != std::string::npos && name.size() - dot <= 8) ending = name.substr(dot);
    std::size_t cut = longest_file_name - ending.size();
    while (cut > 0 && (static_cast<unsigned char>(name[cut]) & 0xC0) == 0x80) --cut;
    name.resize(cut);
    name += ending;
  }
  name.erase(0, name.find_first_not_of(' '));
  name.erase(name.find_last_not_of(' ') + 1);
  if (name == "." || name == "..") name.clear();
  return name;
}

}  // namespace trfilter::mail
