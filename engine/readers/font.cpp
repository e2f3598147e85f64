// Fonts: what they are called and who made them. OpenType and TrueType with collections
// (ISO/IEC 14496-22, the name table), Type 1 (Adobe Type 1 Font Format) through FreeType.
//
// There is no text. Of a collection each font gives its names.
//
// Bounds: of the tables only the names are read, 8 KiB of each. A font of Type 1 is read up to 4
// MiB: the library is not to be stopped while it does.

#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_TYPE1_TABLES_H

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

#include "engine/core/fields.h"
#include "engine/core/property_names.h"
#include "engine/core/reader.h"
#include "engine/core/utf8.h"

namespace trfilter {
namespace {

constexpr std::uint32_t most_faces = 256;  // of one collection
constexpr std::size_t most_name_bytes = std::size_t{8} << 10;
constexpr std::size_t most_type_1_bytes = std::size_t{4} << 20;

struct CloseLibrary {
  void operator()(FT_Library library) const { FT_Done_FreeType(library); }
};
struct CloseFace {
  void operator()(FT_Face face) const { FT_Done_Face(face); }
};
using Library = std::unique_ptr<std::remove_pointer_t<FT_Library>, CloseLibrary>;
using Face = std::unique_ptr<std::remove_pointer_t<FT_Face>, CloseFace>;

struct Row {
  std::uint32_t name_id;
  std::string_view property;
};

constexpr std::uint32_t family_id = 1;
constexpr std::uint32_t full_name_id = 4;
constexpr std::uint32_t typographic_family_id = 16;

constexpr auto rows = std::to_array<Row>({
    {full_name_id, property::title},
    {5, property::version},
    {8, property::company},
    {9, property::author},
    {10, property::comments},
    {0, property::copyright},
    {3, property::identifier},
});

/// The table of this name, of the font whose directory is at `font`; nothing without it.
std::optional<std::string_view> table_of(std::string_view file, std::size_t font,
                                         std::string_view name) {
  constexpr std::size_t head_size = 12;
  constexpr std::size_t row_size = 16;
  const std::uint32_t count = be16(file, font + 4);
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::size_t at = font + head_size + i * row_size;
    if (!has(file, at, row_size)) return std::nullopt;
    if (file.substr(at, name.size()) != name) continue;
    const std::size_t offset = be32(file, at + 8);
    if (offset > file.size()) return std::nullopt;
    return file.substr(offset, be32(file, at + 12));
  }
  return std::nullopt;
}

/// The names of a font, each in the language that speaks best for it: English of the Unicode
/// platforms, then any of them, then the oldest platform's Latin letters.
class Names {
 public:
  Names(std::string_view table, const Limits& limits) {
    constexpr std::size_t head_size = 6;
    constexpr std::size_t record_size = 12;
    constexpr std::uint32_t records_between_checks = 1024;
    const std::uint32_t count = be16(table, 2);
    const std::size_t texts = be16(table, 4);
    for (std::uint32_t i = 0; i < count; ++i) {
      if (i % records_between_checks == 0) limits.check_time();
      const std::size_t at = head_size + i * record_size;
      if (!has(table, at, record_size)) return;
      const std::uint32_t id = be16(table, at + 6);
      const std::size_t length = be16(table, at + 8);
      const std::size_t offset = texts + be16(table, at + 10);
      if (id >= best_.size() || length == 0 || !has(table, offset, length)) continue;
      const std::uint32_t platform = be16(table, at);
      const int rank = rank_of(platform, be16(table, at + 4));
      if (rank > best_[id].rank) {
        best_[id] = {rank, is_utf16(platform),
                     table.substr(offset, std::min(length, most_name_bytes))};
      }
    }
  }

  std::string find(std::uint32_t id) const {
    const Name& name = best_[id];
    std::string text;
    if (name.utf16) {
      std::u16string units;
      for (std::size_t at = 0; at + 1 < name.bytes.size(); at += 2) {
        units += static_cast<char16_t>(be16(name.bytes, at));
      }
      text = utf16_to_utf8(units);
    } else {
      for (const char c : name.bytes) append_utf8(text, static_cast<unsigned char>(c));
    }
    std::erase(text, '\0');
    return text;
  }

 private:
  struct Name {
    int rank = 0;
    bool utf16 = false;
    std::string_view bytes;
  };

  static constexpr std::uint32_t unicode = 0;
  static constexpr std::uint32_t windows = 3;

  static bool is_utf16(std::uint32_t platform) {
    return platform == windows || platform == unicode;
  }

  static int rank_of(std::uint32_t platform, std::uint32_t language) {
    constexpr std::uint32_t english = 0x409;
    if (platform == windows && language == english) return 3;
    return is_utf16(platform) ? 2 : 1;
  }

  std::array<Name, typographic_family_id + 1> best_{};
};

class FontReader final : public Reader {
 public:
  explicit FontReader(const ReaderContext& context) : context_(context) {}

  bool step(TextSink& /*sink*/) override {
    throw EngineError(Code::unsupported_format, "a font has no text");
  }

  void properties(Properties& properties) override {
    const std::string_view file = context_.document.bytes();
    if (file.starts_with("%!") || file.starts_with('\x80')) return add_type_1(file, properties);
    if (!file.starts_with("ttcf")) {
      if (!add_names(file, 0, properties)) damaged();
      return;
    }
    constexpr std::size_t offsets_at = 12;
    const std::uint32_t fonts = std::min(be32(file, 8), most_faces);
    bool found = false;
    for (std::uint32_t i = 0; i < fonts && has(file, offsets_at + std::size_t{4} * i, 4); ++i) {
      found = add_names(file, be32(file, offsets_at + std::size_t{4} * i), properties) || found;
    }
    if (!found) damaged();
  }

 private:
  [[noreturn]] static void damaged() {
    throw EngineError(Code::corrupt, "the font cannot be read");
  }

  /// @return whether there is a font; one that is embedded in a document may have no names
  bool add_names(std::string_view file, std::size_t font, Properties& properties) const {
    const auto table = table_of(file, font, "name");
    if (!table) return table_of(file, font, "head") || table_of(file, font, "CFF ");
    const Names names(*table, context_.limits);
    for (const Row& row : rows) properties.add(row.property, names.find(row.name_id));
    if (names.find(full_name_id).empty()) {
      std::string family = names.find(typographic_family_id);
      properties.add(property::title, family.empty() ? names.find(family_id) : std::move(family));
    }
    return true;
  }

  void add_type_1(std::string_view file, Properties& properties) const {
    context_.limits.check_time();
    file = file.substr(0, most_type_1_bytes);
    FT_Library library_handle = nullptr;
    if (FT_Init_FreeType(&library_handle) != 0) {
      throw EngineError(Code::out_of_memory, "the font library cannot be started");
    }
    const Library library(library_handle);
    FT_Face face_handle = nullptr;
    const FT_Error failed =
        FT_New_Memory_Face(library.get(), reinterpret_cast<const FT_Byte*>(file.data()),
                           static_cast<FT_Long>(file.size()), 0, &face_handle);
    const Face face(failed == 0 ? face_handle : nullptr);
    PS_FontInfoRec facts;
    if (!face || FT_Get_PS_Font_Info(face.get(), &facts) != 0) damaged();
    const auto add = [&](std::string_view name, const char* text) {
      if (text != nullptr) properties.add(name, std::string(text));
    };
    add(property::title, facts.full_name);
    add(property::version, facts.version);
    add(property::copyright, facts.notice);
    context_.limits.check_time();
  }

  const ReaderContext context_;
};

}  // namespace
}  // namespace trfilter

TRFILTER_READER(font, trfilter::FontReader)
