#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "api/tarnis.h"
#include "api/tarnis_internal.h"

// The default engine from outside: through the library, on documents made here.

namespace tarnis::v1 {
namespace {

Session start(Configuration configuration = {}) {
  return {TARNIS_ENGINE_DIRECTORY, true, std::move(configuration)};
}

io::InMemoryFile file_of(const std::string& bytes) {
  return io::InMemoryFile(std::vector<unsigned char>(bytes.begin(), bytes.end()));
}

/// The text, appended to `text` as it comes, so that a test sees what came before an error.
void filter_into(const Session& session, const std::string& bytes, std::string& text) {
  io::InMemoryFile input = file_of(bytes);
  struct Sink {
    std::string* text;
    long write(const char* data, long n) {
      text->append(data, static_cast<std::size_t>(n));
      return n;
    }
  } sink{&text};
  internal::filter(session.implementation(), generic_io::Input(input), generic_io::Output(sink));
}

std::string text_of(const std::string& bytes, const Configuration& configuration = {}) {
  const Session session = start(configuration);
  std::string text;
  filter_into(session, bytes, text);
  return text;
}

int code_of_filtering(const std::string& bytes, const Configuration& configuration = {}) {
  const Session session = start(configuration);
  std::string text;
  try {
    filter_into(session, bytes, text);
  } catch (const format_not_supported_error&) {
    return 7;
  } catch (const password_protected_error&) {
    return 8;
  } catch (const tarnis_error& error) {
    return error.code();
  }
  return 0;
}

TEST(DefaultEngine, PrintsPlainText) {
  EXPECT_EQ(text_of("Hello, world.\n"), "Hello, world.\n");
}

TEST(DefaultEngine, RefusesAnEmptyInputWithCode42) {
  EXPECT_EQ(code_of_filtering(""), 42);
}

TEST(DefaultEngine, RefusesAnUnknownFormatWithCode11) {
  const std::string junk("\x01\x02\x03\x00\x91\x02\x00\xFF\xFE\x00\x07\x80", 12);
  EXPECT_EQ(code_of_filtering(junk), 11);
}

TEST(DefaultEngine, RefusesAKnownFormatWithoutAReaderWithCode7) {
  const std::string png(
      "\x89PNG\r\n\x1A\n\x00\x00\x00\rIHDR\x00\x00\x00\x01\x00\x00\x00\x01\x08\x06", 26);
  EXPECT_EQ(code_of_filtering(png), 7);
}

TEST(DefaultEngine, DetectsAnUnknownAndAnEmptyInputAsNotRecognized) {
  const Session session = start();
  for (const std::string& bytes : {std::string(), std::string("\x00\x01\x02\x91\x03", 5)}) {
    io::InMemoryFile input = file_of(bytes);
    try {
      internal::detect(session.implementation(), generic_io::Input(input));
      FAIL() << "recognized";
    } catch (const tarnis_error& error) {
      EXPECT_EQ(error.code(), 11);
    }
  }
}

TEST(DefaultEngine, RefusesATargetEncodingThatItCannotWriteWithCode5) {
  EXPECT_EQ(code_of_filtering("text", Configuration().target_encoding(static_cast<Encoding>(9999))),
            5);
}

TEST(DefaultEngine, GivesTheReadablePartOfADamagedDocumentAndThenCode4) {
  const Session session = start();
  std::string text;
  try {
    filter_into(session, "{\\rtf1\\ansi The beginning {\\b and", text);
    FAIL() << "no error";
  } catch (const tarnis_error& error) {
    EXPECT_EQ(error.code(), 4);
  }
  EXPECT_NE(text.find("The beginning and"), std::string::npos) << text;
}

TEST(DefaultEngine, StartsTheTextWithAByteOrderMarkWhenAskedTo) {
  EXPECT_EQ(text_of("x\n", Configuration().unicode_byte_order_marker(true)), "\xEF\xBB\xBFx\n");
}

TEST(DefaultEngine, WritesTheTargetEncoding) {
  const auto in = [](Encoding target, bool mark = false) {
    return text_of("für €uro und 中\n",
                   Configuration().target_encoding(target).unicode_byte_order_marker(mark));
  };
  EXPECT_EQ(in(Encoding::windows_1252), "f\xFCr \x80uro und ?\n");
  EXPECT_EQ(in(Encoding::windows_1252, true), "f\xFCr \x80uro und ?\n");
  EXPECT_EQ(in(Encoding::iso_8859_1), "f\xFCr ?uro und ?\n");
  EXPECT_EQ(in(Encoding::iso_8859_16), "f\xFCr \xA4uro und ?\n");
  EXPECT_EQ(in(Encoding::utf16_le).substr(0, 6), std::string("f\0\xFC\0r\0", 6));
  EXPECT_EQ(in(Encoding::utf16_be, true).substr(0, 6), std::string("\xFE\xFF\0f\0\xFC", 6));
  EXPECT_EQ(in(Encoding::utf32_le, true).substr(0, 8), std::string("\xFF\xFE\0\0f\0\0\0", 8));
  EXPECT_EQ(in(Encoding::ibm_1140).substr(0, 3), "\x86\xDC\x99");
  EXPECT_EQ(in(Encoding::automatic), "für €uro und 中\n");
}

TEST(DefaultEngine, WritesTheTargetEncodingAcrossChunks) {
  std::string text;
  while (text.size() < 300'000) text += "日本語 \xF0\x9F\x98\x80 x\n";
  const std::string wide = text_of(text, Configuration().target_encoding(Encoding::utf16_be));
  const std::string line("\x65\xE5\x67\x2C\x8A\x9E\0 \xD8\x3D\xDE\x00\0 \0x\0\n", 18);
  ASSERT_EQ(wide.size() % line.size(), 0u);
  for (std::size_t at = 0; at < wide.size(); at += line.size()) {
    ASSERT_EQ(wide.substr(at, line.size()), line) << at;
  }
  const std::string shifted =
      text_of("日本", Configuration().target_encoding(Encoding::iso_2022_jp));
  EXPECT_EQ(shifted, "\x1B$BF|K\\\x1B(B\n");
  // A document that turns out to be damaged ends in the first state, too.
  std::string before_error;
  const Session session = start(Configuration().target_encoding(Encoding::iso_2022_jp));
  EXPECT_THROW(filter_into(session, "{\\rtf1\\ansi \\u26085?", before_error), tarnis_error);
  EXPECT_EQ(before_error, "\x1B$BF|\x1B(B\n");
}

TEST(DefaultEngine, WithoutConversionPlainTextStaysAsItStands) {
  const Configuration as_it_stands =
      Configuration().no_encoding_conversion(true).target_encoding(Encoding::utf16_le);
  const std::string text = "\xC2\xAD no \xE4 change\r\n, none\r";
  EXPECT_EQ(text_of(text, as_it_stands), text);
  std::string large;
  while (large.size() < 1'000'000) large += "f\xFCr \x80uro\r\n";
  EXPECT_TRUE(text_of(large, as_it_stands) == large);
  EXPECT_EQ(text_of("<html><body><p>gr\xFC\xDF</p></body></html>", as_it_stands), "grüß\n");
}

TEST(DefaultEngine, TheSourceEncodingIsForTextThatDeclaresNone) {
  const Configuration russian = Configuration().source_encoding(Encoding::koi8_r);
  const std::string word = "\xD7\xC5\xD2\xC1";
  EXPECT_EQ(text_of("The word for faith is " + word, russian), "The word for faith is вера\n");
  EXPECT_EQ(text_of("<html><body><p>" + word + "</p></body></html>", russian), "вера\n");
  EXPECT_EQ(text_of("<html><head><meta charset=windows-1252></head><body><p>" + word +
                        "</p></body></html>",
                    russian),
            "×ÅÒÁ\n");
  EXPECT_EQ(text_of("<?xml version='1.0'?><a>" + word + "</a>", russian), "вера\n");
  EXPECT_EQ(text_of("<?xml version='1.0' encoding='windows-1252'?><a>" + word + "</a>", russian),
            "×ÅÒÁ\n");
  EXPECT_EQ(text_of("{\\rtf1\\ansi\\ansicpg1252 " + word + "}", russian), "×ÅÒÁ\n");
  EXPECT_EQ(text_of("{\\rtf1\\ansi " + word + "}", russian), "вера\n");
  EXPECT_EQ(text_of("\xEF\xBB\xBF\xD0\xB2\n", russian), "в\n");
}

TEST(DefaultEngine, ReadsTheDocumentWithinAnAppleSingleFile) {
  const std::string text = "What the wrapping holds.\n";
  std::string file("\x00\x05\x16\x00\x00\x02\x00\x00", 8);
  file += std::string(16, '\0');
  file += std::string("\x00\x01", 2);          // one entry:
  file += std::string("\x00\x00\x00\x01", 4);  // the data fork,
  file += std::string("\x00\x00\x00\x26", 4);  // behind this header,
  file += std::string("\x00\x00\x00", 3) + static_cast<char>(text.size());
  EXPECT_EQ(text_of(file + text), text);
}

TEST(DefaultEngine, ReadsManyDocumentsInOneSession) {
  const Session session = start();
  for (int i = 0; i < 200; ++i) {
    std::string text;
    filter_into(session, "document " + std::to_string(i) + "\n", text);
    ASSERT_EQ(text, "document " + std::to_string(i) + "\n");
  }
}

TEST(DefaultEngine, CarriesOnAfterADocumentThatFailed) {
  const Session session = start();
  std::string text;
  EXPECT_THROW(filter_into(session, "", text), tarnis_error);
  filter_into(session, "next\n", text);
  EXPECT_EQ(text, "next\n");
}

/// A host's file whose reads throw.
class ThrowingFile final : public io::IFile {
 public:
  long write(const char*, long) override { return 0; }
  long size() override { return 100; }
  long tell() override { return position_; }
  long read(char*, long) override { throw std::runtime_error("the host's disk is gone"); }
  int seek(long offset, int whence) override {
    position_ = whence == 2 ? 100 + offset : offset;
    return 0;
  }

 private:
  long position_ = 0;
};

TEST(DefaultEngine, TurnsAnExceptionOfTheHostsFileIntoCode6) {
  const Session session = start();
  ThrowingFile input;
  io::InMemoryFile output;
  try {
    internal::filter(session.implementation(), generic_io::Input(input),
                     generic_io::Output(output));
    FAIL() << "no error";
  } catch (const tarnis_error& error) {
    EXPECT_EQ(error.code(), 6);
  }
}

/// A host's file that gives one byte at a time, and refuses nothing.
class SlowFile final : public io::IFile {
 public:
  explicit SlowFile(std::string bytes) : bytes_(std::move(bytes)) {}
  long write(const char*, long) override { return 0; }
  long size() override { return static_cast<long>(bytes_.size()); }
  long tell() override { return position_; }
  long read(char* buffer, long n) override {
    if (n < 1 || position_ >= size()) return 0;
    *buffer = bytes_[static_cast<std::size_t>(position_++)];
    return 1;
  }
  int seek(long offset, int whence) override {
    position_ = offset + (whence == 2 ? size() : whence == 1 ? position_ : 0);
    return 0;
  }

 private:
  std::string bytes_;
  long position_ = 0;
};

TEST(DefaultEngine, ReadsOnAfterShortReads) {
  const Session session = start();
  const std::string bytes(100'000, 'a');
  SlowFile input(bytes);
  io::InMemoryFile output;
  internal::filter(session.implementation(), generic_io::Input(input), generic_io::Output(output));
  EXPECT_EQ(output.data().size(), bytes.size() + 1) << "the text and the last line's end";
}

TEST(DefaultEngine, GivesCode22WhenTheInputRefusesToSeek) {
  class Unseekable final : public io::IFile {
   public:
    long write(const char*, long) override { return 0; }
    long size() override { return 0; }
    long tell() override { return 0; }
    long read(char*, long) override { return 0; }
    int seek(long, int) override { return -1; }
  } input;
  const Session session = start();
  io::InMemoryFile output;
  try {
    internal::filter(session.implementation(), generic_io::Input(input),
                     generic_io::Output(output));
    FAIL() << "no error";
  } catch (const tarnis_error& error) {
    EXPECT_EQ(error.code(), 22);
  }
}

TEST(DefaultEngine, IsFoundFromAnyDirectory) {
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(TARNIS_ENGINE_DIRECTORY);
  const Session session("", true, {});
  std::filesystem::current_path("/");
  std::string text;
  filter_into(session, "found\n", text);
  std::filesystem::current_path(before);
  EXPECT_EQ(text, "found\n");
}

TEST(DefaultEngine, LeavesNothingInTheTemporaryDirectory) {
  const auto folder = std::filesystem::temp_directory_path() / "tarnis-empty-after-test";
  std::filesystem::remove_all(folder);
  std::filesystem::create_directory(folder);
  const std::string large(std::size_t{6} << 20, 'x');
  text_of(large, Configuration().temporary_directory(folder.string()));
  EXPECT_TRUE(std::filesystem::is_empty(folder));
  std::filesystem::remove_all(folder);
}

}  // namespace
}  // namespace tarnis::v1
