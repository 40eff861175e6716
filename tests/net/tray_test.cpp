// The icon in a real tray, pressed by a real mouse.
#include "program.h"

namespace quenvar::lab {
namespace {

class Tray : public LabTest {
 protected:
  void StartTray() {
    trayProcess_ = Output(
        display_ + "trayer --edge bottom --align right --widthtype request --height 32 >/dev/null 2>&1 & echo $!");
  }
  void EndTray() { Output("kill " + trayProcess_); }

  /// The icon is the only one in the tray, in the right lower corner of the screen. Every click is far enough from the
  /// one before not to be the second half of a double click.
  void Click(const std::string& buttons) {
    place_ = place_ == 1005 ? 1019 : 1005;
    Output(display_ + "xdotool mousemove " + std::to_string(place_) + " 752 click " + buttons);
  }

  /// Opens the menu and presses the key of an entry.
  void Choose(const std::string& key) {
    Click("3");
    ASSERT_TRUE(Becomes(2, "quenvar")) << "no menu";
    Output(display_ + "xdotool key " + key);
    ASSERT_TRUE(Becomes(1, "quenvar")) << "the menu stays";
  }

  /// Windows on show: "Quenvar" is the main window; the icon and the menu carry the name of the program.
  bool Becomes(int count, const std::string& name) {
    const std::string windows = "xdotool search --onlyvisible --class ^quenvar$ getwindowname %@";
    const std::string counting = "(" + display_ + windows + " | grep -cx " + name + " || true)";
    return Eventually([&] { return std::stoi(Output(counting)) == count; });
  }

  const Screen screen_;
  const std::string display_ = "DISPLAY=" + screen_.Display() + " ";

 private:
  std::string trayProcess_;
  int place_ = 0;
};

TEST_F(Tray, TheIconComesWithEveryTrayHoweverLate) {
  const Program program(home_, {.display = screen_.Display()});
  ASSERT_TRUE(Becomes(1, "Quenvar"));
  EXPECT_TRUE(Becomes(0, "quenvar"));
  for (int turn = 0; turn < 2; ++turn) {
    StartTray();
    EXPECT_TRUE(Becomes(1, "quenvar")) << turn;
    EndTray();
    EXPECT_TRUE(Becomes(0, "quenvar")) << turn;
  }
}

TEST_F(Tray, ItsClicksAndItsMenuShowHideAndEnd) {
  WriteFile(home_.SettingsFile(), SettingsFor({1}, "No", "SYSTRAY=Yes\n"));
  StartTray();
  Program program(home_, {.display = screen_.Display()});
  ASSERT_TRUE(Becomes(1, "quenvar"));
  EXPECT_TRUE(Becomes(0, "Quenvar")) << "hidden from the start";
  for (const std::string way : {"1", "--repeat 2 --delay 50 1", "s"}) {
    way == "s" ? Choose(way) : Click(way);
    EXPECT_TRUE(RoundTrip()) << "by then the press has arrived";
    EXPECT_TRUE(Becomes(1, "Quenvar")) << way;
    Choose("h");
    EXPECT_TRUE(Becomes(0, "Quenvar")) << way;
  }
  Choose("q");
  ASSERT_TRUE(screen_.Shows("QUIT"));
  Click("3");
  EXPECT_TRUE(RoundTrip()) << "the service goes on under a box";
  screen_.PressEnter("QUIT");
  EXPECT_EQ(program.Wait(), 0);
}

}  // namespace
}  // namespace quenvar::lab
