#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <iostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "api/tarnis.h"
#include "api/tarnis_internal.h"
#include "tests/engine/ooxml_package.h"
#include "tests/engine/zip_writer.h"
#include "tests/options/documents.h"

// The time-out ends the reading of every format soon after it has passed. Each document here takes
// its reader several times the time-out; only a reader that looks at the clock ends in time.

namespace tarnis::options {
namespace {

using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::steady_clock;
using trfilter::test::ZipWriter;
using v1::Configuration;
using v1::Session;

constexpr milliseconds time_out{1000};
// A reader has a tenth of a second; what a busy machine adds is not its fault.
constexpr milliseconds grace{600};

/// A document that says one thing again and again, without being anywhere in memory.
class LongDocument {
 public:
  LongDocument(std::string begin, std::string repeated, std::uint64_t times, std::string end)
      : begin_(std::move(begin)), end_(std::move(end)) {
    // Large pieces, so that making the document costs next to nothing.
    std::uint64_t each = repeated.size();
    while (repeated_.size() < (1u << 20)) repeated_ += repeated;
    middle_ = each * times / repeated_.size() * repeated_.size();
  }

  long read(char* buffer, long n) {
    long copied = 0;
    while (copied < n) {
      const std::string_view piece = piece_at(position_);
      if (piece.empty()) break;
      const auto count = std::min<std::size_t>(piece.size(), static_cast<std::size_t>(n - copied));
      std::memcpy(buffer + copied, piece.data(), count);
      copied += static_cast<long>(count);
      position_ += count;
    }
    return copied;
  }

  int seek(long offset, int whence) {
    const std::uint64_t base = whence == 0 ? 0 : whence == 1 ? position_ : size();
    position_ = base + static_cast<std::uint64_t>(offset);
    return 0;
  }

  long tell() const { return static_cast<long>(position_); }

 private:
  std::uint64_t size() const { return begin_.size() + middle_ + end_.size(); }

  std::string_view piece_at(std::uint64_t offset) const {
    if (offset < begin_.size()) return std::string_view(begin_).substr(offset);
    offset -= begin_.size();
    if (offset < middle_) return std::string_view(repeated_).substr(offset % repeated_.size());
    offset -= middle_;
    return offset < end_.size() ? std::string_view(end_).substr(offset) : std::string_view();
  }

  std::string begin_;
  std::string repeated_;
  std::uint64_t middle_ = 0;
  std::string end_;
  std::uint64_t position_ = 0;
};

struct Nowhere {
  long write(const char*, long n) { return n; }
};

/// How long reading takes, and the code that it ends with.
template <typename Document>
std::pair<milliseconds, int> read(Document& document) {
  const Session session(TARNIS_ENGINE_DIRECTORY, true,
                        Configuration().timeout(1).header_and_footer(true));
  Nowhere nowhere;
  const auto begin = steady_clock::now();
  int code = 0;
  try {
    v1::internal::filter(session.implementation(), v1::generic_io::Input(document),
                         v1::generic_io::Output(nowhere));
  } catch (const v1::tarnis_error& error) {
    code = error.code();
  }
  return {duration_cast<milliseconds>(steady_clock::now() - begin), code};
}

template <typename Document>
void ends_in_time(Document& document) {
  const auto [time, code] = read(document);
  EXPECT_EQ(code, 19) << "after " << time.count() << " ms";
  EXPECT_GE(time, time_out - milliseconds(50));
  EXPECT_LE(time, time_out + grace);
  std::cout << "  ended " << (time - time_out).count() << " ms after the time-out\n";
}

void ends_in_time(const std::string& bytes) {
  v1::io::InMemoryFile file(std::vector<unsigned char>(bytes.begin(), bytes.end()));
  ends_in_time(file);
}

constexpr std::uint64_t many = std::uint64_t{200} << 20;

std::string repeated(std::string_view text, std::size_t size) {
  std::string out;
  out.reserve(size + text.size());
  while (out.size() < size) out += text;
  return out;
}

constexpr std::size_t large_part = std::size_t{160} << 20;
// Of what is read faster.
constexpr std::size_t larger_part = std::size_t{288} << 20;

TEST(TimeOut, EndsPlainText) {
  LongDocument document("", "Zwölf Boxkämpfer jagen Viktor quer über den großen Deich.\r\n", many,
                        "");
  ends_in_time(document);
}

TEST(TimeOut, EndsCommaSeparatedValues) {
  LongDocument document("name,number,note\n", "\"a, b\",12,\"some \"\"text\"\"\"\n", many, "");
  ends_in_time(document);
}

TEST(TimeOut, EndsHtml) {
  LongDocument document("<html><head><meta charset=utf-8></head><body>",
                        "<p>Some <b>text</b> &amp; more of it.</p>\n", many, "</body></html>");
  ends_in_time(document);
}

TEST(TimeOut, EndsXml) {
  LongDocument document("<?xml version='1.0' encoding='UTF-8'?><list>",
                        "<item><name>Some</name> text</item>\n", many, "</list>");
  ends_in_time(document);
}

TEST(TimeOut, EndsRtf) {
  LongDocument document("{\\rtf1\\ansi ", "Some {\\b text} and \\'e4 more of it.\\par\n", many,
                        "}");
  ends_in_time(document);
}

TEST(TimeOut, EndsDocx) {
  ends_in_time(trfilter::test::docx(
                   repeated("<w:p><w:r><w:t>Some text and more</w:t></w:r></w:p>", large_part))
                   .bytes(ZipWriter::Method::deflated));
}

TEST(TimeOut, EndsXlsx) {
  ends_in_time(xlsx("<sheetData>" +
                    repeated("<row><c><v>1.5</v></c><c><v>27</v></c></row>", large_part) +
                    "</sheetData>"));
}

TEST(TimeOut, EndsPptx) {
  const std::string paragraphs = repeated("<a:p><a:r><a:t>a</a:t></a:r></a:p>", larger_part);
  ends_in_time(trfilter::test::pptx({"<p:sp><p:txBody>" + paragraphs + "</p:txBody></p:sp>"})
                   .bytes(ZipWriter::Method::deflated));
}

TEST(TimeOut, EndsOpenDocument) {
  ends_in_time(odt(repeated("<text:p>a</text:p>", larger_part)));
}

TEST(TimeOut, EndsPdf) {
  // One page whose content goes on and on.
  ends_in_time(pdf(repeated(pdf_text(72, 700, "Some text"), std::size_t{64} << 20)));
}

TEST(TimeOut, EndsEpub) {
  ends_in_time(epub(repeated("<p>Some <b>text</b> and more</p>", large_part)));
}

TEST(TimeOut, NoneLetsReadingEnd) {
  const Session session(TARNIS_ENGINE_DIRECTORY, true, Configuration().timeout(0));
  v1::io::InMemoryFile file(std::vector<unsigned char>{'h', 'i'});
  Nowhere nowhere;
  EXPECT_NO_THROW(v1::internal::filter(session.implementation(), v1::generic_io::Input(file),
                                       v1::generic_io::Output(nowhere)));
}

TEST(ExtractionTimeOut, EndsTheExtractionOfAMember) {
  const std::string content(std::size_t{100} << 20, 'x');
  ZipWriter writer;
  writer.add("long.txt", content, {.method = ZipWriter::Method::deflated});
  const std::string bytes = writer.bytes();
  const Session session(TARNIS_ENGINE_DIRECTORY, true, Configuration().extraction_timeout(1));
  v1::io::InMemoryFile file(std::vector<unsigned char>(bytes.begin(), bytes.end()));
  const v1::Container container(v1::generic_io::Input(file), *session.implementation());
  // A host that is slow to take what it gets.
  struct Slow {
    long write(const char*, long n) {
      const timespec pause{0, 5'000'000};
      nanosleep(&pause, nullptr);
      return n;
    }
  } slow;
  const auto begin = steady_clock::now();
  int code = 0;
  try {
    v1::internal::extract((*container.begin()).implementation(), v1::generic_io::Output(slow));
  } catch (const v1::tarnis_error& error) {
    code = error.code();
  }
  const auto time = duration_cast<milliseconds>(steady_clock::now() - begin);
  EXPECT_EQ(code, 19) << time.count();
  EXPECT_LE(time, time_out + grace);
}

}  // namespace
}  // namespace tarnis::options
