#include "engine/compound/document_input.h"

#include <gsf/gsf-input-impl.h>

#include <cstdint>
#include <span>
#include <string>

namespace trfilter {
namespace {

/// libgsf's classes are GObject's: plain structures that begin with their parent's.
struct DocumentInput {
  GsfInput parent;
  Document* document;
  std::string* buffer;  ///< what a read gives that brings no buffer of its own
};

struct DocumentInputClass {
  GsfInputClass parent;
};

GType document_input_type();

DocumentInput* self_of(void* object) {
  return G_TYPE_CHECK_INSTANCE_CAST(object, document_input_type(), DocumentInput);
}

void initialise(GTypeInstance* instance, void*) {
  self_of(instance)->buffer = new std::string;
}

void finalise(GObject* object) {
  delete self_of(object)->buffer;
  const auto* parent = G_OBJECT_CLASS(g_type_class_peek(gsf_input_get_type()));
  parent->finalize(object);
}

GsfInput* duplicate(GsfInput* input, GError**) {
  return make_document_input(*self_of(input)->document);
}

const guint8* read(GsfInput* input, std::size_t count, guint8* buffer) {
  DocumentInput* self = self_of(input);
  if (buffer == nullptr) {
    self->buffer->resize(count);
    buffer = reinterpret_cast<guint8*>(self->buffer->data());
  }
  const std::span<char> out(reinterpret_cast<char*>(buffer), count);
  const auto offset = static_cast<std::uint64_t>(input->cur_offset);
  return self->document->read_at(offset, out) == count ? buffer : nullptr;
}

/// The position is the base class's; there is nothing else to move.
gboolean seek(GsfInput*, gsf_off_t, GSeekType) {
  return FALSE;
}

void initialise_class(void* type_class, void*) {
  G_OBJECT_CLASS(type_class)->finalize = finalise;
  auto* input = static_cast<GsfInputClass*>(type_class);
  input->Dup = duplicate;
  input->Read = read;
  input->Seek = seek;
}

/// Type names are the process's, and each reader module that is loaded has this code once.
std::string name_of_type() {
  static const char of_this_module = 0;
  return "TrfilterDocumentInput" +
         std::to_string(reinterpret_cast<std::uintptr_t>(&of_this_module));
}

GType document_input_type() {
  static const GType type = g_type_register_static_simple(
      gsf_input_get_type(), name_of_type().c_str(), sizeof(DocumentInputClass), initialise_class,
      sizeof(DocumentInput), initialise, static_cast<GTypeFlags>(0));
  return type;
}

}  // namespace

GsfInput* make_document_input(Document& document) {
  auto* self = self_of(g_object_new(document_input_type(), nullptr));
  self->document = &document;
  gsf_input_set_size(&self->parent, static_cast<gsf_off_t>(document.size()));
  return &self->parent;
}

}  // namespace trfilter
