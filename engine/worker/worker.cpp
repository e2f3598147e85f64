#include "engine/worker/worker.h"

#include <signal.h>

#include <algorithm>
#include <span>
#include <utility>

#include "engine/opening/error_code.h"

namespace trfilter {
namespace {

using std::chrono::steady_clock;

// For a new worker's first answer, and for small frames to a worker that does not read.
constexpr auto control_time = std::chrono::seconds(10);

// For what is under way when its document is closed and nothing else is open: starting another
// worker takes less.
constexpr auto abandoned_time = std::chrono::milliseconds(50);

Code code_of(WorkerProcess::End end) {
  using How = WorkerProcess::End::How;
  switch (end.how) {
    case How::exited:
      if (end.value == static_cast<int>(WorkerExit::out_of_memory)) return Code::out_of_memory;
      return end.value == 0 ? Code::worker_pipe_broken : Code::worker_crashed;
    case How::signalled:
      return end.value == SIGXCPU ? Code::timed_out : Code::worker_crashed;
    case How::killed:
      return Code::worker_pipe_broken;  // it lived on, without its socket
    case How::unknown:
      return Code::worker_crashed;
  }
  return Code::worker_crashed;
}

/// Sets a flag for as long as it lives.
class Raised {
 public:
  explicit Raised(bool& flag) : flag_(&flag) { flag = true; }
  Raised(const Raised&) = delete;
  Raised& operator=(const Raised&) = delete;
  ~Raised() { *flag_ = false; }

 private:
  bool* flag_;
};

}  // namespace

Worker::Worker(const std::string& engine_directory, const std::string& temporary_parent)
    : temporary_parent_(temporary_parent),
      process_(engine_directory, temporary_parent),
      id_(process_.id()),
      greeting_deadline_(steady_clock::now() + control_time) {
  Greeting greeting;
  greeting.signature = Greeting::host_signature;
  greeting.version = Greeting::current_version;
  greeting.text = process_.temporary_directory();
  FrameHeader header;
  header.kind = FrameKind::hello;
  process_.channel().send_packet(header, payload_of(greeting), steady_clock::now());
}

bool Worker::ready() {
  if (death_ || working_) return false;
  try {
    if (sources_.empty()) {
      const Deadline soon = steady_clock::now() + abandoned_time;
      for (Pending& pending : pending_) pending.deadline = std::min(pending.deadline, soon);
    }
    while (!pending_.empty()) step();
    if (process_.channel().has_frame()) reject();  // an answer that nobody has asked for
  } catch (const EngineError&) {
    return false;  // those whose it was have been told
  }
  return true;
}

std::uint32_t Worker::add(ByteSource& source) {
  sources_[++last_document_] = &source;
  return last_document_;
}

void Worker::remove(std::uint32_t document, bool is_open) {
  sources_.erase(document);
  if (in_place_ == document) in_place_ = 0;
  for (Pending& pending : pending_) {
    if (pending.document == document) pending.taker = nullptr;
  }
  if (death_ || !greeted_ || !is_open) return;
  FrameHeader header;
  header.kind = FrameKind::close;
  header.document = document;
  // A worker that does not take it, or says that it took more, is found out by the next document.
  try {
    process_.channel().send(header, {}, steady_clock::now());
  } catch (const EngineError&) {
  }
}

std::uint64_t Worker::introduce(FrameKind kind, std::uint32_t document, OpenRequest request,
                                bool stays, AnswerTaker& taker, Deadline deadline) {
  ByteSource& source = *sources_.at(document);
  request.size = source.size();
  const bool is_small = request.size <= Document::block_in_memory;
  if (is_small && stays && in_place_ == 0) {
    in_place_ = document;
    request.place = Place::kept;
  }
  if (is_small) process_.channel().show_nothing(request.place);
  introduced_at_ = process_.channel().sent();
  const std::uint64_t number = this->request(kind, document, payload_of(request), taker, deadline);
  if (is_small) fill_place(source, request.place);
  return number;
}

/// Reads a small document into its place in the window, and tells the worker of each part.
void Worker::fill_place(ByteSource& source, Place place) {
  constexpr std::size_t part = std::size_t{32} << 10;
  char* const begin = process_.window() + place_offset(place);
  const std::span<char> room(begin, static_cast<std::size_t>(source.size()));
  const Raised working(working_);
  try {
    for (std::size_t filled = 0; filled < room.size();) {
      const std::size_t wanted = std::min(part, room.size() - filled);
      const std::size_t count = source.read_at(filled, room.subspan(filled, wanted));
      if (count == 0) throw EngineError(Code::open_stream_failed, "the input ended early");
      filled += count;
      process_.channel().show(place, filled);
    }
  } catch (...) {
    process_.channel().show_failure(place,
                                    code_of_current_exception());  // and the worker's answer is it
  }
}

std::uint64_t Worker::request(FrameKind kind, std::uint32_t document, std::string_view payload,
                              AnswerTaker& taker, Deadline deadline) {
  check_usable();
  greet(deadline);
  FrameHeader header;
  header.kind = kind;
  header.request = ++last_request_;
  header.document = document;
  late_bytes_ = 0;
  send(header, payload, deadline);
  pending_.push_back({header.request, document, kind, &taker, deadline, 0});
  return header.request;
}

void Worker::advance() {
  check_usable();
  step();
}

void Worker::await(std::uint64_t request) {
  check_usable();
  // Requests are answered in their order.
  while (!pending_.empty() && pending_.front().request <= request) step();
}

std::string Worker::spare_text() {
  if (spare_texts_.empty()) return {};
  std::string text = std::move(spare_texts_.back());
  spare_texts_.pop_back();
  return text;
}

void Worker::keep(std::string&& text) {
  constexpr std::size_t most = 4;
  if (spare_texts_.size() < most && text.capacity() <= 2 * largest_payload) {
    spare_texts_.push_back(std::move(text));
  }
}

void Worker::cancel(std::uint32_t document) {
  if (death_) return;
  FrameHeader header;
  header.kind = FrameKind::cancel;
  header.document = document;
  process_.channel().send(header, {}, steady_clock::now() + control_time);
}

void Worker::reject() {
  die(Code::worker_pipe_broken);
}

void Worker::check_usable() const {
  if (death_) throw EngineError(*death_, "the worker is gone");
  if (working_) {
    throw EngineError(Code::invalid_argument, "called from a callback of the same document");
  }
}

void Worker::send(const FrameHeader& header, std::string_view payload, Deadline deadline) {
  const Channel::Received sent = [&] {
    try {
      return process_.channel().send(header, payload, deadline);
    } catch (const EngineError& error) {
      if (error.code() == Code::worker_pipe_broken) reject();
      throw;
    }
  }();
  // Of a closed end what it sent comes first; then its end is found.
  if (sent == Channel::Received::nothing) die(Code::timed_out);
}

/// Takes the worker's first answer, when it has not been taken yet.
void Worker::greet(Deadline deadline) {
  if (greeted_) return;
  try {
    switch (process_.channel().receive_packet(frame_, std::min(deadline, greeting_deadline_))) {
      case Channel::Received::frame:
        break;
      case Channel::Received::nothing:
        die(Code::worker_silent);
      case Channel::Received::closed: {
        const WorkerProcess::End end = process_.end();
        const bool refused = end.how == WorkerProcess::End::How::exited &&
                             end.value == static_cast<int>(WorkerExit::wrong_host);
        death_ = refused ? Code::wrong_host_signature : Code::worker_not_started;
        note_death(end);
        throw EngineError(*death_, "the worker ended before its first answer");
      }
    }
    const auto greeting = value_of<Greeting>(frame_.payload());
    if (frame_.header.kind != FrameKind::hello ||
        greeting.signature != Greeting::worker_signature ||
        greeting.version != Greeting::current_version) {
      protocol_broken("not the worker that belongs to this engine");
    }
    lacks_ = greeting.text;
    greeted_ = true;
  } catch (const EngineError&) {
    if (death_) throw;
    die(Code::wrong_worker_signature);
  }
}

/// Takes one frame, or kills the worker that has none by the deadline.
void Worker::step() {
  const Raised working(working_);
  try {
    const Deadline deadline = next_deadline();
    switch (process_.channel().receive(frame_, deadline)) {
      case Channel::Received::frame:
        bound_lateness(deadline);
        handle(frame_);
        return;
      case Channel::Received::nothing:
        die(Code::timed_out);
      case Channel::Received::closed:
        ended();
    }
  } catch (...) {
    if (death_) throw;
    die(code_of_current_exception());
  }
}

/// What a worker has sent in time may be taken late; it does not go on for ever.
void Worker::bound_lateness(Deadline deadline) {
  if (deadline == Deadline::max() || steady_clock::now() < deadline) return;
  late_bytes_ += sizeof(FrameHeader) + frame_.header.length;
  if (late_bytes_ > ring_size) die(Code::timed_out);
}

/// Whatever it throws is the worker's fault: the host's callbacks are guarded where they are
/// called.
void Worker::handle(const Frame& frame) {
  const FrameHeader header = frame.header;
  if (header.kind == FrameKind::need) {
    serve(frame);
    return;
  }
  if (pending_.empty()) protocol_broken("an answer without a request");
  Pending& front = pending_.front();
  if (header.request != front.request || header.document != front.document) {
    stale_answer_ = header.request < front.request;
    protocol_broken("an answer to another request");
  }
  peak_memory_ = header.peak_memory;
  switch (header.kind) {
    case FrameKind::data:
      take_part(frame, front);
      return;
    case FrameKind::done: {
      AnswerTaker* const taker = front.taker;
      pending_.pop_front();
      if (taker != nullptr) taker->take(frame.payload(), true);
      return;
    }
    case FrameKind::failed: {
      FieldReader in(frame.payload());
      const Code code = code_of_number(in.number<std::int32_t>());
      in.finish();
      AnswerTaker* const taker = front.taker;
      pending_.pop_front();
      if (taker != nullptr) taker->fail(code);
      return;
    }
    default:
      protocol_broken("no kind of answer");
  }
}

/// Reads what the worker asks for into the window.
void Worker::serve(const Frame& frame) {
  const auto wanted = value_of<BlockRequest>(frame.payload());
  if (wanted.count > largest_block) protocol_broken("a block larger than the window");
  const std::uint32_t document = frame.header.document;
  const Block last = blocks_[worker_block_];
  worker_block_ = (worker_block_ + 1) % window_blocks;
  Block& block = blocks_[worker_block_];
  BlockReply reply;
  reply.block = worker_block_;
  const auto source = sources_.find(document);
  if (source == sources_.end()) {
    reply.code = static_cast<std::int32_t>(Code::open_stream_failed);
  } else if (block.document == document && block.offset == wanted.offset && block.count != 0) {
    block.count = std::min(block.count, wanted.count);
  } else {
    block = {};
    try {
      block.count = read_block(*source->second, wanted, worker_block_);
      block.document = document;
      block.offset = wanted.offset;
    } catch (...) {
      reply.code = static_cast<std::int32_t>(code_of_current_exception());
    }
  }
  if (reply.code == 0) reply.count = block.count;
  FrameHeader header;
  header.kind = FrameKind::block;
  header.document = document;
  send(header, payload_of(reply), next_deadline());
  const bool in_order = last.document == document && last.end() == wanted.offset;
  if (reply.count != 0 && in_order) {
    read_ahead(document, *source->second, block.end(), reply.count);
  }
}

/// @return how many bytes there were
std::uint32_t Worker::read_block(ByteSource& source, const BlockRequest& wanted,
                                 std::uint32_t block) {
  char* const begin = process_.window() + window_block_offset + block * largest_block;
  const std::span<char> room(begin, wanted.count);
  std::size_t filled = 0;
  while (filled < room.size()) {
    const std::size_t count = source.read_at(wanted.offset + filled, room.subspan(filled));
    if (count == 0) break;
    filled += count;
  }
  return static_cast<std::uint32_t>(filled);
}

/// Fills the other block with what the worker will ask for if it reads on in order, while it works
/// with what it has.
void Worker::read_ahead(std::uint32_t document, ByteSource& source, std::uint64_t offset,
                        std::uint32_t last_count) {
  const std::uint32_t other = (worker_block_ + 1) % window_blocks;
  blocks_[other] = {};
  const std::uint64_t size = source.size();
  if (offset >= size) return;
  BlockRequest next;
  next.offset = offset;
  next.count = static_cast<std::uint32_t>(std::min<std::uint64_t>(
      std::min<std::size_t>(std::size_t{last_count} * 2, largest_block), size - offset));
  try {
    const std::uint32_t count = read_block(source, next, other);
    blocks_[other] = {document, offset, count};
  } catch (...) {
    blocks_[other] = {};  // whoever asks for these bytes meets the error
  }
}

/// Hands on a part of an answer.
void Worker::take_part(const Frame& frame, Pending& pending) {
  const bool is_text = pending.kind == FrameKind::text || pending.kind == FrameKind::open;
  if (is_text && ++pending.pieces > pieces_at_once) protocol_broken("more text than was asked for");
  if (pending.taker == nullptr) return;
  pending.taker->take(is_text ? frame.shared() : frame.payload(), false);
}

Deadline Worker::next_deadline() const {
  Deadline next = Deadline::max();
  for (const Pending& pending : pending_) next = std::min(next, pending.deadline);
  return next;
}

bool Worker::died_without_fault() const {
  return death_ && (killed_outside_ || stale_answer_ || (greeted_ && !took_introduced_));
}

void Worker::note_death(const WorkerProcess::End& end) {
  using How = WorkerProcess::End::How;
  if (end.peak_memory != 0) peak_memory_ = end.peak_memory;
  // What this side has killed was at fault.
  const bool by_itself = end.how != How::killed;
  killed_outside_ = end.how == How::signalled && end.value == SIGKILL;
  took_introduced_ = !by_itself || process_.channel().taken_by_other() > introduced_at_;
}

void Worker::die(Code code) {
  note_death(process_.kill());
  death_ = code;
  for (const Pending& pending : std::exchange(pending_, {})) {
    if (pending.taker != nullptr) pending.taker->fail(code);
  }
  throw EngineError(code, "the worker was killed");
}

void Worker::ended() {
  const WorkerProcess::End end = process_.end();
  note_death(end);
  death_ = code_of(end);
  for (const Pending& pending : std::exchange(pending_, {})) {
    if (pending.taker != nullptr) pending.taker->fail(*death_);
  }
  throw EngineError(*death_, "the worker has ended");
}

}  // namespace trfilter
