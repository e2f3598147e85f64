#pragma once

#include <sys/resource.h>

#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>

#include "engine/opening/opened_document.h"
#include "engine/worker/channel.h"

namespace trfilter {

/// The worker's side: answers the host's requests one after the other, until the host is gone.
class Service {
 public:
  /// @param window               the host's, `window_size` bytes
  /// @param temporary_directory  the only place that can be written to; may be empty
  Service(Channel& channel, const char* window, DocumentOpener& opener,
          std::string temporary_directory);
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

  void run();

 private:
  class BlockSource;
  class WindowSource;
  class MemberOutput;
  struct Gone {};  ///< thrown when the host is

  std::unique_ptr<Frame> next_request();
  std::unique_ptr<Frame> receive();
  void work(const Frame& frame);
  void answer(const Frame& frame);
  void introduce(const Frame& frame);
  void describe(const Frame& frame);
  void extract(const Frame& frame);
  void send_text(const Frame& frame);
  void send(FrameKind kind, const Frame& request, std::string_view payload);
  void send_whole(const Frame& request, std::string_view payload);
  /// A document, and what it has given as text and has not been sent.
  struct Open {
    std::unique_ptr<OpenedDocument> document;
    std::string_view unsent;
    bool in_utf8 = true;
  };
  void begin_text(const Frame& frame, Open& open, OpenedReply& reply);
  void send_piece(const Frame& request, Open& open);
  void note_usage();
  Open& open_of(const Frame& frame);
  OpenedDocument& document_of(const Frame& frame) { return *open_of(frame).document; }
  void bound_processor(const Options& options);
  BlockReply read_block(std::uint32_t document, std::uint64_t offset, std::uint32_t count);
  bool cancelled(std::uint32_t document);

  Channel* channel_;
  const char* window_;
  DocumentOpener* opener_;
  std::string temporary_directory_;
  std::unordered_map<std::uint32_t, Open> documents_;
  std::deque<std::unique_ptr<Frame>> waiting_;  ///< received while something else was waited for
  std::unique_ptr<Frame> spare_;
  rusage usage_{};  ///< as of a moment ago
  std::chrono::steady_clock::time_point usage_time_{};
  std::int64_t processor_bound_ = 0;          ///< in seconds, that was set last
  const BlockSource* block_owner_ = nullptr;  ///< whose bytes lie in the window's block
};

}  // namespace trfilter
