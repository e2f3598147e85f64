#pragma once

#include <memory>
#include <string>
#include <unordered_map>

#include "api/engine_abi.h"
#include "engine/core/subfiles.h"
#include "engine/opening/opened_document.h"

namespace trfilter {

class Session;

/// What the host calls the container context: one document opened for its members, and the records
/// about them that the host has not handed back yet.
class Container {
 public:
  /// Opens the document of `request`, with its password if it brings one. What is no container, or
  /// of no known format, has no members.
  /// @throws EngineError code 31 when the session holds too many containers open, 34 for a request
  ///         that is none, and what opening the document throws
  Container(Session& session, const tag_TROpenRequest& request);
  Container(const Container&) = delete;
  Container& operator=(const Container&) = delete;
  ~Container();

  // Each answers a record that lives until `free_info` or the container's end.
  // An index beyond the members throws EngineError code 34.
  tag_TRMainInfo* main_info();
  tag_TRSubfileInfo* subfile_info(std::uint32_t index);
  tag_TRMailInfo* mail_info(const tag_TRMailRequest& request);
  tag_TRExtractResult* extract(const tag_TRExtractRequest& request);

  /// Null is nothing to free.
  /// @throws EngineError code 34 for what is no record of this container
  void free_info(const void* info);

 private:
  struct OwnedRecord {
    virtual ~OwnedRecord() = default;
  };
  struct MainInfo;
  struct SubfileInfo;
  struct MailInfo;
  struct ExtractResult;

  /// Takes a record over; it goes by the address of what the host sees of it.
  template <typename Owned>
  auto* keep(std::unique_ptr<Owned> owned);
  std::size_t checked(std::uint32_t index) const;

  Session* session_;
  std::unique_ptr<OpenedDocument> opened_;  ///< null: of no known format
  std::unordered_map<const void*, std::unique_ptr<OwnedRecord>> records_;
};

}  // namespace trfilter
