#pragma once

#include <cstdint>
#include <string_view>

namespace trfilter {

/// What an element's name says of how its text is read, in whatever vocabulary.
enum class XmlRole : std::uint8_t {
  unknown,    ///< shows from its place: see XmlText
  block,      ///< a paragraph or a group of them
  inline_,    ///< a part of the text around it
  row,        ///< a row of a table
  cell,       ///< a cell of a table
  line_end,   ///< ends a line
  preserved,  ///< a paragraph whose white space is kept
};

/// The role of an element by its local name, in whatever case: the names that publishing
/// vocabularies (DocBook, JATS, DITA, TEI, TTML, XLIFF and their like) share.
XmlRole xml_role_of(std::string_view local_name);

/// The same for the vocabulary of Word 2003.
XmlRole word_2003_role_of(std::string_view local_name);

/// Whether an element of Office 2003's vocabularies holds no text: settings, pictures, properties.
bool is_office_2003_data(std::string_view local_name, std::string_view uri);

/// Whether an attribute in no namespace is written to be read: "alt", "title" and their like.
bool is_readable_attribute(std::string_view name);

namespace xml_namespace {
constexpr std::string_view xml = "http://www.w3.org/XML/1998/namespace";
constexpr std::string_view xhtml = "http://www.w3.org/1999/xhtml";
constexpr std::string_view svg = "http://www.w3.org/2000/svg";
constexpr std::string_view mathml = "http://www.w3.org/1998/Math/MathML";
constexpr std::string_view atom = "http://www.w3.org/2005/Atom";
constexpr std::string_view rss_content = "http://purl.org/rss/1.0/modules/content/";
constexpr std::string_view xbrl_instance = "http://www.xbrl.org/2003/instance";
/// WordprocessingML of Word 2003, and what all Office 2003 documents share.
constexpr std::string_view word_2003 = "http://schemas.microsoft.com/office/word/2003/wordml";
constexpr std::string_view office_2003 = "urn:schemas-microsoft-com:office:office";
constexpr std::string_view dublin_core = "http://purl.org/dc/elements/1.1/";
}  // namespace xml_namespace

}  // namespace trfilter
