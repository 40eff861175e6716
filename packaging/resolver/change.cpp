#include "packaging/resolver/change.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <thread>

#include "packaging/resolver/command.h"
#include "packaging/resolver/network_manager.h"
#include "packaging/resolver/port.h"
#include "packaging/resolver/program.h"
#include "packaging/resolver/resolv_conf.h"
#include "packaging/resolver/say.h"
#include "platform/posix/file_replacement.h"

namespace quenvar {

namespace fs = std::filesystem;

namespace {

// What a name server of this machine needs after its start until it knows where to ask.
constexpr std::chrono::seconds kStart{10};
// Look-ups that have just begun may still wait for an answer of the old name server, which is ended next.
constexpr std::chrono::seconds kLookUpsInFlight{2};
constexpr const char* kAnyName = "example.com";

bool SystemdRuns() { return access("/run/systemd/system", F_OK) == 0; }

// The service's own reload would end and start its dnsmasq each time, whatever has changed.
bool ReloadConfiguration() {
  if (!NetworkManagerRuns() || Run({"/usr/bin/nmcli", "general", "reload", "conf"}).Ok()) return true;
  Complain("nmcli general reload conf has failed.");
  return false;
}

bool Notify(const Change& change) {
  if (change.service.empty() || !SystemdRuns()) return true;
  if (change.verb == kReloadConfiguration) return ReloadConfiguration();
  // Else a service that is started for the sixth time within ten seconds would stay down.
  Run({"/usr/bin/systemctl", "reset-failed", change.service});
  if (Run({"/usr/bin/systemctl", change.verb, change.service}).Ok()) return true;
  Complain("systemctl " + change.verb + " " + change.service + " has failed.");
  return false;
}

bool Put(const std::string& path, const FileState& state) {
  if (Establish(path, state)) return true;
  Complain(path + " cannot be changed: " + std::strerror(errno));
  return false;
}

bool DoFile(const Change& change) {
  if (!(ReadState(change.path) == change.before)) {
    Complain(change.path + " has been changed by somebody else meanwhile.");
    return false;
  }
  for (const std::string& folder : change.madeFolders) mkdir(folder.c_str(), 0755);
  if (!Put(change.path, change.after) || !Notify(change)) return false;
  if (change.after.kind == FileState::Kind::Link) std::this_thread::sleep_for(kLookUpsInFlight);
  return true;
}

// The text that programs read once `state` stands at `path`.
std::string TextOf(const std::string& path, const FileState& state) {
  if (state.kind != FileState::Kind::Link) return state.content;
  return ReadWholeFile(fs::path(path).parent_path() / state.content).value_or("");
}

// A name server of this machine itself has to listen again before it is named again.
bool IsUsableAgain(const Change& change) {
  const auto servers = NameServers(TextOf(change.path, change.before));
  if (!SystemdRuns() || servers.empty() || !std::all_of(servers.begin(), servers.end(), &IsLoopback)) return true;
  // It may have to say that it finds nothing: there need not be a network.
  if (WaitForAnswer(servers[0], kAnyName, kStart, false) || IsHeldAt(servers[0])) return true;
  Say(change.path + " stays as it is: it would name " + Printable(servers[0]) + ", where nothing listens.");
  return false;
}

bool UndoFile(const Change& change) {
  unlink((change.path + ".quenvar-new").c_str());
  const FileState now = ReadState(change.path);
  if (now == change.after && IsUsableAgain(change)) {
    if (!Put(change.path, change.before)) return false;
  } else if (!(now == change.before) && !(now == change.after)) {
    Say(change.path + " is left alone: somebody has changed it since.");
  }
  for (auto folder = change.madeFolders.rbegin(); folder != change.madeFolders.rend(); ++folder) rmdir(folder->c_str());
  return Notify(change);
}

}  // namespace

std::vector<std::string> MissingFolders(const std::string& path) {
  std::vector<std::string> folders;
  std::error_code error;
  for (fs::path folder = fs::path(path).parent_path(); !fs::exists(folder, error) && folder.has_relative_path();
       folder = folder.parent_path())
    folders.insert(folders.begin(), folder);
  return folders;
}

Change FileChange(const std::string& saying, const std::string& path, const FileState& after) {
  Change change{Change::Kind::File, saying, path, ReadState(path), after};
  change.madeFolders = MissingFolders(path);
  return change;
}

bool Do(const Change& change, const Account& account) {
  switch (change.kind) {
    case Change::Kind::File:
      return DoFile(change);
    case Change::Kind::Login:
      return DoLogin(change, account);
    case Change::Kind::Program:
      return DoProgram(account);
  }
  return false;
}

bool Undo(const Change& change, const Account& account) {
  switch (change.kind) {
    case Change::Kind::File:
      return UndoFile(change);
    case Change::Kind::Login:
      return UndoLogin(change, account);
    case Change::Kind::Program:
      return UndoProgram(account);
  }
  return false;
}

}  // namespace quenvar
