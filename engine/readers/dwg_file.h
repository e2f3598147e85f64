#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/core/document.h"
#include "engine/core/limits.h"

namespace trfilter::dwg {

/// Releases with a file format of their own, in the order of time.
enum class Release : std::uint8_t { r13, r14, r2000, r2004, r2007, r2010, r2013, r2018 };

/// What the begin of a drawing says.
struct Header {
  Release release = Release::r13;
  unsigned code_page = 0;       ///< the format's own number of a character set
  bool data_encrypted = false;  ///< all but the properties needs a password
  bool properties_encrypted = false;
  std::uint64_t summary = 0;  ///< where in the file the summary information is; 0: not known
};

/// One page of a section.
struct Page {
  std::uint64_t start = 0;   ///< in the section
  std::uint64_t size = 0;    ///< bytes that it holds
  std::uint64_t offset = 0;  ///< in the file
  std::uint64_t stored = 0;  ///< bytes in the file; 0: its own header tells
};

/// How a section's pages are stored.
struct Storage {
  bool packed = false;
  bool interleaved = false;     ///< R2007: the blocks of the error correction are
  std::uint64_t page_size = 0;  ///< of a full page, unpacked
};

/// Brings pages into memory.
class PageLoader {
 public:
  virtual ~PageLoader() = default;
  /// @return the page's bytes, fewer than its size when it is damaged
  virtual std::string load(const Page& page, const Storage& storage) = 0;
};

/// A section of a drawing, by random access. Pages that are in use are kept, up to a bound.
class Section {
 public:
  Section(std::vector<Page> pages, Storage storage, PageLoader& loader, Limits& limits);

  std::uint64_t size() const { return size_; }

  /// Up to `count` bytes from `offset`; fewer at the end, and up to where a page is damaged.
  std::string read(std::uint64_t offset, std::size_t count);

 private:
  const std::string& loaded(std::size_t number);

  struct Loaded {
    std::size_t number;
    std::string bytes;
  };
  std::vector<Page> pages_;    ///< in the order of `start`
  std::vector<bool> charged_;  ///< to the limits: the pages that have been loaded once
  Storage storage_;
  PageLoader* loader_;
  Limits* limits_;
  std::uint64_t size_ = 0;
  std::list<Loaded> recent_;  ///< most recently used first
  std::size_t recent_bytes_ = 0;
};

/// The sections of a drawing.
class Sections {
 public:
  virtual ~Sections() = default;
  /// @return null when the drawing has none of this name, which is without "AcDb:"
  virtual std::unique_ptr<Section> open(std::string_view name) = 0;
};

/// Sections of more bytes are taken for damaged; most are a few hundred kilobytes a page.
inline constexpr std::uint64_t most_page_bytes = std::uint64_t{16} << 20;

/// The header of a drawing of release 13 or later; nothing for older ones.
/// @throws EngineError code 4 when it is cut
std::optional<Header> read_header(Document& document);

/// @throws EngineError code 4 when the directory of sections cannot be read
std::unique_ptr<Sections> open_sections(Document& document, Limits& limits, const Header& header);

// The three ways in which releases store sections.
std::unique_ptr<Sections> open_sections_r13(Document& document, Limits& limits);
std::unique_ptr<Sections> open_sections_2004(Document& document, Limits& limits);
std::unique_ptr<Sections> open_sections_2007(Document& document, Limits& limits);

/// `count` bytes of the document from `offset`, fewer at its end.
std::string read_bytes(Document& document, std::uint64_t offset, std::uint64_t count);

/// A section of a directory, as both kinds of directories describe it.
struct NamedSection {
  std::string name;
  Storage storage;
  std::vector<Page> pages;
};

/// Opens the section of this name out of a directory.
std::unique_ptr<Section> open_named(const std::vector<NamedSection>& sections,
                                    std::string_view name, PageLoader& loader, Limits& limits);

}  // namespace trfilter::dwg
