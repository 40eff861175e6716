// Whatever clients and name servers send, in whatever order and at whatever time.
#include "tests/engine/event_player.h"

using namespace quenvar;

extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size) {
  Input input(data, size);
  // No input can know the keys that the cache will draw.
  EventPlayer player(input.Below(2) == 1, std::hash<std::string_view>()({data, size}));
  player.choices = input;
  for (int steps = 0; steps < 64 && !player.choices.AtEnd(); ++steps) {
    player.TakeStep();
    Require(player.fault.empty());
  }
  return 0;
}
