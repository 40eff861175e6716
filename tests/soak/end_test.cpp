// The orderly end, whatever the program is doing.
#include <signal.h>

#include <iostream>

#include "soak.h"

namespace quenvar::lab {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

/// Where the window is clicked, what is typed then, and the title of what is open after that.
struct State {
  const char* name;
  std::vector<const char*> clicks;
  const char* typed = "";
  const char* opens = "";
};

constexpr const char* kServerPage = "94 26";
constexpr const char* kAboutPage = "213 26";
constexpr const char* kAddressCell = "90 145";

const State kStates[] = {
    {"system page", {}},
    {"server page", {kServerPage}},
    {"log page", {"152 26"}},
    {"about page", {kAboutPage}},
    {"hidden window", {"418 340"}},
    {"open menu", {"14 7"}},
    {"typing", {kServerPage, kAddressCell}, "type 10.53.0.9"},
    {"help", {"354 340"}, "", "Quenvar Help"},
    {"question about the end", {"482 340"}, "", "QUIT"},
    {"question about the cache", {"98 340"}, "", "Confirm"},
    {"warning without servers", {kServerPage, "37 77"}, "", "No Nameserver.!"},
    {"wrong address", {kServerPage, kAddressCell}, "type --args 1 192.168.0.256 key Tab", ".*rror.*"},
    {"update", {kAboutPage, "34 340"}, "", "Quenvar Update"},
};

class End : public Soak {
 protected:
  void SetUp() override { WriteFile(home_.SettingsFile(), settings_); }

  void EndWith(int signal, Program& program, const std::string& state) {
    SCOPED_TRACE(state + ", signal " + std::to_string(signal));
    const auto begin = steady_clock::now();
    program.Signal(signal);
    EXPECT_EQ(program.Wait(), 0);
    const auto taken = std::chrono::duration_cast<milliseconds>(steady_clock::now() - begin);
    EXPECT_LT(taken, milliseconds(2000));
    EXPECT_EQ(home_.Setting("DNS_0_NAME"), ServerAt(1));
    EXPECT_NE(home_.Setting("TOTALQ"), "(missing)") << "not saved";
    longest_ = std::max(longest_, taken);
  }

  const std::string settings_ = SettingsFor({1}, "No");
  milliseconds longest_{0};
};

TEST_F(End, IsInOrderInEveryState) {
  for (const State& state : kStates)
    for (const int signal : {SIGTERM, SIGHUP, SIGINT}) {
      const Screen screen;
      const std::string xdotool = "DISPLAY=" + screen.Display() + " timeout 5 xdotool ";
      const std::string window = xdotool + "search --onlyvisible --name '^Quenvar$' ";
      SetUp();
      Program program(home_, {.display = screen.Display()});
      ASSERT_TRUE(screen.Shows("Quenvar")) << state.name << ": " << program.StandardError();
      std::this_thread::sleep_for(milliseconds(300));
      for (const std::string place : state.clicks)
        Output(window + "mousemove --window %1 " + place + " click 1 sleep 0.2");
      if (*state.typed != '\0') Output(window + "windowfocus sleep 0.2 " + state.typed);
      ASSERT_TRUE(*state.opens == '\0' || screen.Shows(state.opens)) << state.name;
      EndWith(signal, program, state.name);
    }
  std::cout << std::size(kStates) << " states, the longest end took " << longest_.count() << " ms\n";
}

// Before it is ready for them, signals end it at once, and nothing has been changed by then.
TEST_F(End, IsInOrderUnderLoadAndDuringTheStart) {
  int early = 0;
  for (int round = Size(100); round > 0; --round)
    for (const int signal : {SIGTERM, SIGHUP, SIGINT}) {
      SetUp();
      Program starting(home_, {.serves = false});
      std::this_thread::sleep_for(std::chrono::microseconds(Random(60'000)));
      starting.Signal(signal);
      if (const int status = starting.Wait(); status != 0) {
        ++early;
        EXPECT_EQ(status, -signal);
        EXPECT_EQ(ReadFile(home_.SettingsFile()), settings_);
      }
      Program loaded(home_);
      AskFor(milliseconds(Random(50)));
      EndWith(signal, loaded, "load");
      EXPECT_EQ(ReadCache(home_).fault, "");
    }
  std::cout << "The longest end under load took " << longest_.count() << " ms; " << early
            << " signals came before the start was so far\n";
}

}  // namespace
}  // namespace quenvar::lab
