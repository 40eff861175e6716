#include "engine/window_state.h"

#include "tests/fakes/service.h"

namespace quenvar {
namespace {

using WindowState = Service;

TEST_F(WindowState, HidingRestsThePageAndShowingBringsItBack) {
  ShowWindowAtStart();
  SetCurrentPage(kLogPage);
  trace.clear();
  for (int turn = 0; turn < 2; ++turn) {
    ToggleWindow();
    EXPECT_EQ(CurrentPage, kNoPage);
    ToggleWindow();
    EXPECT_EQ(CurrentPage, kLogPage);
  }
  EXPECT_EQ(trace, (Trace{"hide", "show", "tab update", "hide", "show", "tab update"}));
}

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
