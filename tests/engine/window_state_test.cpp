#include "engine/window_state.h"

#include "tests/fakes/service.h"

namespace quenvar {
namespace {

using WindowState = Service;

TEST_F(WindowState, ARequestShowsAWindowThatThereIs) {
  ShowMainWindow();
  EXPECT_EQ(trace, Trace{}) << "the start goes on, or has failed";
  StayHiddenAtStart();
  ShowMainWindow();
  EXPECT_FALSE(WindowHidden);
  trace.clear();
  ShowMainWindow();
  EXPECT_EQ(trace, Trace{"show"}) << "to the front";
}

}  // namespace
}  // namespace quenvar
