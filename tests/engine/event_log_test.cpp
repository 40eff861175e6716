#include "engine/event_log.h"

#include <malloc.h>

#include "tests/fakes/service.h"

namespace quenvar {
namespace {

using EventLog = Service;

TEST_F(EventLog, KeepsMessagesAsTheyStandAndReportsFailuresUntilTheWindowWasShown) {
  WriteLog("dropped");
  ClearLog();
  WriteLog("two\r\nlines <b>\xff");
  WriteFailureToLog("first");
  WindowWasShown = true;
  WriteFailureToLog("");
  EXPECT_EQ(LogText(), "12:00:00 two\r\nlines <b>\xff\r\n12:00:00 first\r\n12:00:00 \r\n");
  EXPECT_EQ(process.reports, std::vector<std::string>{"first"});
}

// The scan goes on behind the cut: when one line is not enough, part of the next ones is passed over.
TEST_F(EventLog, DropsTheOldestLinesFrom20001CharactersOn) {
  for (int line = 0; line < 100000; ++line) WriteLog(std::string(100, 'x'));
  const auto taken = mallinfo2().uordblks;
  for (int line = 0; line < 10000; ++line) WriteLog(std::string(100, 'x'));
  EXPECT_LT(mallinfo2().uordblks, taken + 200000);
  const std::pair<std::vector<std::size_t>, std::size_t> cases[] = {
      {{100, 19900}, 20000}, {{100, 19901}, 19901}, {{50, 30, 19980}, 0}};
  for (const auto& [sizes, left] : cases) {
    ClearLog();
    for (const std::size_t size : sizes) WriteLog(std::string(size - 11, 'x'));
    WriteLog("end");
    EXPECT_EQ(LogText().size(), left + 14);
  }
}

}  // namespace
}  // namespace quenvar
