#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "engine/charset/encoding.h"
#include "engine/compound/compound_file.h"
#include "engine/core/limits.h"
#include "engine/core/options.h"
#include "engine/core/text_sink.h"

namespace trfilter::ppt {

/// The slides of a presentation of 1995. Its stream has the tree of records that later versions
/// describe ([MS-PPT] 2.4), with headers of their own of 16 bytes and without a directory.
class Slides1995 {
 public:
  /// @return the slides of the storage's stream; null where it is no such one
  /// @param options, limits  outlive the object
  static std::unique_ptr<Slides1995> find(const CompoundFile& file, std::uint32_t storage,
                                          const Options& options, Limits& limits);

  std::size_t count() const { return slides_.size(); }
  bool damaged() const { return damaged_; }

  /// Shows a slide with the page that holds its notes.
  void show(TextSink& sink, std::size_t slide);

 private:
  /// Where a record stands: its bytes lie between header and end.
  struct Record {
    std::uint32_t type = 0;
    std::uint32_t mark = 0;
    std::uint32_t role = 0;
    std::uint64_t begin = 0;
    std::uint64_t end = 0;

    bool is_container() const;
  };

  Slides1995(std::unique_ptr<CompoundStream> stream, const Options& options, Limits& limits);

  std::optional<Record> next(std::uint64_t& at, std::uint64_t end);
  void find_slides(const Record& document);
  void show_records(TextSink& sink, const Record& container, unsigned depth);
  void show_text(TextSink& sink, const Record& text);
  const Encoding& encoding_of(const std::string& bytes);

  std::unique_ptr<CompoundStream> stream_;
  const Options& options_;
  Limits& limits_;
  std::vector<Record> slides_;
  std::vector<Record> notes_;
  const Encoding* encoding_ = nullptr;  ///< of text beyond ASCII, once there has been some
  bool damaged_ = false;
};

}  // namespace trfilter::ppt
