#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "engine/core/document.h"
#include "engine/worker/channel.h"
#include "engine/worker/worker_process.h"

namespace trfilter {

/// Where the answer to a request goes.
class AnswerTaker {
 public:
  virtual ~AnswerTaker() = default;
  /// A piece of the answer; `last`: there are no more. A piece of text lies in memory that the
  /// worker can write to: what is checked is a copy.
  virtual void take(std::string_view piece, bool last) = 0;
  /// Instead of more pieces.
  virtual void fail(Code code) = 0;
};

/// The host's side of a worker: numbers documents and requests, serves the worker the bytes of its
/// documents, holds it to its deadlines, and says how it ended. Used by one thread at a time.
///
/// A worker that breaks the protocol, misses a deadline or ends is dead: each operation on it
/// throws the code of its death from then on.
class Worker {
 public:
  /// Starts the process and greets it, without waiting for it.
  /// @throws EngineError code 17
  Worker(const std::string& engine_directory, const std::string& temporary_parent);
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  const std::string& temporary_parent() const { return temporary_parent_; }
  bool alive() const { return !death_; }
  /// Whether it has died without fault of its newest document: before it took the request that
  /// introduces it, because something outside killed it, or for an answer to a document before.
  bool died_without_fault() const;
  /// Whether one of the host's callbacks is being called on its behalf.
  bool busy() const { return working_; }
  /// Whether a document can be opened: its process runs, and it has answered, or is answering, all
  /// that it was asked. Waits for what is under way.
  bool ready();

  /// What its protection lacks on this machine; empty before the first answer.
  const std::string& lacks() const { return lacks_; }
  /// Whether its first answer has been taken.
  bool greeted() const { return greeted_; }
  /// The number of its process, also after its end.
  pid_t id() const { return id_; }
  /// KiB, as the worker says, or the system once it is dead.
  std::uint32_t peak_memory() const { return peak_memory_; }

  /// Gives a document a number. `source` lives until `remove`.
  std::uint32_t add(ByteSource& source);
  /// Forgets a document; what is still under way for it is dropped.
  /// @param is_open  whether the worker has to be told: it has not closed the document itself
  void remove(std::uint32_t document, bool is_open);

  /// Sends the request that introduces a document, which has no other request before it. A small
  /// document is shown in the window, as its bytes come from its source.
  /// @param stays  a small document may be read where it lies, until it is removed
  std::uint64_t introduce(FrameKind kind, std::uint32_t document, OpenRequest request, bool stays,
                          AnswerTaker& taker, Deadline deadline);

  /// Sends a request. `taker` lives until it has its answer or the document is removed.
  /// @param deadline  when a worker without an answer is killed, with code 19
  std::uint64_t request(FrameKind kind, std::uint32_t document, std::string_view payload,
                        AnswerTaker& taker, Deadline deadline);

  /// Takes the worker's next frame.
  void advance();
  /// Takes frames until a request is answered.
  void await(std::uint64_t request);

  /// Memory for a piece of text, and its way back: documents use it one after the other.
  std::string spare_text();
  void keep(std::string&& text);

  /// Lets an extraction end early.
  void cancel(std::uint32_t document);

  /// Ends it for what it sent.
  /// @throws EngineError code 37
  [[noreturn]] void reject();

 private:
  struct Pending {
    std::uint64_t request;
    std::uint32_t document;
    FrameKind kind;
    AnswerTaker* taker;  ///< null: nobody wants it any more
    Deadline deadline;
    std::uint32_t pieces;  ///< of text, that have come
  };

  void check_usable() const;
  void send(const FrameHeader& header, std::string_view payload, Deadline deadline);
  void greet(Deadline deadline);
  void step();
  void handle(const Frame& frame);
  void serve(const Frame& frame);
  void take_part(const Frame& frame, Pending& pending);
  void fill_place(ByteSource& source, Place place);
  std::uint32_t read_block(ByteSource& source, const BlockRequest& wanted, std::uint32_t block);
  void read_ahead(std::uint32_t document, ByteSource& source, std::uint64_t offset,
                  std::uint32_t last_count);
  Deadline next_deadline() const;
  void bound_lateness(Deadline deadline);
  void note_death(const WorkerProcess::End& end);
  [[noreturn]] void die(Code code);
  [[noreturn]] void ended();

  std::string temporary_parent_;
  WorkerProcess process_;
  pid_t id_;
  Deadline greeting_deadline_;
  bool greeted_ = false;
  bool working_ = false;
  std::optional<Code> death_;
  std::string lacks_;
  std::uint32_t peak_memory_ = 0;
  std::uint64_t last_request_ = 0;
  std::uint32_t last_document_ = 0;
  std::unordered_map<std::uint32_t, ByteSource*> sources_;
  std::deque<Pending> pending_;
  std::vector<std::string> spare_texts_;
  std::uint32_t in_place_ = 0;       ///< the document that is read in the window; 0: none
  std::uint64_t late_bytes_ = 0;     ///< of frames that came after a deadline
  std::uint64_t introduced_at_ = 0;  ///< where the newest document's request begins in all that was
                                     ///< sent
  bool took_introduced_ = true;      ///< whether the worker, which is dead, had taken that
  bool killed_outside_ = false;
  bool stale_answer_ = false;  ///< it was ended for one more answer to a request of before

  /// What lies in one of the window's blocks.
  struct Block {
    std::uint32_t document = 0;  ///< 0: nothing of use
    std::uint64_t offset = 0;
    std::uint32_t count = 0;
    std::uint64_t end() const { return offset + count; }
  };
  std::array<Block, window_blocks> blocks_{};
  std::uint32_t worker_block_ = 0;  ///< the one that the worker reads
  Frame frame_;
};

}  // namespace trfilter
