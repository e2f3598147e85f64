#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/core/limits.h"
#include "engine/core/subfiles.h"

namespace trfilter {

/// The members of a document that carries other files: objects, pictures, attachments. A flat list,
/// made as a whole before the first question.
class EmbeddedFiles final : public Subfiles {
 public:
  /// Writes the bytes of one member. Throws as `Subfiles::extract`.
  using Writer = std::function<void(ByteOutput&)>;

  struct File {
    std::string name;  ///< made safe by `embedded_name`
    std::string path;  ///< where it lies in the document; the name where another has the same
    std::int64_t size = 0;
    FileTime time;
    SubfileKind kind = SubfileKind::embedded;
  };

  void add(File file, Writer writer);

  /// Adds what the document only refers to.
  void add_external(std::string_view location);

  /// To be called once behind the last `add`: gives members that share a name their paths.
  void settle_names(const Limits& limits);

  std::size_t count() const override { return members_.size(); }
  Subfile describe(std::size_t index) override;
  Extraction extract(std::size_t index, ByteOutput& output, bool formatted_mail) override;

 private:
  struct Member {
    File file;
    Writer writer;         ///< none: the member is external
    std::string location;  ///< of an external one
  };

  std::vector<Member> members_;
};

/// A name as a document states it, as one file's name: what stands behind the last separator of
/// folders, without control characters and within the usual bound of a name's length.
/// @return `otherwise` when nothing is left
std::string embedded_name(std::string_view stated, std::string_view otherwise);

}  // namespace trfilter
