#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "api/export.h"
#include "api/generic_io.h"

namespace tarnis::v1 {

namespace internal {
class ContainerImplementation;
class SessionImplementation;
class SubfileImplementation;
}  // namespace internal

/// What a subfile is; the values are the engine's numbers, of which 5 is none.
enum class subfile_type : std::uint32_t {
  file = 0,
  message = 1,
  attachment = 2,
  folder = 3,
  embedded_object = 4,
  contact = 6,
  appointment = 7,
  task = 8,
  note = 9,
  journal_entry = 10
};

/// A member of a container, which must outlive it. The engine is asked for the attributes once, by
/// the first accessor but index() and mail_metadata(); each may throw what throw_on_error throws.
class TARNIS_EXPORT Subfile {
 public:
  Subfile(long index, const internal::ContainerImplementation* container);
  Subfile(const Subfile& other);
  Subfile& operator=(Subfile other) noexcept;
  ~Subfile();

  friend void swap(Subfile& left, Subfile& right) noexcept {
    left.implementation_.swap(right.implementation_);
  }

  /// Position in the container, from 0.
  long index() const;
  /// The name as the document gives it: any bytes, any path.
  const std::string& rawname() const;
  /// @throws std::logic_error "unknown subfile type"
  subfile_type type() const;
  /// In bytes.
  long size() const;
  /// FILETIME count: 100-nanosecond ticks since 1601-01-01 00:00:00 UTC.
  long time() const;
  bool is_folder() const;
  /// Index of the subfile that this one is in, as the engine gives it.
  long parent() const;
  /// Indices of the subfiles in this one.
  const std::vector<long>& children() const;

  /// The fields of a mail message: name to text, equal names in the engine's order.
  /// @throws per throw_on_error; std::logic_error or std::range_error for a field without a name or
  ///         with a text that is no UTF-16
  std::multimap<std::string, std::string> mail_metadata() const;

  /// Belongs to this object; never null.
  const internal::SubfileImplementation* implementation() const { return implementation_.get(); }

 private:
  std::unique_ptr<internal::SubfileImplementation> implementation_;
};

/// Steps through the subfiles of a container, which must outlive it.
class TARNIS_EXPORT subfile_const_iterator {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = Subfile;
  using difference_type = std::ptrdiff_t;
  using pointer = const Subfile*;
  using reference = const Subfile&;

  subfile_const_iterator(long index, const internal::ContainerImplementation* container);

  reference operator*() const { return subfile_; }
  pointer operator->() const { return &subfile_; }

  /// Steps on, and returns the iterator as it was before.
  subfile_const_iterator operator++();
  /// Steps on, and returns the iterator as it is then.
  subfile_const_iterator operator++(int);

  bool operator==(const subfile_const_iterator& other) const { return index_ == other.index_; }
  bool operator!=(const subfile_const_iterator& other) const { return index_ != other.index_; }

 private:
  void step();

  long index_;
  const internal::ContainerImplementation* container_;
  Subfile subfile_;
};

/// A document as a container of subfiles. Opened by the first use of size(), empty(), at(), begin()
/// or end(), each of which may then throw what throw_on_error throws; closed at the end. The source
/// of the input and the session must outlive it.
class TARNIS_EXPORT Container {
 public:
  Container(const generic_io::Input& input, const internal::SessionImplementation& session);
  /// Leaves `other` good for nothing but destruction.
  Container(Container&& other) noexcept;
  Container(const Container&) = delete;
  Container& operator=(const Container&) = delete;
  Container& operator=(Container&&) = delete;
  ~Container();

  /// Number of subfiles.
  long size() const;
  bool empty() const;
  /// @throws std::out_of_range "Subfile index is invalid"
  Subfile at(long index) const;
  subfile_const_iterator begin() const;
  subfile_const_iterator end() const;

  /// Belongs to this object; null once it has been moved from.
  const internal::ContainerImplementation* implementation() const { return implementation_.get(); }

 private:
  std::unique_ptr<internal::ContainerImplementation> implementation_;
};

}  // namespace tarnis::v1
