#include "engine/worker/service.h"

#include <algorithm>
#include <span>
#include <utility>

#include "engine/core/engine_error.h"
#include "engine/core/text_sink.h"
#include "engine/opening/error_code.h"
#include "engine/worker/lockdown.h"

namespace trfilter {
namespace {

// Processor time beyond a time-out, in seconds: the clock on the wall comes first.
constexpr std::int64_t processor_slack = 2;

/// How much of `text` goes into one frame: characters stay whole.
std::size_t frame_of_text(std::string_view text) {
  if (text.size() <= largest_payload) return text.size();
  std::size_t length = largest_payload;
  while (length > largest_payload - 4 &&
         (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80) {
    --length;
  }
  return length;
}

}  // namespace

/// The bytes of a small document, while it is being opened: nothing reads them again later.
class Service::WindowSource : public ByteSource {
 public:
  WindowSource(const char* bytes, std::uint64_t size) : bytes_(bytes), size_(size) {}

  std::uint64_t size() const override { return size_; }
  std::size_t read_at(std::uint64_t offset, std::span<char> out) override {
    if (offset >= size_) return 0;
    const auto rest = static_cast<std::size_t>(size_ - offset);
    return std::string_view(bytes_ + offset, rest).copy(out.data(), out.size());
  }

 private:
  const char* bytes_;
  std::uint64_t size_;
};

/// The bytes of a large document, asked for in blocks that grow while reading goes on in order.
class Service::BlockSource : public ByteSource {
 public:
  BlockSource(Service& service, std::uint32_t document, std::uint64_t size)
      : service_(&service), document_(document), size_(size) {}
  BlockSource(const BlockSource&) = delete;
  BlockSource& operator=(const BlockSource&) = delete;
  ~BlockSource() override {
    if (service_->block_owner_ == this) service_->block_owner_ = nullptr;
  }

  std::uint64_t size() const override { return size_; }
  std::size_t read_at(std::uint64_t offset, std::span<char> out) override {
    if (offset >= size_) return 0;
    const bool here = service_->block_owner_ == this && offset >= begin_ && offset < end_;
    if (!here) fetch(offset, out.size());
    const std::string_view block(service_->window_ + window_block_offset + block_ * largest_block,
                                 static_cast<std::size_t>(end_ - begin_));
    return block.substr(static_cast<std::size_t>(offset - begin_)).copy(out.data(), out.size());
  }

 private:
  static constexpr std::size_t smallest_block = std::size_t{64} << 10;

  void fetch(std::uint64_t offset, std::size_t wanted) {
    length_ = offset == end_ ? std::min(length_ * 2, largest_block) : smallest_block;
    const std::size_t length = std::clamp(wanted, length_, largest_block);
    const auto count = static_cast<std::uint32_t>(std::min<std::uint64_t>(length, size_ - offset));
    service_->block_owner_ = nullptr;
    end_ = begin_ = offset;
    const BlockReply reply = service_->read_block(document_, offset, count);
    block_ = reply.block;
    end_ += std::min(reply.count, count);
    service_->block_owner_ = this;
  }

  Service* service_;
  std::uint32_t document_;
  std::uint64_t size_;
  std::uint64_t begin_ = 0;
  std::uint64_t end_ = 0;
  std::uint32_t block_ = 0;  ///< of the window's
  std::size_t length_ = smallest_block;
};

/// A member's bytes on their way to the host.
class Service::MemberOutput : public ByteOutput {
 public:
  MemberOutput(Service& service, const Frame& request) : service_(&service), request_(&request) {}

  void write(std::string_view bytes) override {
    while (!bytes.empty()) {
      if (buffer_.empty() && bytes.size() >= largest_payload) {
        send(bytes.substr(0, largest_payload));
        bytes.remove_prefix(largest_payload);
        continue;
      }
      const std::string_view piece = bytes.substr(0, largest_payload - buffer_.size());
      buffer_ += piece;
      bytes.remove_prefix(piece.size());
      if (buffer_.size() == largest_payload) flush();
    }
  }
  void flush() {
    if (!buffer_.empty()) send(buffer_);
    buffer_.clear();
  }

 private:
  void send(std::string_view piece) {
    if (service_->cancelled(request_->header.document)) {
      throw EngineError(Code::output_failed, "the host does not take the member's bytes");
    }
    service_->send(FrameKind::data, *request_, piece);
  }

  Service* service_;
  const Frame* request_;
  std::string buffer_;
};

Service::Service(Channel& channel, const char* window, char* outlet, DocumentOpener& opener,
                 std::string temporary_directory)
    : channel_(&channel),
      window_(window),
      outlet_(outlet),
      opener_(&opener),
      temporary_directory_(std::move(temporary_directory)) {}

void Service::run() {
  try {
    for (;;) {
      std::unique_ptr<Frame> frame = next_request();
      work(*frame);
      spare_ = std::move(frame);
    }
  } catch (const Gone&) {
    return;
  }
}

std::unique_ptr<Frame> Service::receive() {
  std::unique_ptr<Frame> frame = spare_ ? std::move(spare_) : std::make_unique<Frame>();
  if (channel_->receive(*frame) == Channel::Received::closed) throw Gone{};
  return frame;
}

std::unique_ptr<Frame> Service::next_request() {
  if (waiting_.empty()) return receive();
  std::unique_ptr<Frame> frame = std::move(waiting_.front());
  waiting_.pop_front();
  return frame;
}

void Service::work(const Frame& frame) {
  if (frame.header.kind == FrameKind::close) {
    documents_.erase(frame.header.document);
    return;
  }
  if (frame.header.kind == FrameKind::cancel) return;  // its extraction is over already
  try {
    answer(frame);
  } catch (const Gone&) {
    throw;
  } catch (...) {
    const auto code = static_cast<std::int32_t>(code_of_current_exception());
    FieldWriter payload;
    payload.number(code);
    send(FrameKind::failed, frame, payload.bytes());
  }
}

void Service::answer(const Frame& frame) {
  switch (frame.header.kind) {
    case FrameKind::detect:
    case FrameKind::open:
      introduce(frame);
      return;
    case FrameKind::text:
      send_text(frame);
      return;
    case FrameKind::properties: {
      Properties properties;
      document_of(frame).properties(properties);
      send_whole(frame, payload_of(properties));
      return;
    }
    case FrameKind::describe:
      describe(frame);
      return;
    case FrameKind::mail: {
      const auto member = value_of<MemberRequest>(frame.payload());
      Properties fields;
      document_of(frame).mail_fields(member.index, fields);
      send_whole(frame, payload_of(fields));
      return;
    }
    case FrameKind::extract:
      extract(frame);
      return;
    default:
      protocol_broken("no kind of request");
  }
}

/// Opens a document, or detects what it is.
void Service::introduce(const Frame& frame) {
  auto request = value_of<OpenRequest>(frame.payload());
  request.options.temporary_directory = temporary_directory_;
  bound_processor(request.options);
  const std::uint32_t number = frame.header.document;
  std::unique_ptr<ByteSource> source;
  if (request.size <= Document::block_in_memory) {
    source = std::make_unique<WindowSource>(window_, request.size);
  } else {
    source = std::make_unique<BlockSource>(*this, number, request.size);
  }
  if (frame.header.kind == FrameKind::detect) {
    send(FrameKind::done, frame, payload_of(opener_->detect(std::move(source), request.options)));
    return;
  }
  auto document = opener_->open(std::move(source), request.options, request.purpose);
  OpenedReply reply;
  reply.format = document->format();
  reply.members = request.purpose == Purpose::members ? document->member_count() : 0;
  Open& open = documents_[number];
  open.document = std::move(document);
  open.in_utf8 = request.options.target_encoding == Options::utf8;
  if (request.purpose == Purpose::text) begin_text(frame, open, reply);
  send(FrameKind::done, frame, payload_of(reply));
}

/// Puts the begin of a document's text into the answer to its opening. When that is less than a
/// reader gives at a time it is all, and the document is over. A character may take less than the
/// reader gave for it, a third at the least.
void Service::begin_text(const Frame& frame, Open& open, OpenedReply& reply) {
  try {
    open.unsent = open.document->next_text();
    const std::size_t size = open.unsent.size();
    if (size < smallest_in_outlet) {
      reply.text = std::exchange(open.unsent, {});
    } else {
      send_unsent(frame, open);
    }
    if (size >= (open.in_utf8 ? TextSink::chunk_size : TextSink::chunk_size / 4)) return;
    if (size != 0) open.unsent = open.document->next_text();
    reply.ended = open.unsent.empty();
  } catch (const Gone&) {
    throw;
  } catch (...) {
    reply.ended = true;
    reply.code = static_cast<std::int32_t>(code_of_current_exception());
  }
  if (reply.ended) documents_.erase(frame.header.document);
}

/// The time-out holds for the clock on the wall; the system's bound catches what does not look.
void Service::bound_processor(const Options& options) {
  if (options.timeout_seconds <= 0 || options.extraction_timeout_seconds <= 0) return;
  const auto used = static_cast<std::int64_t>(usage_.ru_utime.tv_sec + usage_.ru_stime.tv_sec);
  const std::int64_t bound = used + processor_slack +
                             std::max(options.timeout_seconds, options.extraction_timeout_seconds);
  if (bound == processor_bound_) return;
  bound_processor_time(bound);
  processor_bound_ = bound;
}

/// Describes the member that was asked for, and those behind it that were, as far as they are well:
/// an error is told when its member is the first.
void Service::describe(const Frame& frame) {
  const auto request = value_of<MemberRequest>(frame.payload());
  OpenedDocument& document = document_of(frame);
  const std::size_t end =
      std::min<std::uint64_t>(request.index + request.count, document.member_count());
  MemberList list;
  list.members.push_back(document.describe(request.index));
  try {
    for (std::size_t index = request.index + 1; index < end; ++index) {
      list.members.push_back(document.describe(index));
    }
  } catch (const EngineError&) {
  }
  send_whole(frame, payload_of(list));
}

void Service::extract(const Frame& frame) {
  const auto member = value_of<MemberRequest>(frame.payload());
  MemberOutput output(*this, frame);
  const Subfiles::Extraction extraction = [&] {
    try {
      return document_of(frame).extract(member.index, output, member.formatted_mail);
    } catch (const Gone&) {
      throw;
    } catch (...) {
      output.flush();  // what there is comes before the error
      throw;
    }
  }();
  output.flush();
  send_whole(frame, payload_of(extraction));
}

void Service::send_text(const Frame& frame) {
  const auto request = value_of<TextRequest>(frame.payload());
  Open& open = open_of(frame);
  TextEnd end;
  for (std::uint32_t piece = 0; piece < request.pieces && !end.ended; ++piece) {
    try {
      if (open.unsent.empty()) open.unsent = open.document->next_text();
    } catch (...) {
      documents_.erase(frame.header.document);  // an error ends the text
      throw;
    }
    end.ended = open.unsent.empty();
    send_unsent(frame, open);
  }
  if (end.ended) documents_.erase(frame.header.document);
  send(FrameKind::done, frame, payload_of(end));
}

void Service::send_unsent(const Frame& request, Open& open) {
  while (!open.unsent.empty()) {
    const std::size_t length = frame_of_text(open.unsent);
    send_piece(request, open.unsent.substr(0, length));
    open.unsent.remove_prefix(length);
  }
}

/// Sends text through the outlet when it is worth it and the host has copied what lay there.
void Service::send_piece(const Frame& request, std::string_view text) {
  const auto* const count = reinterpret_cast<const std::uint32_t*>(window_ + window_count_offset);
  const std::uint32_t copied = __atomic_load_n(count, __ATOMIC_ACQUIRE);
  if (text.size() < smallest_in_outlet || outlet_pieces_ - copied >= outlet_slots) {
    send(FrameKind::data, request, text);
    return;
  }
  OutletPiece piece;
  piece.slot = outlet_pieces_++ % outlet_slots;
  piece.length = static_cast<std::uint32_t>(text.size());
  text.copy(outlet_ + piece.slot * outlet_slot_size, text.size());
  send(FrameKind::piece, request, payload_of(piece));
}

void Service::send(FrameKind kind, const Frame& request, std::string_view payload) {
  FrameHeader header;
  header.kind = kind;
  header.request = request.header.request;
  header.document = request.header.document;
  if (kind != FrameKind::data && kind != FrameKind::piece) ::getrusage(RUSAGE_SELF, &usage_);
  header.peak_memory = static_cast<std::uint32_t>(usage_.ru_maxrss);
  if (channel_->send(header, payload) != Channel::Received::frame) throw Gone{};
}

void Service::send_whole(const Frame& request, std::string_view payload) {
  while (payload.size() > largest_payload) {
    send(FrameKind::data, request, payload.substr(0, largest_payload));
    payload.remove_prefix(largest_payload);
  }
  send(FrameKind::done, request, payload);
}

Service::Open& Service::open_of(const Frame& frame) {
  const auto found = documents_.find(frame.header.document);
  if (found == documents_.end()) throw EngineError(Code::invalid_argument, "no such document");
  return found->second;
}

/// Asks the host for bytes of a document, and waits for them.
BlockReply Service::read_block(std::uint32_t document, std::uint64_t offset, std::uint32_t count) {
  BlockRequest request;
  request.offset = offset;
  request.count = count;
  FrameHeader header;
  header.kind = FrameKind::need;
  header.document = document;
  if (channel_->send(header, payload_of(request)) != Channel::Received::frame) throw Gone{};
  for (;;) {
    std::unique_ptr<Frame> frame = receive();
    if (frame->header.kind != FrameKind::block) {
      waiting_.push_back(std::move(frame));
      continue;
    }
    const auto reply = value_of<BlockReply>(frame->payload());
    spare_ = std::move(frame);
    if (reply.code != 0) throw EngineError(static_cast<Code>(reply.code), "no bytes from the host");
    return reply;
  }
}

/// Whether the host wants no more of the extraction that runs.
bool Service::cancelled(std::uint32_t document) {
  for (;;) {
    std::unique_ptr<Frame> frame = spare_ ? std::move(spare_) : std::make_unique<Frame>();
    const auto received = channel_->receive(*frame, Deadline());
    if (received == Channel::Received::closed) throw Gone{};
    if (received == Channel::Received::nothing) {
      spare_ = std::move(frame);
      return false;
    }
    if (frame->header.kind == FrameKind::cancel && frame->header.document == document) return true;
    waiting_.push_back(std::move(frame));
  }
}

}  // namespace trfilter
