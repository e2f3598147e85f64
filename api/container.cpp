#include "api/container.h"

#include <stdexcept>
#include <utility>

#include "api/container_implementation.h"

namespace tarnis::v1 {

Subfile::Subfile(long index, const internal::ContainerImplementation* container)
    : implementation_(std::make_unique<internal::SubfileImplementation>(index, container)) {}

Subfile::Subfile(const Subfile& other)
    : implementation_(std::make_unique<internal::SubfileImplementation>(*other.implementation_)) {}

Subfile& Subfile::operator=(Subfile other) noexcept {
  swap(*this, other);
  return *this;
}

Subfile::~Subfile() = default;

long Subfile::index() const {
  return implementation_->index();
}

const std::string& Subfile::rawname() const {
  return implementation_->info().name;
}

subfile_type Subfile::type() const {
  const auto type = static_cast<subfile_type>(implementation_->info().type);
  switch (type) {
    case subfile_type::file:
    case subfile_type::message:
    case subfile_type::attachment:
    case subfile_type::folder:
    case subfile_type::embedded_object:
    case subfile_type::contact:
    case subfile_type::appointment:
    case subfile_type::task:
    case subfile_type::note:
    case subfile_type::journal_entry:
      return type;
  }
  throw std::logic_error("unknown subfile type");
}

long Subfile::size() const {
  return implementation_->info().size;
}

long Subfile::time() const {
  return implementation_->info().time;
}

bool Subfile::is_folder() const {
  return implementation_->info().is_folder;
}

long Subfile::parent() const {
  return implementation_->info().parent;
}

const std::vector<long>& Subfile::children() const {
  return implementation_->info().children;
}

std::multimap<std::string, std::string> Subfile::mail_metadata() const {
  return implementation_->container()->mail_metadata(index());
}

subfile_const_iterator::subfile_const_iterator(long index,
                                               const internal::ContainerImplementation* container)
    : index_(index), container_(container), subfile_(index, container) {}

void subfile_const_iterator::step() {
  Subfile next(index_ + 1, container_);
  swap(subfile_, next);
  ++index_;
}

subfile_const_iterator subfile_const_iterator::operator++() {
  // What is replaced here goes out as it is, with the attributes that it has read.
  subfile_const_iterator before(index_ + 1, container_);
  swap(subfile_, before.subfile_);
  std::swap(index_, before.index_);
  return before;
}

subfile_const_iterator subfile_const_iterator::operator++(int) {
  step();
  return *this;
}

Container::Container(const generic_io::Input& input, const internal::SessionImplementation& session)
    : implementation_(std::make_unique<internal::ContainerImplementation>(input, session)) {}

Container::Container(Container&& other) noexcept = default;

Container::~Container() {
  if (implementation_ != nullptr) implementation_->close_container();
}

long Container::size() const {
  implementation_->open_container();
  return implementation_->count();
}

bool Container::empty() const {
  return size() == 0;
}

Subfile Container::at(long index) const {
  const long count = size();
  if (index < 0 || index >= count) throw std::out_of_range("Subfile index is invalid");
  return {index, implementation_.get()};
}

subfile_const_iterator Container::begin() const {
  implementation_->open_container();
  return {0, implementation_.get()};
}

subfile_const_iterator Container::end() const {
  return {size(), implementation_.get()};
}

}  // namespace tarnis::v1
