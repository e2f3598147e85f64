#include "engine/worker/remote_opener.h"

#include <algorithm>
#include <deque>
#include <exception>
#include <optional>
#include <utility>
#include <vector>

#include "engine/core/limits.h"
#include "engine/core/text_sink.h"
#include "engine/core/utf8.h"
#include "engine/opening/error_code.h"

namespace trfilter {
namespace {

using std::chrono::steady_clock;

// What a worker may take beyond a time-out. It looks at the clock itself and then gives the text
// so far; one that is stuck in a library is killed after this.
constexpr auto grace = std::chrono::milliseconds(30);

// A document of up to so many bytes is expected to give all of its text with the answer to its
// opening; of a larger one text is asked for before that answer is here.
constexpr std::uint64_t answered_at_once = std::uint64_t{64} << 10;

// Bytes of an answer that is no text and no member: properties, mail fields, a list of children.
constexpr std::size_t largest_answer = std::size_t{64} << 20;

Deadline deadline_after(std::int64_t seconds) {
  return steady_clock::now() + Limits::time_of_seconds(seconds) + grace;
}

/// An answer that is one value.
class WholeAnswer : public AnswerTaker {
 public:
  void take(std::string_view piece, bool) override {
    if (piece.size() > largest_answer - bytes_.size()) protocol_broken("an answer without end");
    bytes_ += piece;
  }
  void fail(Code code) override { failure_ = code; }

  const std::string& bytes() const {
    if (failure_) throw EngineError(*failure_, "the worker says so");
    return bytes_;
  }

 private:
  std::string bytes_;
  std::optional<Code> failure_;
};

/// The value that an answer is.
template <typename Value>
Value value_from(Worker& worker, const WholeAnswer& answer) {
  const std::string& bytes = answer.bytes();
  try {
    return value_of<Value>(bytes);
  } catch (const EngineError&) {
    worker.reject();
  }
}

/// Asks for one value.
template <typename Value>
Value ask(Worker& worker, FrameKind kind, std::uint32_t document, std::string_view payload,
          Deadline deadline) {
  WholeAnswer answer;
  worker.await(worker.request(kind, document, payload, answer, deadline));
  return value_from<Value>(worker, answer);
}

/// Members' bytes on their way to the host, which may refuse them.
class MemberAnswer : public AnswerTaker {
 public:
  MemberAnswer(Worker& worker, std::uint32_t document, ByteOutput& output)
      : worker_(&worker), document_(document), output_(&output) {}

  void take(std::string_view piece, bool last) override {
    if (last) {
      result_ = value_of<Subfiles::Extraction>(piece);
      return;
    }
    if (refusal_) return;
    try {
      output_->write(piece);
    } catch (...) {
      refusal_ = std::current_exception();
      worker_->cancel(document_);
    }
  }
  void fail(Code code) override { failure_ = code; }

  Subfiles::Extraction result() {
    if (refusal_) std::rethrow_exception(refusal_);
    if (failure_) throw EngineError(*failure_, "the worker says so");
    return std::move(result_);
  }

 private:
  Worker* worker_;
  std::uint32_t document_;
  ByteOutput* output_;
  std::exception_ptr refusal_;
  std::optional<Code> failure_;
  Subfiles::Extraction result_;
};

/// A document that the worker knows, from its number on: closed with the object.
class KnownDocument {
 public:
  KnownDocument(std::shared_ptr<Worker> worker, std::shared_ptr<ByteSource> source)
      : worker_(std::move(worker)), source_(std::move(source)), number_(worker_->add(*source_)) {}
  KnownDocument(const KnownDocument&) = delete;
  KnownDocument& operator=(const KnownDocument&) = delete;
  ~KnownDocument() { worker_->remove(number_, is_open_); }

  Worker& worker() const { return *worker_; }
  std::uint32_t number() const { return number_; }
  std::uint64_t size() const { return source_->size(); }
  /// The worker has closed it, or knows nothing of it.
  void closed() { is_open_ = false; }

  /// Makes the request that opens it, or detects what it is.
  /// @return the request's number
  std::uint64_t introduce(FrameKind kind, const Options& options, Purpose purpose,
                          AnswerTaker& answer, Deadline deadline) {
    OpenRequest request;
    request.options = options;
    request.purpose = purpose;
    // A container stays open while others are read.
    const bool stays = purpose != Purpose::members;
    return worker_->introduce(kind, number_, std::move(request), stays, answer, deadline);
  }

 private:
  std::shared_ptr<Worker> worker_;
  std::shared_ptr<ByteSource> source_;
  std::uint32_t number_;
  bool is_open_ = true;
};

/// The line of the log that a document leaves, written when it is over.
class LogEntry {
 public:
  LogEntry(WorkerLog& log, std::shared_ptr<Worker> worker, std::uint64_t number,
           std::string_view job)
      : log_(&log), worker_(std::move(worker)), number_(number), job_(job) {}
  LogEntry(const LogEntry&) = delete;
  LogEntry& operator=(const LogEntry&) = delete;
  ~LogEntry() {
    if (!log_->on()) return;
    log_->document_ended(number_, job_, format_, code_, steady_clock::now() - started_,
                         worker_->peak_memory());
  }

  void format(Format format) { format_ = format; }

  /// Runs a part of the document's job and keeps how it failed.
  template <typename Function>
  auto noting(Function function) {
    try {
      return function();
    } catch (...) {
      code_ = static_cast<int>(code_of_current_exception());
      throw;
    }
  }

 private:
  WorkerLog* log_;
  std::shared_ptr<Worker> worker_;
  std::uint64_t number_;
  std::string_view job_;
  steady_clock::time_point started_ = steady_clock::now();
  Format format_ = Format::none;
  int code_ = 0;
};

std::string_view job_of(Purpose purpose) {
  switch (purpose) {
    case Purpose::text:
      return "text";
    case Purpose::properties:
      return "properties";
    case Purpose::members:
      return "members";
  }
  return "none";
}

class RemoteDocument : public OpenedDocument, private AnswerTaker {
 public:
  RemoteDocument(std::shared_ptr<Worker> worker, std::shared_ptr<ByteSource> source,
                 const Options& options, Purpose purpose, Deadline deadline, WorkerLog& log,
                 std::uint64_t number)
      : deadline_(deadline),
        timeout_seconds_(options.timeout_seconds),
        extraction_timeout_seconds_(options.extraction_timeout_seconds),
        purpose_(purpose),
        is_utf8_(options.target_encoding == Options::utf8 && !options.no_encoding_conversion),
        entry_(log, worker, number, job_of(purpose)),
        document_(std::move(worker), std::move(source)) {
    entry_.noting([&] {
      const std::uint64_t opening =
          document_.introduce(FrameKind::open, options, purpose, *this, deadline_);
      if (purpose == Purpose::text && document_.size() > answered_at_once) ask_for_text();
      document_.worker().await(opening);
      if (failure_ && !opened_) throw EngineError(*failure_, "the worker says so");
      entry_.format(format_);
    });
  }

  ~RemoteDocument() override { give_back(text_); }

  Format format() const override { return format_; }

  std::string_view next_text() override {
    return entry_.noting([&]() -> std::string_view {
      while (texts_.empty() && !ended_ && !failure_) {
        ask_for_text();
        worker().advance();
      }
      if (texts_.empty()) {
        if (failure_) throw EngineError(*failure_, "the worker says so");
        return {};
      }
      std::swap(text_, texts_.front());
      give_back(texts_.front());
      texts_.pop_front();
      // Text comes before the error that ends it.
      try {
        ask_for_text();
      } catch (const EngineError& error) {
        if (!failure_) failure_ = error.code();
      }
      return text_;
    });
  }

  void properties(Properties& properties) override {
    entry_.noting([&] {
      add_all(ask<Properties>(worker(), FrameKind::properties, number(), {}, deadline_),
              properties);
    });
  }

  std::size_t member_count() override { return members_; }

  Subfile describe(std::size_t index) override {
    return entry_.noting([&] {
      if (!is_described(index)) ask_for_members(index);
      return described_[index - first_described_];
    });
  }

  Subfiles::Extraction extract(std::size_t index, ByteOutput& output,
                               bool formatted_mail) override {
    return entry_.noting([&] {
      MemberAnswer answer(worker(), number(), output);
      worker().await(worker().request(FrameKind::extract, number(), member(index, formatted_mail),
                                      answer, deadline_after(extraction_timeout_seconds_)));
      return answer.result();
    });
  }

  void mail_fields(std::size_t index, Properties& fields) override {
    entry_.noting([&] {
      add_all(ask<Properties>(worker(), FrameKind::mail, number(), member(index, false),
                              deadline_after(timeout_seconds_)),
              fields);
    });
  }

 private:
  Worker& worker() const { return document_.worker(); }
  std::uint32_t number() const { return document_.number(); }

  bool is_described(std::size_t index) const {
    return index >= first_described_ && index - first_described_ < described_.size();
  }

  /// Asks for one member, and for more the longer they are taken in order.
  void ask_for_members(std::size_t index) {
    constexpr std::uint32_t most = 256;
    MemberRequest request;
    request.index = index;
    const bool in_order = !described_.empty() && index == first_described_ + described_.size();
    members_at_once_ = in_order ? std::min(members_at_once_ * 2, most) : 1;
    request.count = members_at_once_;
    described_.clear();
    auto list = ask<MemberList>(worker(), FrameKind::describe, number(), payload_of(request),
                                deadline_after(timeout_seconds_));
    const bool right_count = !list.members.empty() && list.members.size() <= request.count;
    if (!right_count || !std::all_of(list.members.begin(), list.members.end(),
                                     [&](const Subfile& subfile) { return is_sound(subfile); })) {
      worker().reject();
    }
    described_ = std::move(list.members);
    first_described_ = index;
  }

  /// Whether all members that a member names are some.
  bool is_sound(const Subfile& subfile) const {
    const auto is_member = [&](std::int32_t other) {
      return other >= 0 && static_cast<std::size_t>(other) < members_;
    };
    return (subfile.parent == Subfile::no_parent || is_member(subfile.parent)) &&
           std::all_of(subfile.children.begin(), subfile.children.end(), is_member);
  }

  static std::string member(std::size_t index, bool formatted_mail) {
    MemberRequest request;
    request.index = index;
    request.formatted_mail = formatted_mail;
    return payload_of(request);
  }
  static void add_all(const Properties& from, Properties& to) {
    for (const Properties::Item& item : from.items()) to.add(item.name, item.value);
  }

  /// Asks before text is wanted: the worker reads on while the host works with what it has.
  void ask_for_text() {
    constexpr std::size_t requests_at_once = 2;
    TextRequest request;
    request.pieces = pieces_at_once;
    while (!ended_ && !failure_ && requests_ < requests_at_once &&
           texts_.size() <= pieces_at_once) {
      worker().request(FrameKind::text, number(), payload_of(request), *this, deadline_);
      ++requests_;
    }
  }

  void take_opening(const OpenedReply& reply) {
    const bool right_text = purpose_ == Purpose::text || !reply.ended;
    if (!right_text || reply.members > Limits::Bounds{}.members) {
      protocol_broken("an opening that cannot be");
    }
    if (!reply.text.empty()) take_text(reply.text);
    if (reply.code != 0) failure_ = code_of_number(reply.code);
    ended_ = reply.ended;
    if (ended_) document_.closed();
    format_ = reply.format;
    members_ = static_cast<std::size_t>(reply.members);
    opened_ = true;
  }

  void give_back(std::string& text) {
    constexpr std::size_t worth_keeping = 1024;
    if (text.capacity() >= worth_keeping) worker().keep(std::move(text));
  }

  void take_text(std::string_view piece) {
    if (purpose_ != Purpose::text) protocol_broken("text that was not asked for");
    if (piece.empty() || ended_) protocol_broken("text behind its end");
    std::string text = worker().spare_text();
    text.assign(piece);  // from here on the worker cannot change it
    if (is_utf8_ && !is_valid_utf8(text)) protocol_broken("text that is no UTF-8");
    texts_.push_back(std::move(text));
  }

  // The answers to the opening, which is the first, and to requests for text.
  void take(std::string_view piece, bool last) override {
    if (!last) {
      take_text(piece);
    } else if (!opened_) {
      take_opening(value_of<OpenedReply>(piece));
    } else {
      ended_ = value_of<TextEnd>(piece).ended || ended_;
      if (ended_) document_.closed();
      --requests_;
    }
  }
  void fail(Code code) override {
    if (!failure_ && !ended_) failure_ = code;
    document_.closed();
    if (opened_) --requests_;
  }

  Deadline deadline_;
  std::int64_t timeout_seconds_;
  std::int64_t extraction_timeout_seconds_;
  Purpose purpose_;
  bool is_utf8_;
  LogEntry entry_;
  std::size_t requests_ = 0;       ///< for text, without their last answer so far
  std::deque<std::string> texts_;  ///< answered and not given to the host so far
  std::string text_;               ///< what the host has
  bool opened_ = false;            ///< the answer to the opening is here, and is no error
  bool ended_ = false;
  std::optional<Code> failure_;
  Format format_ = Format::none;
  std::size_t members_ = 0;
  std::vector<Subfile> described_;  ///< members that the worker has described last
  std::size_t first_described_ = 0;
  std::uint32_t members_at_once_ = 1;
  KnownDocument document_;  ///< goes first: answers come here until it is closed
};

}  // namespace

RemoteOpener::RemoteOpener(std::string engine_directory)
    : engine_directory_(std::move(engine_directory)) {
  try {
    start({});
  } catch (const EngineError&) {
    worker_.reset();
  }
}

/// Introduces a document, a second time when its worker died without its fault.
template <typename Job>
auto RemoteOpener::with_worker(const Options& options, Job job) {
  for (bool again = true;; again = false) {
    const std::shared_ptr<Worker> worker = ready_worker(options);
    try {
      auto result = job(worker);
      log_readiness(*worker);
      return result;
    } catch (const EngineError&) {
      if (!again || !worker->died_without_fault()) throw;
    }
  }
}

Detection RemoteOpener::detect(std::unique_ptr<ByteSource> source, const Options& options) {
  const std::shared_ptr<ByteSource> shared = std::move(source);
  const Deadline deadline = deadline_after(options.timeout_seconds);
  ++documents_;
  return with_worker(options, [&](const std::shared_ptr<Worker>& worker) {
    LogEntry entry(log_, worker, documents_, "detect");
    return entry.noting([&] {
      KnownDocument document(worker, shared);
      WholeAnswer answer;
      worker->await(
          document.introduce(FrameKind::detect, options, Purpose::text, answer, deadline));
      const auto detection = value_from<Detection>(*worker, answer);
      entry.format(detection.format);
      return detection;
    });
  });
}

std::unique_ptr<OpenedDocument> RemoteOpener::open(std::unique_ptr<ByteSource> source,
                                                   const Options& options, Purpose purpose) {
  const std::shared_ptr<ByteSource> shared = std::move(source);
  const Deadline deadline = deadline_after(options.timeout_seconds);
  ++documents_;
  return with_worker(options, [&](const std::shared_ptr<Worker>& worker) {
    return std::make_unique<RemoteDocument>(worker, shared, options, purpose, deadline, log_,
                                            documents_);
  });
}

/// The session's worker, or a new one in its place.
std::shared_ptr<Worker> RemoteOpener::ready_worker(const Options& options) {
  log_.set(options);
  const bool fits = worker_ && worker_->temporary_parent() == options.temporary_directory;
  if (!fits || !worker_->ready()) start(options.temporary_directory);
  return worker_;
}

void RemoteOpener::log_readiness(const Worker& worker) {
  if (!log_.on() || logged_worker_ == worker.id()) return;
  logged_worker_ = worker.id();
  log_.worker_ready(worker.id(), worker.lacks());
}

void RemoteOpener::start(const std::string& temporary_parent) {
  worker_.reset();
  worker_ = std::make_shared<Worker>(engine_directory_, temporary_parent);
  log_.worker_started(worker_->id());
}

}  // namespace trfilter
