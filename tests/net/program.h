// The program under test as a process, the directories that it finds and the screen that it draws on.
#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <cstdio>
#include <map>

#include "wire.h"

namespace quenvar::lab {

/// A user's directories, all empty, with a copy of the program in a directory of its own.
struct Home {
  Home();
  /// Files that the program finds beside itself.
  std::filesystem::path ProgramFile(const std::string& name) const { return root / "program" / name; }
  std::filesystem::path SettingsFile() const { return root / "config" / "QUENVAR.INI"; }
  /// The text behind "key=" in the settings file, whatever the section. A key that is not there gives "(missing)".
  std::string Setting(const std::string& key) const;

  std::filesystem::path root;
};

/// The text of a settings file with this value of NOCACHE and these further lines of options that lists the servers
/// with these numbers, all enabled.
std::string SettingsFor(const std::vector<int>& servers, const std::string& noCache = "Yes",
                        const std::string& options = "");

/// Further lines for SettingsFor.
inline const std::string kMatchQuestion = "MATCHQUESTION=Yes\n";

struct StartOptions {
  std::string display = {};  ///< of an X server; empty: the program draws nowhere
  bool serves = true;        ///< the constructor waits until port 53 is open in the place, TCP as the last
  Place place = Place::Home;
  bool mayBindPort53 = true;
  unsigned descriptorLimit = 0;                         ///< 0: as many as the test itself may have
  std::map<std::string, std::string> environment = {};  ///< in place of the usual variables, or beside them
};

/// The environment of a program whose clocks run so many times as fast. The sanitizers want to be loaded first, but can
/// do without.
std::map<std::string, std::string> FastClock(int speed);

/// A running copy of the program. Is ended in order with this object, if it has not ended before.
class Program {
 public:
  explicit Program(const Home& home, const StartOptions& options = {});
  ~Program();
  Program(Program&&) = delete;

  void Signal(int signal) const;
  /// Waits for the end: the exit status, or minus the signal that it died of. One that does not end is killed.
  int Wait();
  /// The orderly end from outside, by SIGTERM. The test fails when it is none.
  void Terminate();
  bool Runs();
  pid_t Id() const { return process_; }
  /// CPU time since its start.
  double CpuSeconds() const;
  std::size_t OpenDescriptors() const;
  /// What it has written to standard error so far.
  std::string StandardError() const { return ReadFile(standardError_); }

 private:
  pid_t process_;
  int status_ = 0;
  bool waitedFor_ = false;
  std::filesystem::path standardError_;
};

/// An X server of its own, without a window manager. Ends with this object.
class Screen {
 public:
  Screen();
  ~Screen();
  Screen(Screen&&) = delete;
  /// All programs on it lose it.
  void End() const;

  /// For StartOptions.
  std::string Display() const { return ":" + std::to_string(display_); }
  /// Windows on show with exactly this title.
  int Count(const std::string& title) const;
  bool Shows(const std::string& title) const;
  /// Gives the window with this title the keyboard and presses the Enter key.
  void PressEnter(const std::string& title) const;

 private:
  std::string Xdotool(const std::string& title, const std::string& command) const;

  FILE* server_;
  int process_ = 0;
  int display_ = 0;
};

/// A user who lists the first name server and has switched the cache off, a client, and the name servers.
class LabTest : public testing::Test {
 protected:
  LabTest() { WriteFile(home_.SettingsFile(), SettingsFor({1})); }

  /// The client asks, and the first server that is asked gives this answer, with the identifier that it was asked with:
  /// what the client gets first.
  std::string Exchange(const Client& client, const std::string& query, const std::string& answer) const;
  std::string Exchange(const std::string& query, const std::string& answer) const;
  /// An exchange about a fresh name, true when it succeeds. It takes the same way as everything sent before it, so it
  /// also shows that none of that is still to come.
  bool RoundTrip();

  const Home home_;
  const Servers servers_;
  Client client_;
};

}  // namespace quenvar::lab
