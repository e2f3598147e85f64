#include "engine/core/media_extension.h"

#include <array>

#include "engine/core/fields.h"

namespace trfilter {
namespace {

struct Signature {
  std::size_t offset;
  std::string_view bytes;
  std::string_view extension;
};

constexpr auto signatures = std::to_array<Signature>({
    {0, "\x89PNG", ".png"},
    {0, "\xFF\xD8\xFF", ".jpg"},
    {0, "GIF8", ".gif"},
    {0, "BM", ".bmp"},
    {40, " EMF", ".emf"},
    {0, literal("\xD7\xCD\xC6\x9A"), ".wmf"},
    {0, literal("\x01\x00\x09\x00"), ".wmf"},
    {0, literal("II*\0"), ".tif"},
    {0, literal("MM\0*"), ".tif"},
    {8, "WEBP", ".webp"},
    {8, "WAVE", ".wav"},
    {0, "VCLMTF", ".svm"},
    {0, "%PDF", ".pdf"},
    {0, "%!PS", ".eps"},
    {0, "<svg", ".svg"},
    {0, literal("PK\x03\x04"), ".zip"},
    {0, "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1", ".ole"},
    {0, literal("\0\1\0\0"), ".ttf"},
    {0, "OTTO", ".otf"},
    {0, "wOFF", ".woff"},
    {0, "ID3", ".mp3"},
    {4, "ftyp", ".mp4"},
});

}  // namespace

std::string_view media_extension(std::string_view head) {
  for (const Signature& signature : signatures) {
    if (matches(head, signature.offset, signature.bytes)) return signature.extension;
  }
  return {};
}

}  // namespace trfilter
