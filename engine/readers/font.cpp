// Fonts: what they are called and who made them, through FreeType. OpenType and TrueType with
// collections (ISO/IEC 14496-22, the name table), Type 1 (Adobe Type 1 Font Format).
//
// There is no text. Of a collection each font gives its names.

#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_SFNT_NAMES_H
#include FT_TRUETYPE_IDS_H
#include FT_TYPE1_TABLES_H

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <type_traits>

#include "engine/core/property_names.h"
#include "engine/core/reader.h"
#include "engine/core/utf8.h"

namespace trfilter {
namespace {

constexpr FT_Long most_faces = 256;  // of one collection

struct CloseLibrary {
  void operator()(FT_Library library) const { FT_Done_FreeType(library); }
};
struct CloseFace {
  void operator()(FT_Face face) const { FT_Done_Face(face); }
};
using Library = std::unique_ptr<std::remove_pointer_t<FT_Library>, CloseLibrary>;
using Face = std::unique_ptr<std::remove_pointer_t<FT_Face>, CloseFace>;

struct Row {
  FT_UShort name_id;
  std::string_view property;
};

constexpr auto rows = std::to_array<Row>({
    {TT_NAME_ID_FULL_NAME, property::title},
    {TT_NAME_ID_VERSION_STRING, property::version},
    {TT_NAME_ID_MANUFACTURER, property::company},
    {TT_NAME_ID_DESIGNER, property::author},
    {TT_NAME_ID_DESCRIPTION, property::comments},
    {TT_NAME_ID_COPYRIGHT, property::copyright},
    {TT_NAME_ID_UNIQUE_ID, property::identifier},
});

/// The names of a face, each in the language that speaks best for it: English of the Unicode
/// platforms, then any of them, then the oldest platform's Latin letters.
class Names {
 public:
  explicit Names(FT_Face face) : face_(face) {}

  std::string find(FT_UShort id) const {
    std::string best;
    int best_rank = 0;
    for (FT_UInt i = 0; i < FT_Get_Sfnt_Name_Count(face_); ++i) {
      FT_SfntName name;
      if (FT_Get_Sfnt_Name(face_, i, &name) != 0 || name.name_id != id) continue;
      const int rank = rank_of(name);
      if (rank <= best_rank) continue;
      best_rank = rank;
      best = text_of(name);
    }
    return best;
  }

 private:
  static bool is_utf16(const FT_SfntName& name) {
    return name.platform_id == TT_PLATFORM_MICROSOFT ||
           name.platform_id == TT_PLATFORM_APPLE_UNICODE;
  }

  static int rank_of(const FT_SfntName& name) {
    const bool english = name.platform_id == TT_PLATFORM_MICROSOFT &&
                         name.language_id == TT_MS_LANGID_ENGLISH_UNITED_STATES;
    if (english) return 3;
    return is_utf16(name) ? 2 : 1;
  }

  static std::string text_of(const FT_SfntName& name) {
    const std::string_view bytes(reinterpret_cast<const char*>(name.string), name.string_len);
    std::string text;
    if (is_utf16(name)) {
      std::u16string units;
      for (std::size_t at = 0; at + 1 < bytes.size(); at += 2) {
        const auto high = static_cast<unsigned char>(bytes[at]);
        const auto low = static_cast<unsigned char>(bytes[at + 1]);
        units += static_cast<char16_t>(high << 8 | low);
      }
      text = utf16_to_utf8(units);
    } else {
      for (const char c : bytes) append_utf8(text, static_cast<unsigned char>(c));
    }
    std::erase(text, '\0');
    return text;
  }

  FT_Face face_;
};

class FontReader final : public Reader {
 public:
  explicit FontReader(const ReaderContext& context) : context_(context) {}

  bool step(TextSink& /*sink*/) override {
    throw EngineError(Code::unsupported_format, "a font has no text");
  }

  void properties(Properties& properties) override {
    FT_Library handle = nullptr;
    if (FT_Init_FreeType(&handle) != 0) {
      throw EngineError(Code::out_of_memory, "the font library cannot be started");
    }
    const Library library(handle);
    const Face first = open(library.get(), 0);
    if (!first) throw EngineError(Code::corrupt, "the font cannot be read");
    add_names(first.get(), properties);
    const FT_Long faces = std::min(first->num_faces, most_faces);
    for (FT_Long number = 1; number < faces; ++number) {
      context_.limits.check_time();
      if (const Face face = open(library.get(), number)) add_names(face.get(), properties);
    }
  }

 private:
  Face open(FT_Library library, FT_Long number) const {
    const std::string_view bytes = context_.document.bytes();
    FT_Face face = nullptr;
    const FT_Error failed =
        FT_New_Memory_Face(library, reinterpret_cast<const FT_Byte*>(bytes.data()),
                           static_cast<FT_Long>(bytes.size()), number, &face);
    return Face(failed == 0 ? face : nullptr);
  }

  static void add_names(FT_Face face, Properties& properties) {
    const auto add = [&](std::string_view name, const char* text) {
      if (text != nullptr) properties.add(std::string(name), std::string(text));
    };
    PS_FontInfoRec type_1;
    if (FT_Get_PS_Font_Info(face, &type_1) == 0) {
      add(property::title, type_1.full_name);
      add(property::version, type_1.version);
      add(property::copyright, type_1.notice);
      return;
    }
    const Names names(face);
    std::string title = names.find(TT_NAME_ID_FULL_NAME);
    for (const Row& row : rows) {
      properties.add(std::string(row.property), names.find(row.name_id));
    }
    if (title.empty()) add(property::title, face->family_name);
  }

  const ReaderContext context_;
};

}  // namespace
}  // namespace trfilter

TRFILTER_READER(font, trfilter::FontReader)
