#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace trfilter {

/// The objects of a binary property list, found by their numbers. Nothing is kept of them: each is
/// read where it lies, and what it refers to may be anything, itself included.
class PropertyListFile {
 public:
  enum class Kind : std::uint8_t {
    null,
    boolean,
    integer,
    real,
    date,
    data,
    ascii,
    utf16,  ///< big-endian
    uid,
    array,  ///< a set, too
    dictionary,
  };

  struct Object {
    Kind kind = Kind::null;
    bool truth = false;       ///< of a boolean
    std::string_view bytes;   ///< of a number, a date, data or text; of an array or a dictionary
                              ///< its references
    std::uint64_t count = 0;  ///< members of an array; pairs of a dictionary
    bool container() const { return kind == Kind::array || kind == Kind::dictionary; }
  };

  /// @param bytes  the whole file; outlives the object
  /// @throws EngineError code 4 for what is no such file
  explicit PropertyListFile(std::string_view bytes);

  std::uint64_t size() const { return objects_; }
  std::uint64_t top() const { return top_; }

  /// @throws EngineError code 4 when there is no such object, or not all of it
  Object at(std::uint64_t number) const;

  /// The number of a member of an array; of a dictionary the keys come first, then the values.
  static constexpr std::uint64_t no_object = ~std::uint64_t{0};
  std::uint64_t member(const Object& container, std::uint64_t index) const;

  /// The value of a key in ASCII; none in what is no dictionary.
  std::optional<Object> value(const Object& dictionary, std::string_view key) const;

  std::int64_t integer_of(const Object& object) const;
  /// Of a real number or a date: seconds since 2001-01-01 00:00:00 UTC.
  double real_of(const Object& object) const;

 private:
  std::string_view bytes_;
  unsigned offset_size_ = 0;
  unsigned reference_size_ = 0;
  std::uint64_t objects_ = 0;
  std::uint64_t top_ = 0;
  std::uint64_t table_ = 0;  ///< where the objects' offsets are
};

}  // namespace trfilter
