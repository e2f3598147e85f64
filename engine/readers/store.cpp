// Mail stores of Outlook, [MS-PST]: personal folders (PST, of 32 and of 64 bits) and offline
// folders (OST), read by libpff.
//
// A store is a container: its members are folders and, within them, messages, contacts,
// appointments, tasks, notes and journal entries, each written as RFC 5322 text with its
// attachments inside or as formatted mail. So an attachment is no member of the store, but of the
// message that has been taken out of it. A store has no text but that of its members.
//
// Not handled: deleted items, items that only describe views, search folders (their items lie in
// other folders). A store's password keeps clients out and encrypts nothing: it is not asked for.
//
// Bounds: folders are followed to a depth of 64; one item is open at a time. libpff keeps the nodes
// of the store in memory, some hundred bytes each, and walks over those of a folder to an item.

#include <memory>

#include "engine/core/engine_error.h"
#include "engine/core/reader.h"
#include "engine/readers/store_library.h"
#include "engine/readers/store_members.h"

namespace trfilter {
namespace {

class StoreReader : public Reader {
 public:
  explicit StoreReader(const ReaderContext& context)
      : context_(context), library_(context.document, context.limits) {}

  bool step(TextSink&) override {
    throw EngineError(Code::unsupported_format, "a mail store has no text of its own");
  }

  std::unique_ptr<Subfiles> subfiles() override {
    return std::make_unique<store::StoreMembers>(context_, library_);
  }

 private:
  ReaderContext context_;
  store::Library library_;
};

}  // namespace
}  // namespace trfilter

TRFILTER_READER(store, trfilter::StoreReader)
