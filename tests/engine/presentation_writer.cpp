#include "tests/engine/presentation_writer.h"

#include "tests/engine/compound_writer.h"
#include "tests/engine/workbook_writer.h"

namespace trfilter::test {
namespace {

constexpr std::uint32_t master_identifier = 0x80000000;
constexpr std::uint32_t first_slide_identifier = 256;
// The document is object 1, the master 2; slides, notes and others follow.
constexpr std::uint32_t first_slide = 3;

std::string head(unsigned version, unsigned instance, std::uint16_t type, std::size_t size) {
  return u16(version | instance << 4) + u16(type) + u32(static_cast<std::uint32_t>(size));
}

std::string slide_persist(std::uint32_t object, std::uint32_t identifier) {
  return atom(0x03F3, u32(object) + u32(0) + u32(0) + u32(identifier) + u32(0));
}

}  // namespace

std::string atom(std::uint16_t type, std::string_view data, unsigned instance) {
  return head(0, instance, type, data.size()) + std::string(data);
}

std::string container(std::uint16_t type, std::string_view records, unsigned instance) {
  return head(0x0F, instance, type, records.size()) + std::string(records);
}

std::string text_atoms(std::u16string_view text) {
  return atom(0x0F9F, u32(4)) + atom(0x0FA0, utf16(text));
}

std::string byte_text_atoms(std::string_view text) {
  return atom(0x0F9F, u32(4)) + atom(0x0FA8, text);
}

std::string string_atom(std::u16string_view text, unsigned instance) {
  return atom(0x0FBA, utf16(text), instance);
}

std::string shape(std::string_view text, unsigned placeholder, std::string_view more) {
  std::string records = atom(0xF00A, u32(1025) + u32(0x0A00)) + std::string(more);
  if (placeholder != 0) {
    records += container(0xF011, atom(0x0BC3, u32(0) + u8(placeholder) + u8(0) + u16(0)));
  }
  if (!text.empty()) records += container(0xF00D, text);
  return container(0xF004, records);
}

std::string shape_group(std::string_view shapes, std::string_view properties) {
  return container(0xF003, shape("", 0, properties) + std::string(shapes));
}

std::string shape_properties(std::uint16_t type,
                             const std::vector<std::pair<unsigned, std::uint32_t>>& entries) {
  std::string data;
  for (const auto& [identifier, value] : entries) data += u16(identifier) + u32(value);
  return atom(type, data, static_cast<unsigned>(entries.size()));
}

std::string drawing(std::string_view shapes) {
  return container(0x040C, container(0xF002, shape_group(shapes)));
}

PresentationWriter& PresentationWriter::add(SlideRecords slide) {
  slides_.push_back(std::move(slide));
  return *this;
}

PresentationWriter& PresentationWriter::document(std::string_view records) {
  document_ = records;
  return *this;
}

PresentationWriter& PresentationWriter::master(std::string_view records) {
  master_ = records;
  return *this;
}

std::uint32_t PresentationWriter::add_object(std::string_view record) {
  more_objects_.emplace_back(record);
  return static_cast<std::uint32_t>(first_slide + slides_.size() * 2 + more_objects_.size() - 1);
}

PresentationWriter& PresentationWriter::encrypt(const Rc4Encryption* encryption) {
  encryption_ = encryption;
  return *this;
}

std::vector<std::string> PresentationWriter::objects() const {
  std::vector<std::string> objects(2);
  std::string slide_list;
  std::string notes_list;
  for (std::uint32_t i = 0; i < slides_.size(); ++i) {
    const SlideRecords& slide = slides_[i];
    const std::uint32_t identifier = first_slide_identifier + i;
    const std::uint32_t object = first_slide + i * 2;
    const std::uint32_t notes = slide.notes.empty() ? 0 : identifier;
    const std::string slide_atom =
        atom(0x03EF, std::string(12, '\0') + u32(slide.master ? master_identifier : 0) +
                         u32(notes) + u32(0));
    objects.push_back(container(0x03EE, slide_atom + slide.records));
    objects.push_back(container(0x03F0, slide.notes));
    slide_list += slide_persist(object, identifier) + slide.texts;
    if (notes != 0) notes_list += slide_persist(object + 1, identifier);
  }
  objects[0] = container(0x03E8, document_ + container(0x0FF0, slide_list, 0) +
                                     container(0x0FF0, slide_persist(2, master_identifier), 1) +
                                     container(0x0FF0, notes_list, 2));
  objects[1] = container(0x03F8, master_);
  objects.insert(objects.end(), more_objects_.begin(), more_objects_.end());
  return objects;
}

std::string PresentationWriter::stream() const {
  std::string stream;
  std::string offsets;
  std::vector<std::string> all = objects();
  if (encryption_ != nullptr) {
    for (std::uint32_t i = 0; i < all.size(); ++i) all[i] = encryption_->encrypt(i + 1, all[i]);
    all.push_back(container(0x2F14, encryption_->header()));
  }
  for (const std::string& object : all) {
    offsets += u32(static_cast<std::uint32_t>(stream.size()));
    stream += object;
  }
  const auto directory = static_cast<std::uint32_t>(stream.size());
  stream += atom(0x1772, u32(1 | static_cast<std::uint32_t>(all.size()) << 20) + offsets);
  std::string edit =
      u32(0) + u32(0x03000000) + u32(0) + u32(directory) + u32(1) + u32(100) + u32(0);
  if (encryption_ != nullptr) edit += u32(static_cast<std::uint32_t>(all.size()));
  return stream + atom(0x0FF5, edit);
}

std::string PresentationWriter::current_user() const {
  constexpr std::uint32_t plain = 0xE391C05F;
  const std::size_t edit_size = encryption_ != nullptr ? 40 : 36;
  return atom(0x0FF6, u32(0x14) + u32(plain) +
                          u32(static_cast<std::uint32_t>(stream().size() - edit_size)) + u32(0));
}

std::string PresentationWriter::bytes() const {
  CompoundWriter writer;
  writer.add("PowerPoint Document", stream());
  return writer.add("Current User", current_user()).bytes();
}

}  // namespace trfilter::test
