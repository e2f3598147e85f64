#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "engine/core/engine_error.h"
#include "engine/core/property_names.h"
#include "tests/engine/read_document.h"

// Drawings: samples/make/drawing.py tells what the samples hold.

namespace trfilter {
namespace {

using test::read_document;
using test::read_properties;
using test::source_file;

constexpr int corrupt = 4;
constexpr int no_text = 7;
constexpr int password = 8;

const std::vector<std::string> drawings = {"samples/plan_2000.dwg", "samples/plan_2004.dwg",
                                           "samples/plan_2007.dwg", "samples/plan_2018.dwg"};

std::string value_of(const Properties& properties, std::string_view name) {
  for (const auto& item : properties.items()) {
    if (item.name != name) continue;
    if (const auto* text = std::get_if<std::string>(&item.value)) return *text;
    if (const auto* number = std::get_if<std::int32_t>(&item.value)) return std::to_string(*number);
    if (const auto* time = std::get_if<FileTime>(&item.value)) return std::to_string(time->ticks);
  }
  return "";
}

bool holds(const std::string& text, std::string_view part) {
  return text.find(part) != std::string::npos;
}

std::string text_of(const std::string& drawing) {
  const auto reading = read_document(drawing, Format::dwg);
  EXPECT_EQ(reading.code, 0) << reading.reason;
  return reading.text;
}

int properties_code(const std::string& drawing, Format format = Format::dwg) {
  try {
    read_properties(drawing, format);
    return 0;
  } catch (const EngineError& error) {
    return static_cast<int>(error.code());
  }
}

TEST(DwgReader, GivesTheTextsOfEveryRelease) {
  for (const std::string& name : drawings) {
    SCOPED_TRACE(name);
    const std::string text = text_of(source_file(name));
    EXPECT_TRUE(holds(text, "Ground floor, \u230012 timber\n"));
    EXPECT_TRUE(holds(text, "to the north. 121\n"));
    EXPECT_TRUE(holds(text, "about 4.2 m\n"));
    EXPECT_TRUE(holds(text, "Width 1010\n"));
  }
}

TEST(DwgReader, GivesTheModelThenTheLayoutsThenTheBlocks) {
  for (const std::string& name : drawings) {
    SCOPED_TRACE(name);
    const std::string text = text_of(source_file(name));
    EXPECT_LT(text.find("to the north. 121"), text.find("Sheet 1 of 2"));
    EXPECT_LT(text.find("Sheet 1 of 2"), text.find("Sheet 2 of 2"));
    EXPECT_LT(text.find("Sheet 2 of 2"), text.find("Door of oak"));
  }
}

TEST(DwgReader, GivesAttributesWhereTheirBlockIsInserted) {
  for (const std::string& name : drawings) {
    const std::string text = text_of(source_file(name));
    EXPECT_LT(text.find("Width 1010"), text.find("Sheet 1 of 2")) << name;
  }
}

TEST(DwgReader, LeavesOutFormatting) {
  const std::string expected =
      "Kitchen\nWalls paint/tiles and 3\u00A0m 1/2 of pine \\ {unpainted}\n"
      "Between 18\u00B0 and 22\u00B0, \u00B12\n";
  for (const std::string& name : drawings) {
    EXPECT_TRUE(holds(text_of(source_file(name)), expected)) << name;
  }
}

TEST(DwgReader, GivesTolerancesBySymbols) {
  for (const std::string& name : drawings) {
    EXPECT_TRUE(holds(text_of(source_file(name)), "\u2316 \u23000.2\u24C2 A\n")) << name;
  }
}

TEST(DwgReader, GivesCharactersThatAreWrittenAsNumbers) {
  for (const std::string& name : drawings) {
    EXPECT_TRUE(holds(text_of(source_file(name)), "Café \u30B1\U0001F600\n")) << name;
  }
}

TEST(DwgReader, GivesLeadersAndAttributesInParagraphs) {
  const std::string text = text_of(source_file("samples/plan_2018.dwg"));
  EXPECT_TRUE(holds(text, "To the garden\n"));
  EXPECT_TRUE(holds(text, "First\nSecond\n"));
}

TEST(DwgReader, ShowsInvisibleTextsOnDemand) {
  Options options;
  options.hidden_text = true;
  for (const std::string& name : drawings) {
    const std::string drawing = source_file(name);
    EXPECT_FALSE(holds(text_of(drawing), "Not to be built")) << name;
    const auto reading = read_document(drawing, Format::dwg, options);
    EXPECT_TRUE(holds(reading.text, "Not to be built")) << name;
  }
}

TEST(DwgReader, GivesTheSummaryInformation) {
  for (std::size_t i = 1; i < drawings.size(); ++i) {
    SCOPED_TRACE(drawings[i]);
    const Properties facts = read_properties(source_file(drawings[i]), Format::dwg);
    EXPECT_EQ(value_of(facts, property::title), "House by the sea");
    EXPECT_EQ(value_of(facts, property::subject), "Plans");
    EXPECT_EQ(value_of(facts, property::author), "Zoë Brook");
    EXPECT_EQ(value_of(facts, property::keywords), "house, plan");
    EXPECT_EQ(value_of(facts, property::comments), "For the owner");
    EXPECT_EQ(value_of(facts, property::last_author), "bo");
    EXPECT_EQ(value_of(facts, property::revision), "7");
    EXPECT_EQ(value_of(facts, property::hyperlink_base), "https://example.org/plans");
    EXPECT_EQ(value_of(facts, property::edit_time), "1620");
    EXPECT_EQ(value_of(facts, property::created),
              std::to_string(FileTime::from_unix_seconds(1'714'979'289).ticks));
    EXPECT_EQ(value_of(facts, property::last_saved),
              std::to_string(FileTime::from_unix_seconds(1'715'065'690).ticks));
    EXPECT_EQ(value_of(facts, "Scale"), "1:50");
  }
}

TEST(DwgReader, StatesNothingForReleasesWithoutSummaryInformation) {
  EXPECT_TRUE(read_properties(source_file(drawings[0]), Format::dwg).items().empty());
}

TEST(DwgReader, RefusesReleasesBefore13) {
  EXPECT_EQ(read_document("AC1009" + std::string(100, '\0'), Format::dwg).code, no_text);
}

TEST(DwgReader, AsksForThePasswordOfAnEncryptedDrawing) {
  constexpr std::size_t security = 0x18;
  std::string drawing = source_file(drawings[1]);
  drawing[security] = 1;
  EXPECT_EQ(read_document(drawing, Format::dwg).code, password);
  EXPECT_EQ(properties_code(drawing), 0);
  drawing[security] = 2;
  EXPECT_EQ(read_document(drawing, Format::dwg).code, 0);
  EXPECT_EQ(properties_code(drawing), password);
}

TEST(DwgReader, FindsNothingInAHeaderAlone) {
  for (const std::string& name : drawings) {
    const std::string drawing = source_file(name);
    for (const std::size_t size : {std::size_t{6}, std::size_t{0x20}, std::size_t{0x30}}) {
      EXPECT_EQ(read_document(drawing.substr(0, size), Format::dwg).code, corrupt) << name << size;
    }
  }
}

TEST(DwgReader, GivesWhatIsLeftOfADrawingWithADamagedPage) {
  // A page of objects begins with its obfuscated header, which ends the page when it is damaged.
  std::string drawing = source_file("samples/plan_2004.dwg");
  const std::string whole = text_of(drawing);
  bool seen = false;
  for (std::size_t place = 0x100; place + 0x20 < drawing.size(); place += 0x20) {
    std::string damaged = drawing;
    damaged[place] = static_cast<char>(damaged[place] ^ 0x55);
    const auto reading = read_document(damaged, Format::dwg);
    if (reading.code == 0 || reading.text.empty()) continue;
    seen = true;
    EXPECT_EQ(reading.code, corrupt);
    EXPECT_LT(reading.text.size(), whole.size());
  }
  EXPECT_TRUE(seen);
}

TEST(DwgReader, SurvivesDamage) {
  for (const std::string& name : drawings) {
    SCOPED_TRACE(name);
    const std::string drawing = source_file(name);
    const auto try_it = [&](const std::string& bytes) {
      const int code = read_document(bytes, Format::dwg).code;
      EXPECT_TRUE(code == 0 || code == corrupt || code == no_text || code == password) << code;
      const int facts = properties_code(bytes);
      EXPECT_TRUE(facts == 0 || facts == corrupt || facts == no_text || facts == password) << facts;
    };
    for (std::size_t size = 1; size < drawing.size(); size += 31) try_it(drawing.substr(0, size));
    for (std::size_t at = 0; at < drawing.size(); at += 7) {
      std::string flipped = drawing;
      flipped[at] = static_cast<char>(flipped[at] ^ (at % 2 == 0 ? 0xFF : 0x11));
      try_it(flipped);
    }
  }
}

std::string interchange_file(const std::string& entities, const std::string& header = "") {
  return "  0\nSECTION\n  2\nHEADER\n" + header + "  0\nENDSEC\n  0\nSECTION\n  2\nENTITIES\n" +
         entities + "  0\nENDSEC\n  0\nEOF\n";
}

TEST(DxfReader, GivesTheEntitiesThenTheBlocks) {
  const auto reading = read_document(source_file("samples/plan.dxf"), Format::dxf);
  EXPECT_EQ(reading.code, 0) << reading.reason;
  EXPECT_EQ(reading.text,
            "Ground floor, \u230012 timber\n"
            "Kitchen\nWalls paint/tiles and 3\u00A0m 1/2 of pine \\ {unpainted}\n"
            "Between 18\u00B0 and 22\u00B0, \u00B12\n"
            "Width 1010\nFirst\nSecond\nTo the garden\nabout 4.2 m\nCafé für alle\n"
            "Door of oak\nWidth 900\n");
}

TEST(DxfReader, GivesTheHeadersProperties) {
  const Properties facts = read_properties(source_file("samples/plan.dxf"), Format::dxf);
  EXPECT_EQ(value_of(facts, property::last_author), "bo");
  EXPECT_EQ(value_of(facts, property::edit_time), "180");
  // Noon, and six in the morning: a Julian day begins at midnight here.
  EXPECT_EQ(value_of(facts, property::created),
            std::to_string(FileTime::from_unix_seconds(1'714'910'400).ticks));
  EXPECT_EQ(value_of(facts, property::last_saved),
            std::to_string(FileTime::from_unix_seconds(1'714'975'200).ticks));
  EXPECT_EQ(value_of(facts, "Scale"), "1:50");
}

TEST(DxfReader, DecodesByTheHeader) {
  const std::string text = "  0\nTEXT\n  1\nT\xC3\xBCr\n";
  EXPECT_EQ(read_document(interchange_file(text, "  9\n$ACADVER\n  1\nAC1021\n"), Format::dxf).text,
            "Tür\n");
  const std::string old = "  9\n$ACADVER\n  1\nAC1015\n  9\n$DWGCODEPAGE\n  3\nANSI_1251\n";
  EXPECT_EQ(
      read_document(interchange_file("  0\nTEXT\n  1\n\xC4\xEE\xEC\n", old), Format::dxf).text,
      "Дом\n");
  EXPECT_EQ(read_document(interchange_file(text), Format::dxf).text, "Tür\n");
}

TEST(DxfReader, ShowsInvisibleTextsOnDemand) {
  const std::string drawing = interchange_file("  0\nTEXT\n 60\n1\n  1\nbehind\n");
  EXPECT_EQ(read_document(drawing, Format::dxf).text, "");
  Options options;
  options.hidden_text = true;
  EXPECT_EQ(read_document(drawing, Format::dxf, options).text, "behind\n");
}

/// A binary file with groups of every kind of value.
std::string binary_interchange_file(bool short_codes) {
  std::string out("AutoCAD Binary DXF\r\n\x1A\0", 22);
  const auto group = [&](unsigned code, std::string_view value) {
    if (short_codes && code < 255) {
      out += static_cast<char>(code);
    } else {
      if (short_codes) out += '\xFF';
      out += static_cast<char>(code);
      out += static_cast<char>(code >> 8);
    }
    out += value;
  };
  const auto text = [&](unsigned code, std::string_view value) {
    group(code, std::string(value) + '\0');
  };
  text(0, "SECTION");
  text(2, "ENTITIES");
  text(0, "TEXT");
  group(10, std::string(8, '\x40'));
  group(70, std::string(2, '\1'));
  group(90, std::string(4, '\1'));
  group(160, std::string(8, '\1'));
  group(290, std::string(short_codes ? 2 : 1, '\1'));
  group(310, std::string("\3\0\1\2", 4));
  text(1, "Roof");
  group(1071, std::string(4, '\1'));
  text(0, "TEXT");
  group(60, std::string("\1\0", 2));
  text(1, "Hidden");
  text(0, "ENDSEC");
  text(0, "EOF");
  return out;
}

TEST(DxfReader, ReadsBinaryFiles) {
  for (const bool short_codes : {false, true}) {
    const auto reading = read_document(binary_interchange_file(short_codes), Format::dxf_binary);
    EXPECT_EQ(reading.code, 0) << reading.reason;
    EXPECT_EQ(reading.text, "Roof\n");
  }
}

TEST(DxfReader, GivesTextBeforeDamage) {
  const auto cut = read_document(
      "  0\nSECTION\n  2\nENTITIES\n  0\nTEXT\n  1\nRoof\n  0\nTEXT\n  1\nCellar\n", Format::dxf);
  EXPECT_EQ(cut.code, corrupt);
  EXPECT_EQ(cut.text, "Roof\nCellar\n");
  const auto damaged =
      read_document(interchange_file("  0\nTEXT\n  1\nRoof\nno code\nat all\n"), Format::dxf);
  EXPECT_EQ(damaged.code, corrupt);
  EXPECT_EQ(damaged.text, "Roof\n");
  EXPECT_EQ(read_document("neither lines nor groups", Format::dxf).code, corrupt);
}

TEST(DxfReader, TakesFormattingApartWhereverItEnds) {
  const auto text_of_paragraphs = [](const std::string& value) {
    return read_document(interchange_file("  0\nMTEXT\n  1\n" + value + "\n"), Format::dxf).text;
  };
  EXPECT_EQ(text_of_paragraphs("a\\"), "a\\\n");
  EXPECT_EQ(text_of_paragraphs("a\\H2.5"), "a2.5\n");
  EXPECT_EQ(text_of_paragraphs("a\\S+1^ -2;b"), "a+1/-2b\n");
  EXPECT_EQ(text_of_paragraphs("a\\S^2;b"), "a2b\n");
  EXPECT_EQ(text_of_paragraphs("a%"), "a%\n");
  EXPECT_EQ(text_of_paragraphs("a^"), "a^\n");
  EXPECT_EQ(text_of_paragraphs("a^Ib^Jc^ d"), "a\tb\nc^d\n");
  EXPECT_EQ(text_of_paragraphs("5%%%%%065"), "5%A\n");
  EXPECT_EQ(text_of_paragraphs("{{open"), "open\n");
}

TEST(DxfReader, SurvivesDamage) {
  const std::string lines = source_file("samples/plan.dxf");
  for (const auto& [drawing, format] :
       {std::pair(lines, Format::dxf),
        std::pair(binary_interchange_file(false), Format::dxf_binary),
        std::pair(binary_interchange_file(true), Format::dxf_binary)}) {
    const auto try_it = [format = format](const std::string& bytes) {
      const int code = read_document(bytes, format).code;
      EXPECT_TRUE(code == 0 || code == corrupt) << code;
      const int facts = properties_code(bytes, format);
      EXPECT_TRUE(facts == 0 || facts == corrupt) << facts;
    };
    for (std::size_t size = 0; size < drawing.size(); size += 5) try_it(drawing.substr(0, size));
    for (std::size_t at = 0; at < drawing.size(); at += 3) {
      std::string flipped = drawing;
      flipped[at] = static_cast<char>(flipped[at] ^ 0xFF);
      try_it(flipped);
    }
  }
}

}  // namespace
}  // namespace trfilter
