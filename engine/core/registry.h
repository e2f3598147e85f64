#pragma once

#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "engine/core/reader.h"
#include "engine/core/temporary_file.h"

namespace trfilter {

/// One row of readers.def.
struct ReaderRow {
  std::string_view name;
  std::string_view module;
  std::span<const std::uint32_t> formats;
};

/// All rows of readers.def, in its order.
std::span<const ReaderRow> reader_rows();

/// The row whose reader reads `format`; null when none does.
const ReaderRow* reader_row_of(Format format);

/// Loads reader modules on first use and keeps them for the life of the process.
class ReaderModules {
 public:
  /// @param engine_directory  the folder that holds trfilter-readers/
  explicit ReaderModules(std::string engine_directory)
      : directory_(std::move(engine_directory) + "/trfilter-readers"),
        temporary_space_(&TemporarySpace::of_process()) {}

  /// Makes the reader for the context's format.
  /// @throws EngineError code 7 when no row reads the format, code 13 when its module or a library
  ///         that it needs cannot be loaded; and what the reader's constructor throws
  std::unique_ptr<Reader> open(const ReaderContext& context) const;

  /// An exported function of a module.
  /// @throws EngineError code 13 as `open`
  void* function(std::string_view module, const std::string& symbol) const;

  /// What temporary files of all modules count in.
  TemporarySpace& temporary_space() const { return *temporary_space_; }

 private:
  std::string directory_;
  TemporarySpace* temporary_space_;
};

}  // namespace trfilter
