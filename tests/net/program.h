// The program under test as a process, and the directories that it finds.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <map>
#include <string>

#include "lab.h"

namespace quenvar::lab {

/// A user's directories, all empty, with a copy of the program in a directory of its own.
class Home {
 public:
  Home();
  /// Files that the program finds beside itself.
  std::filesystem::path ProgramFile(const std::string& name) const { return root_ / "program" / name; }
  std::filesystem::path ConfigDirectory() const { return root_ / "config"; }
  std::filesystem::path SettingsFile() const { return ConfigDirectory() / "QUENVAR.INI"; }
  /// The variables of the environment that show the program these directories.
  std::map<std::string, std::string> Environment() const;

  /// The text behind "key=" in the settings file, whatever the section. A key that is not there gives "(missing)".
  std::string Setting(const std::string& key) const;

 private:
  std::filesystem::path root_;
};

std::string ReadFile(const std::filesystem::path& path);
void WriteFile(const std::filesystem::path& path, const std::string& content);

/// The text of a settings file that lists the servers with these numbers, all enabled, and switches the cache off.
std::string SettingsFor(const std::vector<int>& servers);

struct StartOptions {
  std::string display = {};  ///< of an X server; empty: the program draws nowhere
  bool mayBindPort53 = true;
};

/// A running copy of the program. Ends with this object.
class Program {
 public:
  explicit Program(const Home& home, const StartOptions& options = {});
  ~Program();
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  /// Waits until UDP port 53 is bound.
  bool Serves() const;
  /// It sleeps, and nothing waits at port 53 to be fetched.
  bool Idle() const;
  /// Datagrams that the kernel threw away because the program did not fetch them.
  int DroppedDatagrams() const;
  /// Sends a signal.
  void Signal(int signal) const;
  /// Waits for the end: the exit status, or minus the signal that it died of. One that does not end is killed.
  int Wait(std::chrono::milliseconds limit = kPatience);
  /// The orderly end from outside: SIGTERM, then Wait.
  int Terminate();
  bool Runs();
  /// What it has written to standard error so far.
  std::string StandardError() const { return ReadFile(standardError_); }

 private:
  pid_t process_;
  int status_ = 0;
  std::filesystem::path standardError_;
};

}  // namespace quenvar::lab
