// Random sequences of every operation, against a string with two positions.

#include <gtest/gtest.h>

#include <random>
#include <stdexcept>
#include <string>

#include "tests/bufferstream/stream_model.h"
#include "tests/bufferstream/support.h"

namespace {

class RandomDecisions : public test::Decisions {
 public:
  explicit RandomDecisions(std::uint32_t seed) : engine_(seed) {}
  std::uint32_t Below(std::uint32_t bound) override {
    return static_cast<std::uint32_t>(engine_()) % bound;
  }
  bool Exhausted() const override { return false; }

 private:
  std::mt19937 engine_;
};

class BufferStreamModel : public ::testing::TestWithParam<size_t> {};
INSTANTIATE_TEST_SUITE_P(SwapSize, BufferStreamModel, ::testing::Values(0, 1, 10, 4096, 65536),
                         ::testing::PrintToStringParamName());

TEST_P(BufferStreamModel, HoldsForRandomSequences) {
  constexpr int kSequences = 100;
  constexpr size_t kOperations = 200;
  for (std::uint32_t seed = 0; seed < kSequences; ++seed) {
    const test::Directory directory;
    const test::Printed printed;
    RandomDecisions decisions(seed);
    try {
      test::StreamModel(decisions, directory, GetParam()).Run(kOperations);
    } catch (const std::logic_error& difference) {
      ADD_FAILURE() << "seed " << seed << ": " << difference.what();
      return;
    }
  }
}

}  // namespace
