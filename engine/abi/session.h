#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>

#include "api/engine_abi.h"
#include "engine/abi/summary_block.h"
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

  /// Fills `record` with the properties of a document; the session keeps what it points at until
  /// `free_summary`, or its own end.
  void get_summary(tag_InputStream& stream, tag_TRSummaryInfoEx& record);
  void free_summary(tag_TRSummaryInfoEx& record);

 private:
  Options options_;
  std::unique_ptr<DocumentOpener> opener_;
  unsigned open_containers_ = 0;
  std::unordered_map<const tag_TRSumInfoElemEx*, std::unique_ptr<SummaryBlock>> summaries_;
};

}  // namespace trfilter
