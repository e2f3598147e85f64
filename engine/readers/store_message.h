#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "engine/mapi/mapi_message.h"
#include "engine/mapi/property.h"
#include "engine/readers/store_library.h"

namespace trfilter::store {

/// The properties of an item, or of one row of a table.
class ItemProperties : public mapi::PropertySource {
 public:
  /// @param library  outlives the object
  /// @param item     the same
  ItemProperties(const Library& library, libpff_item_t* item, int row = 0);

  std::uint16_t id_of(const mapi::NamedProperty& property) override;

 protected:
  std::optional<mapi::StoredProperty> load(std::uint16_t id) override;

 private:
  struct Name {
    mapi::Guid set{};
    std::uint32_t number = 0;
    std::string name;
    std::uint16_t id = 0;
  };

  std::optional<Name> name_of(libpff_record_entry_t* entry) const;

  const Library* library_;
  RecordSet record_;
  std::unordered_map<std::uint16_t, int> places_;  ///< entries by ids
  std::vector<Name> names_;  ///< the ids that named properties have here are their places
};

/// An item of a folder, or one that is attached to another.
class StoreMessage : public mapi::Message {
 public:
  /// @param library  outlives the object
  StoreMessage(const Library& library, Item item);

  mapi::PropertySource& properties() override { return properties_; }
  std::size_t recipient_count() override;
  std::unique_ptr<mapi::PropertySource> recipient(std::size_t index) override;
  std::size_t attachment_count() override;
  std::unique_ptr<mapi::Attachment> attachment(std::size_t index) override;

 private:
  const Library* library_;
  Item item_;
  ItemProperties properties_;
  Item recipients_;  ///< a table; null without
  std::optional<std::size_t> recipient_count_;
};

}  // namespace trfilter::store
