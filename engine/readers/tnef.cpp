// The Transport Neutral Encapsulation Format, [MS-OXTNEF]: a message with all its properties and
// attachments as one stream of attributes, known as the attachment winmail.dat.
//
// What is shown: the headers that people read, the facts of a contact, an appointment, a task or a
// journal entry, the body in the best of its forms: plain, HTML, RTF. Attachments are members:
// attached messages are written as RFC 5322 text, embedded objects as they are.
//
// Not handled: checksums, drawings of attachments' icons, delegates and requests of older clients.
//
// Bounds: values of 256 MiB, 65,536 attachments, recipients, properties and values of one property;
// 32 messages attached to each other when one is written.
//
// The end: a stream that breaks off gives what it has, then code 4.

#include <memory>

#include "engine/core/engine_error.h"
#include "engine/core/reader.h"
#include "engine/mapi/item_output.h"
#include "engine/mapi/tnef_message.h"

namespace trfilter {
namespace {

class TnefReader : public Reader {
 public:
  explicit TnefReader(const ReaderContext& context)
      : context_(context),
        message_(context.document, {0, context.document.size()}, context.limits),
        text_(context_, message_) {
    mapi::assume_encoding(message_.properties(), context.options);
  }

  bool step(TextSink& sink) override {
    if (text_.step(sink)) return true;
    if (message_.damaged()) throw EngineError(Code::corrupt, "the TNEF stream is damaged");
    return false;
  }

  void properties(Properties& properties) override {
    mapi::add_item_properties(message_, properties);
  }

  std::unique_ptr<Subfiles> subfiles() override {
    return std::make_unique<mapi::ItemMembers>(context_, message_);
  }

 private:
  ReaderContext context_;
  mapi::TnefMessage message_;
  mapi::ItemText text_;
};

}  // namespace
}  // namespace trfilter

TRFILTER_READER(tnef, trfilter::TnefReader)
