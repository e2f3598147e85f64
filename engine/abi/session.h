#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>

#include "api/engine_abi.h"
#include "engine/abi/summary_block.h"
#include "engine/core/limits.h"
#include "engine/core/options.h"
#include "engine/opening/opened_document.h"

namespace trfilter {

/// What the host calls the engine context: the settings of one session, and what opens its
/// documents.
class Session {
 public:
  /// @param flags  the process bits of the flag word; out of process unless they say otherwise
  Session(std::uint32_t target_encoding, std::uint32_t flags);

  DocumentOpener& opener() { return *opener_; }

  /// The settings for a stream that is opened with these flags.
  Options options_for(std::uint32_t flags) const;

  /// Takes a setting by its option id.
  /// @throws EngineError code 34 for an unknown id
  void set_option(std::uint32_t id, std::uint32_t value, const void* pointer);
  void set_timeout(std::int64_t seconds) { options_.timeout_seconds = seconds; }
  void set_extraction_timeout(std::int64_t seconds) {
    options_.extraction_timeout_seconds = seconds;
  }
  void set_source_encoding(std::uint32_t encoding) { options_.source_encoding = encoding; }

  /// Takes what the flag word says of the worker's log; it holds until another one says otherwise.
  void set_log(std::uint32_t flags);

  /// Counts the containers that are open at once.
  /// @throws EngineError code 31 beyond the bound
  void enter_container();
  void leave_container() { --open_containers_; }

  /// Tells the size of a document that has been opened as a container.
  void add_container_size(std::uint64_t bytes);

  /// Adds bytes of members that have been handed over while containers are open: containers in each
  /// other keep the bounds of expansion together, against the one that holds all the others.
  /// @throws EngineError code 4 beyond the bound
  void charge_members(std::uint64_t bytes);

  /// Fills `record` with the properties of a document; the session keeps what it points at until
  /// `free_summary`, or its own end.
  void get_summary(tag_InputStream& stream, tag_TRSummaryInfoEx& record);
  void free_summary(tag_TRSummaryInfoEx& record);

 private:
  Options options_;
  std::unique_ptr<DocumentOpener> opener_;
  unsigned open_containers_ = 0;
  Limits nest_limits_;  ///< of all that are open
  std::uint64_t nest_size_ = 0;
  std::uint64_t nest_members_ = 0;
  std::unordered_map<const tag_TRSumInfoElemEx*, std::unique_ptr<SummaryBlock>> summaries_;
};

}  // namespace trfilter
