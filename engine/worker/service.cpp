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

// Text shorter than this goes with the answer to its document's opening.
constexpr std::size_t shortest_piece = std::size_t{4} << 10;

/// How much of `text` goes into one frame: characters stay whole.
std::size_t frame_of_text(std::string_view text) {
  if (text.size() <= largest_text_piece) return text.size();
  std::size_t length = largest_text_piece;
  while (length > largest_text_piece - 4 &&
         (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80) {
    --length;
  }
  return length;
}

}  // namespace

/// The bytes of a small document, in the window while the host still fills it. What does not stay
/// there is copied while the document is being opened: nothing reads it again later.
class Service::WindowSource : public ByteSource {
 public:
  WindowSource(Channel& channel, const char* window, const OpenRequest& request)
      : channel_(&channel),
        place_(request.place),
        bytes_(window + place_offset(request.place)),
        size_(request.size) {}

  std::uint64_t size() const override { return size_; }
  std::size_t read_at(std::uint64_t offset, std::span<char> out) override {
    if (offset >= size_) return 0;
    const std::uint64_t end = offset + std::min<std::uint64_t>(out.size(), size_ - offset);
    const std::uint64_t there = std::min(end, await(std::min(end, offset + copied_at_once)));
    const auto count = static_cast<std::size_t>(there - offset);
    return std::string_view(bytes_ + offset, count).copy(out.data(), out.size());
  }
  const char* in_place() const override { return place_ == Place::kept ? bytes_ : nullptr; }
  std::uint64_t await(std::uint64_t end) override {
    while (shown_ < end) shown_ = std::min(size_, channel_->await_shown(place_, shown_));
    return shown_;
  }

 private:
  static constexpr std::uint64_t copied_at_once = std::uint64_t{64} << 10;

  Channel* channel_;
  Place place_;
  const char* bytes_;
  std::uint64_t size_;
  std::uint64_t shown_ = 0;
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

Service::Service(Channel& channel, const char* window, DocumentOpener& opener,
                 std::string temporary_directory)
    : channel_(&channel),
      window_(window),
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
  frame->payload();
  channel_->give_back();
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
    source = std::make_unique<WindowSource>(*channel_, window_, request);
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
    if (size < shortest_piece) reply.text = std::exchange(open.unsent, {});
    for (std::uint32_t piece = 0; piece < pieces_at_once && !open.unsent.empty(); ++piece) {
      send_piece(frame, open);
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
    if (!end.ended) send_piece(frame, open);
  }
  if (end.ended) documents_.erase(frame.header.document);
  send(FrameKind::done, frame, payload_of(end));
}

void Service::send_piece(const Frame& request, Open& open) {
  const std::size_t length = frame_of_text(open.unsent);
  send(FrameKind::data, request, open.unsent.substr(0, length));
  open.unsent.remove_prefix(length);
}

/// What the process has used: asked for now and then alone, as the system takes as long for it as
/// reading a short text does.
void Service::note_usage() {
  constexpr auto often_enough = std::chrono::microseconds(200);
  const auto now = std::chrono::steady_clock::now();
  if (now - usage_time_ < often_enough) return;
  usage_time_ = now;
  ::getrusage(RUSAGE_SELF, &usage_);
}

void Service::send(FrameKind kind, const Frame& request, std::string_view payload) {
  FrameHeader header;
  header.kind = kind;
  header.request = request.header.request;
  header.document = request.header.document;
  if (kind != FrameKind::data) note_usage();
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
    frame->payload();
    channel_->give_back();
    if (frame->header.kind == FrameKind::cancel && frame->header.document == document) return true;
    waiting_.push_back(std::move(frame));
  }
}

}  // namespace trfilter
