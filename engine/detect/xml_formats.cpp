// What begins with a tag: XML by its root element and namespace, HTML and SGML. The prolog is read
// by the rules of XML 1.0 (declaration, processing instructions, comments, document type), loosely,
// as HTML pages have it too.

#include <array>
#include <string>

#include "engine/core/fields.h"
#include "engine/detect/families.h"
#include "engine/detect/text_kinds.h"

namespace trfilter::detection {
namespace {

constexpr std::string_view white_space = " \t\r\n\f";
constexpr std::string_view xhtml_namespace = "http://www.w3.org/1999/xhtml";

bool same_text(std::string_view left, std::string_view lower) {
  if (left.size() != lower.size()) return false;
  for (std::size_t i = 0; i < left.size(); ++i) {
    const char c = left[i];
    if ((c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c) != lower[i]) return false;
  }
  return true;
}

/// What stands before the root element, and its start tag.
struct Prolog {
  bool declared = false;           ///< has an XML declaration
  std::string_view application;    ///< of the mso-application instruction
  std::string_view document_type;  ///< the whole declaration, without its internal subset
  std::string_view document_type_name;
  std::string_view root;        ///< its name with its prefix
  std::string_view attributes;  ///< of the root
  std::string_view after;       ///< what follows the root's start tag
  bool root_closed = false;     ///< the start tag ends within the text
};

std::string_view name_at(std::string_view text) {
  std::size_t end = 0;
  while (end < text.size()) {
    const char c = text[end];
    const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == ':' ||
                        static_cast<unsigned char>(c) >= 0x80;
    const bool inner = (c >= '0' && c <= '9') || c == '-' || c == '.';
    if (!letter && !(inner && end > 0)) break;
    ++end;
  }
  return text.substr(0, end);
}

/// Where a tag that begins at `text` ends, quotes respected; npos when it is cut.
std::size_t end_of_tag(std::string_view text) {
  char quote = '\0';
  for (std::size_t at = 0; at < text.size(); ++at) {
    const char c = text[at];
    if (quote != '\0') {
      if (c == quote) quote = '\0';
    } else if (c == '"' || c == '\'') {
      quote = c;
    } else if (c == '>') {
      return at;
    }
  }
  return npos;
}

/// Reads the declaration that `text` begins with; advances it.
void take_document_type(std::string_view& text, Prolog& prolog) {
  constexpr std::size_t keyword = 9;
  const std::size_t bracket = text.find('[');
  const std::size_t angle = end_of_tag(text);
  if (bracket != npos && (angle == npos || bracket < angle)) {
    prolog.document_type = text.substr(0, bracket);
    const std::size_t end = text.find(']', bracket);
    const std::size_t close = end == npos ? end : text.find('>', end);
    text = close == npos ? std::string_view() : text.substr(close + 1);
  } else {
    prolog.document_type = text.substr(0, angle);
    text = angle == npos ? std::string_view() : text.substr(angle + 1);
  }
  std::string_view name = prolog.document_type.substr(keyword);
  name.remove_prefix(std::min(name.find_first_not_of(white_space), name.size()));
  prolog.document_type_name = name_at(name);
}

Prolog read_prolog(std::string_view text) {
  Prolog prolog;
  while (!text.empty()) {
    text.remove_prefix(std::min(text.find_first_not_of(white_space), text.size()));
    if (text.starts_with("<?")) {
      const std::size_t end = std::min(text.find('>'), text.size());
      const std::string_view instruction = text.substr(0, end);
      if (instruction.starts_with("<?xml") && instruction.size() > 5 &&
          white_space.find(instruction[5]) != npos) {
        prolog.declared = true;
      }
      if (instruction.starts_with("<?mso-application")) prolog.application = instruction;
      text.remove_prefix(std::min(end + 1, text.size()));
    } else if (text.starts_with("<!--")) {
      const std::size_t end = text.find("-->", 4);
      text = end == npos ? std::string_view() : text.substr(end + 3);
    } else if (text.size() >= 9 && prolog.document_type.empty() &&
               same_text(text.substr(0, 9), "<!doctype")) {
      take_document_type(text, prolog);
    } else if (text.starts_with('<')) {
      text.remove_prefix(1);
      prolog.root = name_at(text);
      text.remove_prefix(prolog.root.size());
      const std::size_t end = end_of_tag(text);
      prolog.attributes = text.substr(0, end);
      prolog.root_closed = end != npos;
      if (prolog.root_closed) prolog.after = text.substr(end + 1);
      break;
    } else {
      break;
    }
  }
  return prolog;
}

/// The value of an attribute by its full name; empty without it.
std::string_view attribute(std::string_view attributes, std::string_view name) {
  for (std::size_t at = attributes.find(name); at != npos; at = attributes.find(name, at + 1)) {
    if (at == 0 || white_space.find(attributes[at - 1]) == npos) continue;
    std::string_view rest = attributes.substr(at + name.size());
    rest.remove_prefix(std::min(rest.find_first_not_of(white_space), rest.size()));
    if (!rest.starts_with('=')) continue;
    rest.remove_prefix(1);
    rest.remove_prefix(std::min(rest.find_first_not_of(white_space), rest.size()));
    if (!rest.starts_with('"') && !rest.starts_with('\'')) continue;
    const std::size_t end = rest.find(rest.front(), 1);
    return rest.substr(1, end == npos ? end : end - 1);
  }
  return {};
}

struct RootElement {
  std::string_view name;            ///< local name; empty: any
  std::string_view namespace_name;  ///< what the namespace begins with; empty: any
  Format format;
};

constexpr std::array roots{
    RootElement{"wordDocument", "http://schemas.microsoft.com/office/word/2003/wordml",
                Format::word_2003_xml},
    RootElement{"Workbook", "urn:schemas-microsoft-com:office:spreadsheet", Format::excel_2003_xml},
    RootElement{"VisioDocument", "http://schemas.microsoft.com/visio/2003/core",
                Format::visio_2003_xml},
    RootElement{"VisioDocument", "urn:schemas-microsoft-com:office:visio", Format::visio_2003_xml},
    RootElement{"", "http://www.lotus.com/dxl", Format::dxl},
    RootElement{"XFDL", "", Format::xfdl},
    RootElement{"opml", "", Format::opml},
    RootElement{"outline", "http://www.omnigroup.com/namespace/OmniOutliner",
                Format::omni_outliner},
};

/// A property list; some applications keep their documents in one.
Detection identify_property_list(const Prolog& prolog) {
  if (contains(prolog.after, "<key>GraphDocumentVersion</key>")) return found(Format::omni_graffle);
  if (contains(prolog.after, "<key>OutlineTitle</key>")) return found(Format::ooutline);
  return found(Format::xml_plist, Detection::version_of(1));
}

/// A flat OpenDocument file says what it is in an attribute.
Detection identify_flat_open_document(const Prolog& prolog, std::string_view prefix) {
  const std::string name = std::string(prefix) + "mimetype";
  const std::string_view type = attribute(prolog.attributes, name);
  constexpr std::string_view open_document = "application/vnd.oasis.opendocument.";
  const std::string_view kind =
      type.starts_with(open_document) ? type.substr(open_document.size()) : std::string_view();
  if (kind.starts_with("text")) return found(Format::odf_text);
  if (kind.starts_with("spreadsheet")) return found(Format::odf_spreadsheet);
  if (kind.starts_with("presentation")) return found(Format::odf_presentation);
  if (kind.starts_with("graphics")) return found(Format::odf_drawing);
  return found(Format::xml, Detection::version_of(1));
}

/// Whether what has neither declaration nor document type is XML: the root is closed somewhere, or
/// names a namespace, and its attributes are quoted.
bool is_undeclared_xml(const Prolog& prolog) {
  if (!prolog.root_closed) return false;
  for (std::size_t at = prolog.attributes.find('='); at != npos;
       at = prolog.attributes.find('=', at + 1)) {
    const std::size_t value = prolog.attributes.find_first_not_of(white_space, at + 1);
    if (value == npos) return false;
    const char quote = prolog.attributes[value];
    if (quote != '"' && quote != '\'') return false;
    at = prolog.attributes.find(quote, value + 1);
    if (at == npos) return false;
  }
  if (contains(prolog.attributes, "xmlns")) return true;
  if (prolog.attributes.ends_with('/')) return prolog.after.find_first_not_of(white_space) == npos;
  const std::string close = "</" + std::string(prolog.root);
  return contains(prolog.after, close) || prolog.after.find("</") != npos;
}

Detection identify_html(const Prolog& prolog, bool in_namespace) {
  const std::string_view type = prolog.document_type;
  if (in_namespace && (prolog.declared || contains(type, "XHTML") || type.empty())) {
    return found(Format::xhtml);
  }
  if (contains(type, "NETSCAPE-Bookmark")) return found(Format::netscape_bookmarks);
  std::uint32_t major = 0;
  std::uint32_t minor = 0;
  if (const std::size_t at = type.find("DTD HTML "); at != npos) {
    major = byte_at(type, at + 9) - '0';
    if (byte_at(type, at + 10) == '.') minor = byte_at(type, at + 11) - '0';
  } else if (!type.empty() && !contains(type, "PUBLIC") && !contains(type, "public")) {
    major = 5;
  }
  if (major > 9 || minor > 9) major = minor = 0;
  return found(Format::html, Detection::version_of(major, minor));
}

}  // namespace

Detection identify_xml(const TextHead& text) {
  const std::string_view begin = text.begin();
  if (!begin.starts_with('<')) return {};
  if (begin.size() >= 6 && same_text(begin.substr(0, 6), "<!sgml")) return found(Format::sgml);
  const Prolog prolog = read_prolog(begin);
  const std::size_t colon = prolog.root.find(':');
  const bool prefixed = colon != npos;
  const std::string_view local = prefixed ? prolog.root.substr(colon + 1) : prolog.root;
  const std::string prefix(prefixed ? prolog.root.substr(0, colon + 1) : std::string_view());
  const std::string declaration =
      prefixed ? "xmlns:" + std::string(prolog.root.substr(0, colon)) : std::string("xmlns");
  const std::string_view space = attribute(prolog.attributes, declaration);

  const std::string_view type_name = prolog.document_type_name;
  const bool html_type = same_text(type_name, "html") || contains(type_name, "NETSCAPE-Bookmark");
  if (html_type || same_text(local, "html")) {
    if (prolog.declared && !html_type && space != xhtml_namespace && !space.empty()) {
      return found(Format::xml, Detection::version_of(1));
    }
    return identify_html(prolog, space == xhtml_namespace);
  }
  for (const RootElement& row : roots) {
    if (!row.name.empty() && row.name != local) continue;
    if (!space.starts_with(row.namespace_name)) continue;
    return found(row.format);
  }
  if (local == "plist" && (prolog.declared || !prolog.document_type.empty())) {
    return identify_property_list(prolog);
  }
  if (local == "document" && space == "urn:oasis:names:tc:opendocument:xmlns:office:1.0") {
    return identify_flat_open_document(prolog, prefix);
  }
  if (prolog.declared) {
    if (contains(prolog.application, "Word.Document") && space.empty()) {
      return found(Format::word_2003_xml);
    }
    return found(Format::xml, Detection::version_of(1));
  }
  if (!type_name.empty()) {
    // A public identifier without a system identifier is SGML's alone.
    const bool is_public = contains(prolog.document_type, "PUBLIC");
    std::size_t quotes = 0;
    for (const char c : prolog.document_type) quotes += c == '"' || c == '\'' ? 1 : 0;
    return is_public && quotes <= 2 ? found(Format::sgml)
                                    : found(Format::xml, Detection::version_of(1));
  }
  if (is_html_tag(prolog.root) && space.empty()) {
    // One tag may be a line of text about tags; a page goes on with more.
    const std::size_t next = prolog.after.find('<');
    const bool surely = same_text(local, "head") || same_text(local, "body") ||
                        same_text(local, "script") || same_text(local, "style") ||
                        same_text(local, "meta");
    if (prolog.root_closed && (surely || next != npos)) return found(Format::html);
    return {};
  }
  if (!prolog.root.empty() && is_undeclared_xml(prolog)) return found(Format::xml);
  return {};
}

}  // namespace trfilter::detection
