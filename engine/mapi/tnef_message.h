#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "engine/core/document.h"
#include "engine/core/limits.h"
#include "engine/mapi/mapi_message.h"
#include "engine/mapi/property.h"

namespace trfilter::mapi {

/// Bytes within a document.
struct ByteRange {
  std::uint64_t offset = 0;
  std::uint64_t size = 0;
};

/// The properties of a message, a recipient or an attachment in a TNEF stream: those of its list of
/// properties, and behind them what older attributes say. Values are read when they are asked for.
class TnefProperties : public PropertySource {
 public:
  explicit TnefProperties(Document& document) : document_(&document) {}

  /// Reads a list of properties, [MS-OXTNEF] 2.1.3.4.
  /// @param at  moves behind the list, or to where it cannot be read further
  /// @return whether the list is whole
  bool read_list(std::uint64_t& at, std::uint64_t end, const Limits& limits);

  /// Adds what an older attribute says.
  void add_legacy(std::uint16_t id, PropertyType type, std::string value);

  /// Where the value of a property lies; none for one that is absent.
  std::optional<ByteRange> range(std::uint16_t id) const;

  std::uint16_t id_of(const NamedProperty& property) override;

 protected:
  std::optional<StoredProperty> load(std::uint16_t id) override;

 private:
  struct Place {
    PropertyType type = PropertyType::unspecified;
    std::vector<ByteRange> values;
  };
  struct Name {
    Guid set{};
    std::uint32_t number = 0;
    std::string name;
    std::uint16_t id = 0;
  };

  bool read_name(std::uint64_t& at, std::uint64_t end, std::uint16_t id);
  bool read_values(std::uint64_t& at, std::uint64_t end, std::uint16_t stored_type, Place& place);
  std::string read(ByteRange range) const;

  Document* document_;
  std::unordered_map<std::uint16_t, Place> places_;
  std::unordered_map<std::uint16_t, StoredProperty> legacy_;
  std::vector<Name> names_;
};

/// A message in the Transport Neutral Encapsulation Format, [MS-OXTNEF].
class TnefMessage : public Message {
 public:
  /// @param document  outlives the object
  /// @param range     where in it the stream lies
  /// @throws EngineError code 4 for what is no TNEF stream
  TnefMessage(Document& document, ByteRange range, const Limits& limits);
  ~TnefMessage() override;

  PropertySource& properties() override { return properties_; }
  std::size_t recipient_count() override { return recipients_.size(); }
  std::unique_ptr<PropertySource> recipient(std::size_t index) override;
  std::size_t attachment_count() override { return attachments_.size(); }
  std::unique_ptr<Attachment> attachment(std::size_t index) override;

  /// Whether the stream breaks off or is damaged.
  bool damaged() const { return damaged_; }

 private:
  class StreamAttachment;
  /// Where the parts of an attachment lie.
  struct AttachmentParts {
    std::vector<std::pair<std::uint32_t, ByteRange>> attributes;  ///< older ones, by their numbers
    std::optional<ByteRange> list;                                ///< of properties
  };

  void take_message_attribute(std::uint32_t attribute, ByteRange value);
  void take_attachment_attribute(std::uint32_t attribute, ByteRange value);
  void index_recipients(ByteRange value);

  Document* document_;
  const Limits* limits_;
  TnefProperties properties_;
  std::vector<ByteRange> recipients_;  ///< lists of properties
  std::vector<AttachmentParts> attachments_;
  bool damaged_ = false;
};

}  // namespace trfilter::mapi
