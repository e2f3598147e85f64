#pragma once

#include <libpff.h>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>

#include "engine/core/document.h"
#include "engine/core/limits.h"

namespace trfilter::store {

struct ItemFree {
  void operator()(libpff_item_t* item) const { libpff_item_free(&item, nullptr); }
};
using Item = std::unique_ptr<libpff_item_t, ItemFree>;

struct RecordSetFree {
  void operator()(libpff_record_set_t* set) const { libpff_record_set_free(&set, nullptr); }
};
using RecordSet = std::unique_ptr<libpff_record_set_t, RecordSetFree>;

struct RecordEntryFree {
  void operator()(libpff_record_entry_t* entry) const { libpff_record_entry_free(&entry, nullptr); }
};
using RecordEntry = std::unique_ptr<libpff_record_entry_t, RecordEntryFree>;

/// A mail store, opened by libpff on a document. What the document or the limits throw while the
/// library reads comes out of `check`.
class Library {
 public:
  /// @param document, limits  outlive the object
  /// @throws EngineError code 4 for what cannot be opened
  Library(Document& document, const Limits& limits);
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
  ~Library();

  /// The folder that holds all others.
  /// @throws EngineError code 4 without one
  Item root_folder();

  /// What lies in an item, by its number; null for what cannot be opened.
  Item sub_item(libpff_item_t* item, int number) const;

  /// Passes on the result of a call of the library.
  /// @return whether the call gave something
  /// @throws what was thrown while the library was reading, code 19 after the deadline
  bool check(int result) const;

  /// How many calls have failed so far: what they should have given is damaged.
  std::size_t failures() const { return failures_; }

 private:
  struct Source;

  std::unique_ptr<Source> source_;
  intptr_t* input_ = nullptr;  ///< libbfio's handle
  libpff_file_t* file_ = nullptr;
  mutable std::size_t failures_ = 0;
};

}  // namespace trfilter::store
