// The orderly end, whatever the program is doing.
#include <signal.h>
#include <xcb/xcb.h>

#include <functional>
#include <iostream>
#include <sstream>

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

/// The desktop's session manager, which knows one program.
class Session {
 public:
  Session() : output_(popen("echo $$; exec setpriv --pdeathsig KILL " SESSION_MANAGER, "re")) {
    char address[500];
    if (std::fscanf(output_, "%d %499s", &process_, address) != 2) throw std::runtime_error("no session manager");
    address_ = address;
  }
  // What a killed one leaves behind is in a directory that all programs of the machine share.
  ~Session() {
    Signal(SIGKILL);
    pclose(output_);
    std::filesystem::remove("/tmp/.ICE-unix/" + std::to_string(process_));
  }
  Session(Session&&) = delete;

  std::map<std::string, std::string> Environment() const { return {{"SESSION_MANAGER", address_}}; }
  void Signal(int signal) const { kill(process_, signal); }

 private:
  FILE* output_;
  int process_ = 0;
  std::string address_;
};

/// A screen with a tray, and a user at the mouse, the keys and the close buttons of the windows.
class Desktop {
 public:
  Desktop() { Output(display_ + "trayer --edge bottom --align right >/dev/null 2>&1 & echo"); }

  /// What the program has on show, with its titles. The icon and the menus are called "quenvar".
  std::multimap<std::string, xcb_window_t> Windows() const {
    std::istringstream lines(Output(display_ +
                                    "sh -c 'for window in $(xdotool search --onlyvisible --class ^quenvar$); "
                                    "do echo $window $(xdotool getwindowname $window); done'"));
    std::multimap<std::string, xcb_window_t> windows;
    xcb_window_t window = 0;
    for (std::string title; std::getline(lines >> window >> std::ws, title);) windows.emplace(title, window);
    return windows;
  }
  bool HasIcon() const {
    return Eventually([this] { return Windows().contains("quenvar"); });
  }

  void Bring(const State& state) const {
    const std::string window = " " + std::to_string(Windows().find("Quenvar")->second) + " ";
    const std::string xdotool = display_ + "timeout 5 xdotool ";
    for (const std::string place : state.clicks)
      Output(xdotool + "mousemove --window" + window + place + " click 1 sleep 0.2");
    if (*state.typed != '\0') Output(xdotool + "windowfocus" + window + "sleep 0.2 " + state.typed);
    ASSERT_TRUE(*state.opens == '\0' || screen_.Shows(state.opens)) << state.name;
  }

  /// Asks each window with a frame to close until only the icon is left.
  bool CloseWindows() const {
    return Eventually([this] {
      const auto windows = Windows();
      for (const auto& [title, window] : windows)
        if (title != "quenvar") Close(window);
      return windows.size() == 1;
    });
  }

  const Screen screen_;

 private:
  const std::string display_ = "DISPLAY=" + screen_.Display() + " ";

  // What a window manager sends.
  void Close(xcb_window_t window) const {
    auto* const server = xcb_connect(screen_.Display().c_str(), nullptr);
    const auto atom = [server](std::string_view name) {
      const auto cookie = xcb_intern_atom(server, 0, static_cast<std::uint16_t>(name.size()), name.data());
      const std::unique_ptr<xcb_intern_atom_reply_t, void (*)(void*)> reply(
          xcb_intern_atom_reply(server, cookie, nullptr), std::free);
      return reply->atom;
    };
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = window;
    event.type = atom("WM_PROTOCOLS");
    event.data.data32[0] = atom("WM_DELETE_WINDOW");
    xcb_send_event(server, 0, window, XCB_EVENT_MASK_NO_EVENT, reinterpret_cast<const char*>(&event));
    xcb_flush(server);
    xcb_disconnect(server);
  }
};

/// How the end comes about, and the exit status then.
struct Way {
  const char* name;
  std::function<void(const Program&, const Session&, const Desktop&)> go;
  int status = 0;
};

const Way kWays[] = {
    {"SIGTERM", [](auto& program, auto&, auto&) { program.Signal(SIGTERM); }},
    {"SIGHUP", [](auto& program, auto&, auto&) { program.Signal(SIGHUP); }},
    {"SIGINT", [](auto& program, auto&, auto&) { program.Signal(SIGINT); }},
    {"session end", [](auto&, auto& session, auto&) { session.Signal(SIGTERM); }},
    {"session crash", [](auto&, auto& session, auto&) { session.Signal(SIGKILL); }, 1},
    {"crash of a session that ends", [](auto&, auto& session, auto&) { session.Signal(SIGINT); }, 1},
    {"display crash", [](auto&, auto&, auto& desktop) { desktop.screen_.End(); }, 1},
};

class End : public Soak {
 protected:
  void SetUp() override { WriteFile(home_.SettingsFile(), settings_); }

  void EndWith(const std::function<void()>& go, Program& program, int status = 0) {
    const auto begin = steady_clock::now();
    go();
    EXPECT_EQ(program.Wait(), status);
    const auto taken = std::chrono::duration_cast<milliseconds>(steady_clock::now() - begin);
    EXPECT_LT(taken, milliseconds(2000));
    EXPECT_EQ(home_.Setting("DNS_0_NAME"), ServerAt(1));
    EXPECT_NE(home_.Setting("TOTALQ"), "(missing)") << "not saved";
    longest_ = std::max(longest_, taken);
  }
  void EndIn(const State& state, bool closesWindows, const Way& way) {
    SCOPED_TRACE(std::string(state.name) + (closesWindows ? ", windows closed, " : ", ") + way.name);
    const Desktop desktop;
    const Session session;
    SetUp();
    Program program(home_, {.display = desktop.screen_.Display(), .environment = session.Environment()});
    ASSERT_TRUE(desktop.screen_.Shows("Quenvar") && desktop.HasIcon()) << program.StandardError();
    std::this_thread::sleep_for(milliseconds(300));
    ASSERT_NO_FATAL_FAILURE(desktop.Bring(state));
    if (closesWindows) {
      EXPECT_TRUE(desktop.CloseWindows()) << program.StandardError();
      const bool hasServer = std::string_view(state.name) != "warning without servers";
      EXPECT_TRUE(program.Runs() && (!hasServer || RoundTrip())) << "closing only hides";
    }
    EndWith([&] { way.go(program, session, desktop); }, program, way.status);
  }

  const std::string settings_ = SettingsFor({1}, "No");
  milliseconds longest_{0};
};

TEST_F(End, IsInOrderInEveryState) {
  for (const State& state : kStates) {
    for (const Way& way : kWays) EndIn(state, false, way);
    EndIn(state, true, kWays[0]);
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
      EndWith([&] { loaded.Signal(signal); }, loaded);
      EXPECT_EQ(ReadCache(home_).fault, "");
    }
  std::cout << "The longest end under load took " << longest_.count() << " ms; " << early
            << " signals came before the start was so far\n";
}

}  // namespace
}  // namespace quenvar::lab
