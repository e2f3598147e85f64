#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "engine/opening/opened_document.h"
#include "engine/worker/worker.h"
#include "engine/worker/worker_log.h"

namespace trfilter {

/// Opens documents in a worker process: one worker a session, replaced when it has died. A document
/// whose worker has died answers the code of that death, and can be closed.
class RemoteOpener : public DocumentOpener {
 public:
  /// Starts the first worker. That it cannot be started is the first document's error.
  explicit RemoteOpener(std::string engine_directory);

  Detection detect(std::unique_ptr<ByteSource> source, const Options& options) override;
  std::unique_ptr<OpenedDocument> open(std::unique_ptr<ByteSource> source, const Options& options,
                                       Purpose purpose) override;

 private:
  template <typename Job>
  auto with_worker(const Options& options, Job job);
  std::shared_ptr<Worker> ready_worker(const Options& options);
  void log_readiness(const Worker& worker);
  void start(const std::string& temporary_parent);

  std::string engine_directory_;
  WorkerLog log_;
  std::shared_ptr<Worker> worker_;
  std::uint64_t documents_ = 0;  ///< opened or detected so far
  pid_t logged_worker_ = 0;      ///< the one whose readiness is in the log
};

}  // namespace trfilter
