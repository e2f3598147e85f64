#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <exception>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "engine/charset/encoding.h"
#include "engine/core/limits.h"
#include "engine/core/options.h"
#include "engine/core/subfiles.h"

namespace trfilter {

/// What a container's directory says about one member.
struct MemberFacts {
  std::string_view name;      ///< as stored
  bool name_is_utf8 = false;  ///< the container says so; else its character set is guessed
  bool folder = false;
  std::int64_t size = 0;
  FileTime time;
  std::uint64_t locator = 0;  ///< what the container's reader finds the member by
  std::uint8_t marks = 0;     ///< of the container's reader
};

/// The members of a container in few bytes each, and what follows from all of them: the character
/// set of their names, and who lies in whose folder.
///
/// A folder holds a member when the member's name begins with the folder's: folders that only occur
/// in the names of others are no members and no parents.
class MemberList {
 public:
  MemberList(const Options& options, const Limits& limits);

  /// Adds a member; its index is the count before.
  /// @throws EngineError code 21 beyond a bound
  void add(const MemberFacts& facts);

  /// To be called once after the last `add`.
  void finish();

  std::size_t size() const { return members_.size(); }
  std::uint64_t locator(std::size_t index) const { return members_[index].locator; }
  std::uint8_t marks(std::size_t index) const { return members_[index].marks; }
  bool is_folder(std::size_t index) const { return members_[index].folder; }
  std::int64_t stated_size(std::size_t index) const { return members_[index].size; }
  std::string_view stored_name(std::size_t index) const;

  Subfile describe(std::size_t index) const;

  /// Text in the character set of the names, as UTF-8.
  std::string decoded(std::string_view text) const;

 private:
  struct Member {
    const char* name;
    std::uint32_t name_size;
    std::int32_t parent;
    std::int64_t size;
    std::int64_t time;
    std::uint64_t locator;
    std::uint8_t marks;
    bool name_is_utf8;
    bool folder;
  };

  std::string_view keep_name(std::string_view name);
  void find_encoding();
  void find_parents();

  const Options* options_;
  const Limits* limits_;
  std::deque<Member> members_;
  std::vector<std::unique_ptr<char[]>> name_blocks_;
  std::size_t block_left_ = 0;
  std::uint64_t bytes_ = 0;
  const Encoding* encoding_;
  std::vector<std::uint32_t> child_begins_;  ///< where in `children_` those of a member begin
  std::vector<std::int32_t> children_;
};

/// Why a list of members broke off; the index behind the last member tells. See `Subfiles`.
class ListEnd {
 public:
  /// Keeps the exception being handled.
  void break_off() { error_ = std::current_exception(); }
  bool broken_off() const { return error_ != nullptr; }
  void rethrow() const { std::rethrow_exception(error_); }

 private:
  std::exception_ptr error_;
};

}  // namespace trfilter
