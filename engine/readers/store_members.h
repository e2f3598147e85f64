#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "engine/core/reader.h"
#include "engine/core/subfiles.h"
#include "engine/readers/store_library.h"
#include "engine/readers/store_message.h"

namespace trfilter::store {

/// The folders and items of a store. What is kept is a number for each item; an item is opened when
/// it is asked for and closed again.
class StoreMembers : public Subfiles {
 public:
  /// @param context, library  outlive the object
  StoreMembers(const ReaderContext& context, Library& library);

  std::size_t count() const override { return count_; }
  Subfile describe(std::size_t index) override;
  Extraction extract(std::size_t index, ByteOutput& output, bool formatted_mail) override;
  void mail_fields(std::size_t index, Properties& fields) override;

 private:
  /// A folder, with its items behind it and then its folders.
  struct Folder {
    std::size_t first_item = 0;        ///< index of its first item; its own is the one before
    std::vector<int> items;            ///< numbers among what lies in the folder
    std::size_t parent = 0;            ///< its place in `folders_`; its own for the root
    int number = 0;                    ///< its own among what lies in its parent
    std::string path;                  ///< with a slash behind it; empty for the root
    std::vector<std::size_t> folders;  ///< places of those within it
  };

  void add_folders();
  std::size_t folder_of(std::size_t index) const;
  bool is_folder(std::size_t index, const Folder& folder) const {
    return index + 1 == folder.first_item;
  }
  std::int32_t index_of(std::size_t folder) const;
  libpff_item_t* open_folder(std::size_t folder);
  std::unique_ptr<StoreMessage> open_item(std::size_t index);

  ReaderContext context_;
  Library* library_;
  std::vector<Folder>
      folders_;  ///< in the order of their indexes; the root first, no member itself
  std::size_t count_ = 0;
  Item open_folder_;  ///< the one that was asked for last
  std::size_t open_folder_place_ = 0;
};

}  // namespace trfilter::store
