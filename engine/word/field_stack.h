#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/core/limits.h"
#include "engine/word/story_output.h"

namespace trfilter::word {

/// The fields that are open (ECMA-376 part 1, 17.16). Of each the instruction is not shown and the
/// result is; date, time and file name fields are marked as such.
class FieldStack {
 public:
  /// Both arguments outlive the stack.
  FieldStack(StoryOutput& output, const Limits& limits) : output_(output), limits_(limits) {}

  std::size_t size() const { return fields_.size(); }
  /// Whether the innermost field's instruction is being read.
  bool in_instruction() const { return !fields_.empty() && fields_.back().in_instruction; }

  void begin();
  void append_instruction(std::string_view text);
  /// The instruction is complete, the result begins. There is a field.
  void separate();
  /// There is a field.
  void end();
  /// Ends fields until there are no more than `size`.
  void close(std::size_t size);

 private:
  static constexpr std::size_t most_instruction_bytes = 4096;

  struct Field {
    std::string instruction;
    bool in_instruction = true;
    std::optional<Region> result;
  };

  StoryOutput& output_;
  const Limits& limits_;
  std::vector<Field> fields_;
};

/// A text without the blanks around it.
std::string_view trimmed(std::string_view text);

}  // namespace trfilter::word
