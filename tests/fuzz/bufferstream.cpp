// Sequences of buffer stream operations, decided by the fuzzer's bytes, against a string with two
// positions. A difference prints the sequence as code.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include "tests/bufferstream/stream_model.h"
#include "tests/bufferstream/support.h"

namespace {

class FuzzedDecisions : public test::Decisions {
 public:
  FuzzedDecisions(const std::uint8_t* data, size_t size) : next_(data), end_(data + size) {}

  /// As many bytes as the bound needs; 0 once they are used up.
  std::uint32_t Below(std::uint32_t bound) override {
    std::uint32_t value = 0;
    for (std::uint32_t reach = bound - 1; reach != 0; reach >>= 8) {
      value = value << 8 | (next_ == end_ ? 0U : *next_++);
    }
    return value % bound;
  }
  bool Exhausted() const override { return next_ == end_; }

 private:
  const std::uint8_t* next_;
  const std::uint8_t* end_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, size_t size) {
  constexpr size_t kSwapSizes[] = {0, 1, 10, 4096, 65536};
  constexpr size_t kOperations = 300;
  static const test::Directory directory;
  const test::Printed printed;
  FuzzedDecisions decisions(data, size);
  try {
    const size_t swap_size = kSwapSizes[decisions.Below(5)];
    test::StreamModel(decisions, directory, swap_size).Run(kOperations);
  } catch (const std::logic_error& difference) {
    std::fputs(difference.what(), stderr);
    std::abort();
  }
  return 0;
}
