#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tests/engine/office_encryption.h"

namespace trfilter::test {

/// A record of a binary presentation or of Office Art ([MS-PPT] 2.3.1): an atom, or a container.
std::string atom(std::uint16_t type, std::string_view data, unsigned instance = 0);
std::string container(std::uint16_t type, std::string_view records, unsigned instance = 0);

/// A text with its header, of UTF-16 or of bytes.
std::string text_atoms(std::u16string_view text);
std::string byte_text_atoms(std::string_view text);
/// CString.
std::string string_atom(std::u16string_view text, unsigned instance);

/// A shape ([MS-ODRAW] 2.2.14).
/// @param text         records of its text box; empty: it has none
/// @param placeholder  PlaceholderEnum; 0: none
/// @param more         further records
std::string shape(std::string_view text, unsigned placeholder = 0, std::string_view more = "");
std::string shape_group(std::string_view shapes, std::string_view properties = "");
/// A table of properties without data behind it: identifiers with values.
std::string shape_properties(std::uint16_t type,
                             const std::vector<std::pair<unsigned, std::uint32_t>>& entries);
std::string drawing(std::string_view shapes);

/// One slide of a presentation.
struct SlideRecords {
  std::string records;  ///< of the container, besides its SlideAtom
  std::string texts;    ///< in the list of slides
  std::string notes;    ///< records of its notes; empty: it has none
  bool master = true;   ///< whether it has the presentation's master
};

/// Builds presentations of the format of 1997.
class PresentationWriter {
 public:
  /// Adds a slide behind the others.
  PresentationWriter& add(SlideRecords slide);
  /// Records of the document container, besides the lists of slides.
  PresentationWriter& document(std::string_view records);
  PresentationWriter& master(std::string_view records);
  /// Adds an object by itself. @return its identifier
  std::uint32_t add_object(std::string_view record);

  /// Encrypts the objects, from here on ([MS-PPT] 2.3.7); null: they are not.
  PresentationWriter& encrypt(const Rc4Encryption* encryption);

  std::string stream() const;
  std::string current_user() const;
  /// The compound file.
  std::string bytes() const;

 private:
  std::vector<std::string> objects() const;

  std::vector<SlideRecords> slides_;
  std::string document_;
  std::string master_;
  std::vector<std::string> more_objects_;
  const Rc4Encryption* encryption_ = nullptr;
};

}  // namespace trfilter::test
