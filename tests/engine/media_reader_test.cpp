#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "engine/core/engine_error.h"
#include "engine/core/property_names.h"
#include "tests/engine/read_document.h"

// Pictures, sound and fonts: samples/make/media.py tells what the samples hold.

namespace trfilter {
namespace {

using test::extract_member;
using test::list_members;
using test::read_document;
using test::read_properties;
using test::source_file;

constexpr int no_text = 7;
constexpr int corrupt = 4;

struct Media {
  const char* sample;
  Format format;
};

const std::vector<Media> all = {
    {"samples/photo.jpg", Format::jpeg},      {"samples/tone.flac", Format::flac},
    {"samples/tone.mp3", Format::mpeg_audio}, {"samples/letters.ttf", Format::truetype},
    {"samples/film.mkv", Format::matroska},   {"samples/film.avi", Format::avi}};

const PropertyValue* value_of(const Properties& properties, std::string_view name) {
  for (const auto& item : properties.items()) {
    if (item.name == name) return &item.value;
  }
  return nullptr;
}

std::string text_of(const Properties& properties, std::string_view name) {
  const auto* value = value_of(properties, name);
  const auto* text = value == nullptr ? nullptr : std::get_if<std::string>(value);
  return text == nullptr ? "" : *text;
}

double number_of(const Properties& properties, std::string_view name) {
  const auto* value = value_of(properties, name);
  if (value == nullptr) return -1;
  if (const auto* integer = std::get_if<std::int32_t>(value)) return *integer;
  const auto* number = std::get_if<double>(value);
  return number == nullptr ? -1 : *number;
}

TEST(ImageReader, GivesWhatTheCameraWrote) {
  const Properties facts = read_properties(source_file("samples/photo.jpg"), Format::jpeg);
  EXPECT_EQ(text_of(facts, property::author), "Ada Brook");
  EXPECT_EQ(text_of(facts, property::comments), "A lighthouse");
  EXPECT_EQ(text_of(facts, property::copyright), "Public domain");
  EXPECT_EQ(text_of(facts, property::camera_make), "Glassworks");
  EXPECT_EQ(text_of(facts, property::camera_model), "Eye 3");
  EXPECT_EQ(number_of(facts, property::width), 48);
  EXPECT_EQ(number_of(facts, property::height), 32);
  EXPECT_DOUBLE_EQ(number_of(facts, property::exposure_time), 0.004);
}

TEST(ImageReader, RefusesFilmAndRw2) {
  EXPECT_THROW(read_properties(source_file("samples/film.avi"), Format::jpeg), EngineError);
  const std::string raw = std::string("IIU\0\x08\0\0\0\1\0\0\1\3\0\1\0\0\0\x10\0\0\0\0\0\0\0", 26);
  EXPECT_THROW(read_properties(raw, Format::tiff), EngineError);
}

TEST(ImageReader, AppliesTheZoneOfATime) {
  const Properties facts = read_properties(source_file("samples/photo.jpg"), Format::jpeg);
  const auto* created = value_of(facts, property::created);
  ASSERT_NE(created, nullptr);
  // 2024-05-06 07:08:09 at +02:00.
  EXPECT_EQ(std::get<FileTime>(*created).ticks, FileTime::from_unix_seconds(1'714'972'089).ticks);
}

TEST(ImageReader, GivesThePlaceInDegrees) {
  const Properties facts = read_properties(source_file("samples/photo.jpg"), Format::jpeg);
  const auto* latitude = value_of(facts, property::latitude);
  const auto* longitude = value_of(facts, property::longitude);
  ASSERT_NE(latitude, nullptr);
  ASSERT_NE(longitude, nullptr);
  EXPECT_DOUBLE_EQ(std::get<double>(*latitude), 52.5);
  EXPECT_DOUBLE_EQ(std::get<double>(*longitude), -13.25);
}

TEST(ImageReader, PutsXmpBeforeExif) {
  std::string photo = source_file("samples/photo.jpg");
  const std::string packet =
      "http://ns.adobe.com/xap/1.0/" + std::string(1, '\0') +
      "<x:xmpmeta xmlns:x='adobe:ns:meta/'><rdf:RDF "
      "xmlns:rdf='http://www.w3.org/1999/02/22-rdf-syntax-ns#'><rdf:Description "
      "xmlns:dc='http://purl.org/dc/elements/1.1/'><dc:creator><rdf:Seq><rdf:li>Ada B.</rdf:li>"
      "<rdf:li>Bo</rdf:li></rdf:Seq></dc:creator><dc:title><rdf:Alt><rdf:li "
      "xml:lang='x-default'>Light</rdf:li></rdf:Alt></dc:title></rdf:Description></rdf:RDF>"
      "</x:xmpmeta>";
  const std::size_t length = packet.size() + 2;
  const std::string segment = "\xFF\xE1" + std::string(1, static_cast<char>(length >> 8)) +
                              std::string(1, static_cast<char>(length)) + packet;
  photo.insert(2, segment);
  const Properties facts = read_properties(photo, Format::jpeg);
  std::vector<std::string> authors;
  for (const auto& item : facts.items()) {
    if (item.name == property::author) authors.push_back(std::get<std::string>(item.value));
  }
  EXPECT_EQ(authors, (std::vector<std::string>{"Ada B.", "Bo"}));
  EXPECT_EQ(text_of(facts, property::title), "Light");
}

/// A packet of more than a JPEG has room for, its title behind many keywords.
std::string long_packet() {
  std::string keywords;
  while (keywords.size() < 200'000) keywords += "<rdf:li>harbour</rdf:li>";
  return "<x:xmpmeta xmlns:x='adobe:ns:meta/'><rdf:RDF "
         "xmlns:rdf='http://www.w3.org/1999/02/22-rdf-syntax-ns#'><rdf:Description "
         "xmlns:dc='http://purl.org/dc/elements/1.1/'><dc:subject><rdf:Bag>" +
         keywords +
         "</rdf:Bag></dc:subject><dc:title><rdf:Alt><rdf:li xml:lang='x-default'>Light</rdf:li>"
         "</rdf:Alt></dc:title></rdf:Description></rdf:RDF></x:xmpmeta>";
}

std::string number(std::uint64_t value, unsigned size, bool big) {
  std::string bytes;
  for (unsigned i = 0; i < size; ++i) {
    bytes += static_cast<char>(value >> 8 * (big ? size - 1 - i : i));
  }
  return bytes;
}

TEST(ImageReader, ReadsLongPacketsOfTiffInBothByteOrders) {
  const std::string packet = long_packet();
  for (const bool big : {false, true}) {
    const auto entry = [&](unsigned tag, unsigned type, std::size_t count, std::size_t value) {
      // A short value stands at the begin of its field.
      const bool is_short = type == 3;
      return number(tag, 2, big) + number(type, 2, big) + number(count, 4, big) +
             (is_short ? number(value, 2, big) + number(0, 2, big) : number(value, 4, big));
    };
    const std::string tiff = (big ? "MM" : "II") + number(42, 2, big) + number(8, 4, big) +
                             number(3, 2, big) + entry(256, 3, 1, 48) + entry(257, 3, 1, 32) +
                             entry(700, 1, packet.size(), 50) + number(0, 4, big) + packet;
    const Properties facts = read_properties(tiff, Format::tiff);
    EXPECT_EQ(text_of(facts, property::title), "Light");
    EXPECT_EQ(text_of(facts, property::keywords), "harbour");
    EXPECT_EQ(number_of(facts, property::width), 48);
    EXPECT_EQ(number_of(facts, property::height), 32);
  }
}

TEST(ImageReader, ReadsLongPacketsOfPng) {
  const auto chunk = [](const std::string& name, const std::string& content) {
    return number(content.size(), 4, true) + name + content + number(0, 4, true);
  };
  const std::string picture =
      "\x89PNG\r\n\x1A\n" +
      chunk("IHDR", number(48, 4, true) + number(32, 4, true) + std::string("\x08\2\0\0\0", 5)) +
      chunk("iTXt", "XML:com.adobe.xmp" + std::string(5, '\0') + long_packet()) +
      chunk("IDAT", "x") + chunk("IEND", "");
  const Properties facts = read_properties(picture, Format::png);
  EXPECT_EQ(text_of(facts, property::title), "Light");
  EXPECT_EQ(number_of(facts, property::width), 48);
}

TEST(AudioReader, GivesTagsAndTechnicalFacts) {
  const Properties facts = read_properties(source_file("samples/tone.flac"), Format::flac);
  EXPECT_EQ(text_of(facts, property::title), "Fog horn");
  EXPECT_EQ(text_of(facts, property::artist), "The Beacons");
  EXPECT_EQ(text_of(facts, property::album), "Coast");
  EXPECT_EQ(text_of(facts, property::comments), "From the pier");
  EXPECT_EQ(text_of(facts, property::release_date), "2024");
  EXPECT_EQ(text_of(facts, property::track_number), "3");
  EXPECT_EQ(text_of(facts, property::audio_codec), "FLAC");
  EXPECT_EQ(number_of(facts, property::sample_rate), 44100);
  EXPECT_EQ(number_of(facts, property::channel_count), 1);
  EXPECT_DOUBLE_EQ(number_of(facts, property::duration), 1);
}

TEST(AudioReader, ReadsTagsInEveryTextEncoding) {
  const Properties facts = read_properties(source_file("samples/tone.mp3"), Format::mpeg_audio);
  EXPECT_EQ(text_of(facts, property::title), "Möwen");
  EXPECT_EQ(text_of(facts, property::artist), "The Beacons");
  EXPECT_EQ(text_of(facts, property::comments), "At low tide");
  EXPECT_EQ(text_of(facts, property::audio_codec), "MP3");
}

TEST(AudioReader, ListsCoversAsMembers) {
  for (const Media& sound : {all[1], all[2]}) {
    const std::string bytes = source_file(sound.sample);
    const auto listing = list_members(bytes, sound.format);
    ASSERT_EQ(listing.members.size(), 1u) << sound.sample;
    EXPECT_EQ(listing.members[0].name, "cover1.png");
    EXPECT_EQ(listing.members[0].kind, SubfileKind::embedded);
    const auto cover = extract_member(bytes, sound.format, 0);
    EXPECT_EQ(cover.code, 0);
    EXPECT_EQ(cover.bytes.substr(0, 4), "\x89PNG");
    EXPECT_EQ(static_cast<std::int64_t>(cover.bytes.size()), listing.members[0].size);
  }
}

TEST(FontReader, GivesTheNamesOfAFont) {
  const Properties facts = read_properties(source_file("samples/letters.ttf"), Format::truetype);
  EXPECT_EQ(text_of(facts, property::title), "Pebble Regular");
  EXPECT_EQ(text_of(facts, property::version), "Version 1.5");
  EXPECT_EQ(text_of(facts, property::company), "Shore Types");
  EXPECT_EQ(text_of(facts, property::author), "Bo Chen");
  EXPECT_EQ(text_of(facts, property::copyright), "Public domain");
}

TEST(FontReader, StatesNothingOfAFontWithoutNames) {
  std::string font = source_file("samples/letters.ttf");
  const std::size_t names = font.find("name");
  ASSERT_NE(names, std::string::npos);
  font[names] = 'N';
  EXPECT_TRUE(read_properties(font, Format::truetype).items().empty());
}

TEST(FontReader, GivesTheNamesOfEveryFontOfACollection) {
  // Both are one: tables are told from the file's begin.
  std::string font = source_file("samples/letters.ttf");
  const std::size_t head = 20;
  const std::string collection = "ttcf" + number(0x10000, 4, true) + number(2, 4, true) +
                                 number(head, 4, true) + number(head, 4, true);
  const std::size_t tables = static_cast<unsigned char>(font[5]);
  for (std::size_t i = 0; i < tables; ++i) {
    const std::size_t at = 12 + 16 * i + 8;
    std::uint64_t offset = 0;
    for (std::size_t k = 0; k < 4; ++k) {
      offset = offset << 8 | static_cast<unsigned char>(font[at + k]);
    }
    font.replace(at, 4, number(offset + head, 4, true));
  }
  const Properties facts = read_properties(collection + font, Format::truetype);
  std::size_t titles = 0;
  for (const auto& item : facts.items()) {
    if (item.name != property::title) continue;
    EXPECT_EQ(std::get<std::string>(item.value), "Pebble Regular");
    ++titles;
  }
  EXPECT_EQ(titles, 2u);
}

TEST(VideoReader, GivesHeadersAndTagsOfMatroska) {
  const Properties facts = read_properties(source_file("samples/film.mkv"), Format::matroska);
  EXPECT_EQ(text_of(facts, property::title), "Möwen am Strand");
  EXPECT_EQ(text_of(facts, property::artist), "The Beacons");
  EXPECT_EQ(text_of(facts, property::application), "by hand");
  EXPECT_EQ(text_of(facts, property::producer), "hand");
  EXPECT_EQ(text_of(facts, property::video_codec), "VP9");
  EXPECT_EQ(text_of(facts, property::audio_codec), "OPUS");
  EXPECT_DOUBLE_EQ(number_of(facts, property::duration), 2.5);
  EXPECT_DOUBLE_EQ(number_of(facts, property::frame_rate), 25);
  EXPECT_EQ(number_of(facts, property::width), 640);
  EXPECT_EQ(number_of(facts, property::height), 360);
  EXPECT_EQ(number_of(facts, property::sample_rate), 48000);
  EXPECT_EQ(number_of(facts, property::channel_count), 2);
  const auto* created = value_of(facts, property::created);
  ASSERT_NE(created, nullptr);
  EXPECT_EQ(std::get<FileTime>(*created).ticks, FileTime::from_unix_seconds(1'714'979'289).ticks);
}

TEST(VideoReader, StatesATitleOnceAndNothingOfASingleTrack) {
  const Properties facts = read_properties(source_file("samples/film.mkv"), Format::matroska);
  unsigned titles = 0;
  for (const auto& item : facts.items()) titles += item.name == property::title ? 1 : 0;
  EXPECT_EQ(titles, 1u);
  EXPECT_EQ(value_of(facts, property::comments), nullptr);
}

TEST(VideoReader, GivesHeadersAndTextsOfAvi) {
  const Properties facts = read_properties(source_file("samples/film.avi"), Format::avi);
  EXPECT_EQ(text_of(facts, property::title), "Low tide");
  EXPECT_EQ(text_of(facts, property::artist), "The Beacons");
  EXPECT_EQ(text_of(facts, property::comments), "café");
  EXPECT_EQ(text_of(facts, property::application), "by hand");
  EXPECT_EQ(text_of(facts, property::video_codec), "XVID");
  EXPECT_EQ(text_of(facts, property::audio_codec), "MP3");
  EXPECT_DOUBLE_EQ(number_of(facts, property::duration), 2);
  EXPECT_DOUBLE_EQ(number_of(facts, property::frame_rate), 25);
  EXPECT_EQ(number_of(facts, property::width), 320);
  EXPECT_EQ(number_of(facts, property::height), 240);
  EXPECT_EQ(number_of(facts, property::sample_rate), 44100);
  EXPECT_EQ(number_of(facts, property::channel_count), 2);
}

TEST(MediaReaders, HaveNoText) {
  for (const Media& media : all) {
    const auto reading = read_document(source_file(media.sample), media.format);
    EXPECT_EQ(reading.code, no_text) << media.sample;
    EXPECT_EQ(reading.text, "") << media.sample;
  }
}

TEST(MediaReaders, StateNothingOfWhatIsNone) {
  for (const Media& media : {all[0], all[1], all[3], all[4], all[5]}) {
    try {
      read_properties("neither a picture nor sound nor a font", media.format);
      ADD_FAILURE() << media.sample;
    } catch (const EngineError& error) {
      EXPECT_EQ(static_cast<int>(error.code()), corrupt) << media.sample;
    }
    EXPECT_TRUE(list_members("neither", media.format).members.empty());
  }
}

TEST(MediaReaders, SurviveDamage) {
  for (const Media& media : all) {
    const std::string sound = source_file(media.sample);
    const auto try_it = [&](std::string bytes) {
      EXPECT_TRUE(list_members(bytes, media.format).members.size() <= 1);
      try {
        read_properties(std::move(bytes), media.format);
      } catch (const EngineError& error) {
        EXPECT_EQ(static_cast<int>(error.code()), corrupt);
      }
    };
    for (std::size_t size = 1; size < sound.size(); size += 1 + sound.size() / 61) {
      try_it(sound.substr(0, size));
    }
    for (std::size_t at = 0; at < sound.size(); at += 1 + sound.size() / 127) {
      std::string flipped = sound;
      flipped[at] = static_cast<char>(flipped[at] ^ 0xFF);
      try_it(std::move(flipped));
    }
  }
}

}  // namespace
}  // namespace trfilter
