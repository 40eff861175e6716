#include "packaging/resolver/program.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <thread>

#include "packaging/resolver/command.h"
#include "packaging/resolver/say.h"
#include "platform/posix/file_replacement.h"

namespace quenvar {

namespace {

constexpr const char* kProgram = QUENVAR_BIN_DIRECTORY "/quenvar";
constexpr const char* kUnit = "quenvar.service";
constexpr int kSlices = 12;
constexpr std::chrono::seconds kSlice{5};
// The machine asks its own name servers again, but some programs still wait for an answer of Quenvar.
constexpr std::chrono::seconds kLookUpsInFlight{1};

// Switches on what the desktop finds switched off in its own folder for all users.
constexpr const char* kAutostart =
    "[Desktop Entry]\nVersion=1.4\nType=Application\nName=Quenvar\n"
    "Comment=Forwards and caches DNS queries for this machine and its network\n"
    "TryExec=quenvar\nExec=quenvar\nIcon=quenvar\nTerminal=false\n";

std::vector<std::string> UserUnit(const char* verb, const char* unit = kUnit) {
  return {"/usr/bin/systemctl", "--user", "--quiet", verb, unit};
}

bool IsUnit(const char* verb, const Account& account, const char* unit = kUnit) {
  return !RuntimeDirectory(account).empty() && Run(UserUnit(verb, unit), &account).Ok();
}

std::string AutostartPath(const Account& account) { return account.home + "/.config/autostart/quenvar.desktop"; }

// As the user. A file of his own is never replaced.
int WriteAutostart(const std::string& path, const std::string& content) {
  std::error_code ignored;
  std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ignored);
  return CreatePrivateFile(path) && ReplaceFile(path, content) ? 0 : 1;
}

int RemoveAutostart(const Change& change) {
  const auto found = ReadWholeFile(change.path);
  if (!found || (*found != change.after.content && !found->empty())) return 0;
  if (unlink(change.path.c_str()) != 0) return 1;
  for (auto folder = change.madeFolders.rbegin(); folder != change.madeFolders.rend(); ++folder) rmdir(folder->c_str());
  return 0;
}

std::vector<PortHolder> OwnHolders(const Account& account) {
  auto holders = PortHolders();
  std::erase_if(holders, [&](const PortHolder& holder) { return !IsOwnProgram(holder, account); });
  return holders;
}

bool WaitForEnd(const Account& account) {
  for (int step = 0; step < 100; ++step) {
    if (!IsRunning(account)) return true;
    usleep(200'000);
  }
  return false;
}

}  // namespace

bool HasGraphicalSession(const Account& account) { return IsUnit("is-active", account, "graphical-session.target"); }

bool IsOwnProgram(const PortHolder& holder, const Account& account) {
  return holder.program == kProgram && holder.uid == account.uid;
}

bool IsRunning(const Account& account) { return !OwnHolders(account).empty(); }

std::vector<Change> ProgramChanges(const Account& account) {
  std::vector<Change> changes;
  Change login{Change::Kind::Login, "Start Quenvar at every login of " + account.name, "", {}, {}};
  if (!HasGraphicalSession(account)) {
    login.path = AutostartPath(account);
    login.after = RegularFile(kAutostart);
    login.madeFolders = MissingFolders(login.path);
    login.saying += ", by the file " + login.path;
  }
  if (!login.path.empty() || !IsUnit("is-enabled", account)) changes.push_back(login);
  if (!IsRunning(account)) {
    Change program{Change::Kind::Program, "Start Quenvar as the user " + account.name, "", {}, {}};
    if (!login.path.empty())
      program.saying = "Wait for a minute until you have started Quenvar as the user " + account.name +
                       ", from the menu or with the command quenvar";
    changes.push_back(program);
  }
  return changes;
}

bool DoLogin(const Change& change, const Account& account) {
  const std::string& path = change.path;
  if (path.empty()) return Run(UserUnit("enable"), &account).Ok();
  // One that is there already is the user's own choice.
  RunAs(account, [&] { return WriteAutostart(path, change.after.content); });
  return true;
}

bool UndoLogin(const Change& change, const Account& account) {
  if (!change.path.empty()) return RunAs(account, [&] { return RemoveAutostart(change); }) == 0;
  if (IsUnit("disable", account)) return true;
  // He is not logged in, so that there is no manager of his to be told.
  return Run({"/usr/bin/env", "SYSTEMD_OFFLINE=1", "/usr/bin/systemctl", "--user", "--quiet", "disable", kUnit},
             &account)
      .Ok();
}

bool DoProgram(const Account& account) {
  return !HasGraphicalSession(account) || Run(UserUnit("start"), &account).Ok();
}

bool UndoProgram(const Account& account) {
  if (IsRunning(account)) std::this_thread::sleep_for(kLookUpsInFlight);
  if (IsUnit("is-active", account)) Run(UserUnit("stop"), &account);
  for (const PortHolder& holder : OwnHolders(account))
    RunAs(account, [&] { return kill(holder.process, SIGTERM) == 0 ? 0 : 1; });
  if (WaitForEnd(account)) return true;
  Complain("Quenvar has not ended within 20 seconds.");
  return false;
}

bool WaitForProgram(const Account& account, const std::string& name) {
  const bool hasSession = HasGraphicalSession(account);
  for (int slice = 0; slice < kSlices && !Interrupted(); ++slice) {
    if (WaitForAnswer("127.0.0.1", name, kSlice, true)) return true;
    if (hasSession && !IsRunning(account) && IsUnit("is-failed", account)) break;
  }
  Complain("Quenvar does not answer on 127.0.0.1." +
           std::string(hasSession ? " Its own words: journalctl --user --unit quenvar" : ""));
  return false;
}

}  // namespace quenvar
