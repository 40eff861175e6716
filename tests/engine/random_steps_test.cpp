// Whatever happens to the service, in whatever order, also while it yields or asks the user: its tables stay whole, and
// answers reach those who asked. QUENVAR_STEPS and QUENVAR_SEED in the environment choose other sequences.
#include <gtest/gtest.h>

#include <random>

#include "tests/engine/event_player.h"

namespace quenvar {
namespace {

int Chosen(const char* variable, int otherwise) {
  const char* const text = std::getenv(variable);
  return text != nullptr ? std::atoi(text) : otherwise;
}

class RandomSteps : public testing::TestWithParam<bool> {};

TEST_P(RandomSteps, KeepTheTablesWholeAndTheAnswersRight) {
  const int seed = Chosen("QUENVAR_SEED", 1);
  std::mt19937 random(static_cast<unsigned>(seed));
  EventPlayer player(GetParam(), random());
  std::string bytes(256, '\0');
  for (int left = Chosen("QUENVAR_STEPS", 20000); left > 0 && player.fault.empty(); --left) {
    for (char& byte : bytes) byte = static_cast<char>(random());
    player.choices = Input(bytes.data(), bytes.size());
    player.TakeStep();
  }
  EXPECT_EQ(player.fault, "") << "QUENVAR_SEED=" << seed;
}

INSTANTIATE_TEST_SUITE_P(Modes, RandomSteps, testing::Bool(),
                         [](const auto& mode) { return mode.param ? "MatchQuestion" : "Plain"; });

}  // namespace
}  // namespace quenvar
