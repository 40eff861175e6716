#include "engine/event_log.h"

#include "tests/fakes/service.h"

namespace quenvar {
namespace {

class EventLog : public Service {
 protected:
  // A line of exactly `size` characters, time and line end included.
  static void WriteLine(std::size_t size, char fill = 'x') { WriteLog(std::string(size - 11, fill)); }
};

TEST_F(EventLog, KeepsMessagesAsTheyStand) {
  WriteLog("");
  WriteLog("two\r\nlines <b>\xff");
  EXPECT_EQ(LogText(), "12:00:00 \r\n12:00:00 two\r\nlines <b>\xff\r\n");
  ClearLog();
  WriteLog("new");
  EXPECT_EQ(LogText(), "12:00:00 new\r\n");
}

TEST_F(EventLog, DropsTheOldestLineFrom20001CharactersOn) {
  WriteLine(100, 'a');
  WriteLine(19900);
  WriteLog("b");
  EXPECT_EQ(LogText().size(), 20012u) << "a log of exactly 20000 characters is not trimmed";
  WriteLog("c");
  EXPECT_EQ(LogText().size(), 20012u - 100 + 12);
  EXPECT_EQ(LogText().find('a'), std::string_view::npos);
}

// The scan goes on behind the cut: when one line is not enough, part of the next ones is passed over.
TEST_F(EventLog, TheScanIsNotResetAfterACut) {
  WriteLine(50, 'a');
  WriteLine(30, 'b');
  WriteLine(40, 'c');
  WriteLine(19900, 'd');
  WriteLine(500, 'e');
  // First cut at 50. The scan then stands at position 50 of "b..c..d..": inside of c, whose end is at 70.
  WriteLog("end");
  EXPECT_EQ(LogText().size(), 500u + 14) << "cut at 50, at 70, and at the end of the long line";
}

TEST_F(EventLog, FailuresGoToStandardErrorUntilTheWindowWasShown) {
  WriteFailureToLog("first");
  WindowWasShown = true;
  WriteFailureToLog("second");
  EXPECT_EQ(process.reports, std::vector<std::string>{"first"});
  EXPECT_EQ(LogLines(), (std::vector<std::string>{"first", "second"}));
}

}  // namespace
}  // namespace quenvar
