#include "packaging/resolver/user.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "engine/host/own_addresses.h"
#include "packaging/resolver/command.h"
#include "platform/platform.h"
#include "platform/posix/file_replacement.h"
#include "platform/posix/host_network.h"
#include "platform/posix/profile_file.h"
#include "platform/posix/settings_template.h"
#include "platform/posix/system_clock.h"
#include "settings/address.h"
#include "settings/settings_file.h"

namespace quenvar::resolver {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kRows = 10;
const std::string kAutostart = "/etc/xdg/autostart/quenvar.desktop";

std::string ConfigFolder() { return std::string(getenv("HOME")) + "/.config"; }

// Held as the program holds it (a lock file of Qt): as long as the file is there and locked, no copy starts.
class InstanceLock {
 public:
  InstanceLock() : path_(ConfigFolder() + "/quenvar.lock") {
    fs::create_directories(ConfigFolder());
    file_ = open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0644);
    held_ = file_ != -1 && flock(file_, LOCK_EX | LOCK_NB) == 0;
  }
  ~InstanceLock() {
    if (held_) unlink(path_.c_str());
    if (file_ != -1) close(file_);
  }
  InstanceLock(const InstanceLock&) = delete;
  InstanceLock& operator=(const InstanceLock&) = delete;

  bool Held() const { return held_; }

 private:
  const std::string path_;
  int file_ = -1;
  bool held_ = false;
};

std::string RowKey(std::size_t row, const char* suffix) { return "DNS_" + std::to_string(row) + suffix; }

bool HasAddress(Profile& profile) {
  for (std::size_t row = 0; row < kRows; ++row)
    if (!profile.GetString("NAMESERVER", RowKey(row, "_NAME"), "", 80).empty()) return true;
  return false;
}

void WriteRows(Profile& profile, const std::vector<std::string>& servers) {
  for (std::size_t row = 0; row < servers.size(); ++row) {
    profile.WriteString("NAMESERVER", RowKey(row, "_NAME"), servers[row]);
    profile.WriteString("NAMESERVER", RowKey(row, "_ENABLED"), "Yes");
  }
}

std::string Listed(const std::vector<std::string>& servers) {
  std::string list;
  for (const std::string& server : servers) list += (list.empty() ? "" : ", ") + server;
  return list;
}

void Write(ProfileFile& profile, const std::string& path, const std::vector<std::string>& servers, bool rows,
           bool match) {
  if (!rows && !match) return;
  profile.BeginSave();
  if (rows) WriteRows(profile, servers);
  if (match) profile.WriteString("OPTIONS", "MATCHQUESTION", "Yes");
  if (!profile.CommitSave()) throw Failure(path + " cannot be written.");
  if (rows) Say("   Wrote " + Listed(servers) + " into " + path + ".");
  if (match) Say("   Switched MATCHQUESTION on in " + path + ".");
}

}  // namespace

std::vector<std::string> UsableServers(const std::vector<std::string>& texts) {
  HostNetwork network;
  SystemClock clock;
  platform.network = &network;
  platform.clock = &clock;
  ResetOwnAddresses();
  GetOwnAddresses();
  std::vector<std::string> usable;
  for (const std::string& text : texts) {
    const bool known = std::find(usable.begin(), usable.end(), text) != usable.end();
    const bool local = text.starts_with("127.") || text.starts_with("0.");
    if (usable.size() < kRows && !known && !local && ValidateAddress(text).empty()) usable.push_back(text);
  }
  return usable;
}

int PrepareSettings(const std::vector<std::string>& servers, bool matchQuestion) {
  const std::string path = ConfigFolder() + "/QUENVAR.INI";
  const InstanceLock lock;
  if (lock.Held()) CopyFirstTemplate("/etc/xdg", path, [](const std::string& line) { Say("   " + line); });
  ProfileFile profile(path);
  platform.profile = &profile;
  const bool rows = !HasAddress(profile);
  const bool plain = !ReadMatchQuestion();
  if (lock.Held()) Write(profile, path, servers, rows, plain && matchQuestion);
  if (rows && !lock.Held()) Say("   Quenvar runs: type " + Listed(servers) + " on its page \"Server\".");
  if (plain && !(lock.Held() && matchQuestion))
    Say("   " + path + " lacks MATCHQUESTION=Yes, without which names are found slowly. " +
        (lock.Held() ? "Switch it on with --match-question."
                     : "End Quenvar and start this again with --match-question."));
  return 0;
}

bool UserManager(uid_t user, const std::vector<std::string>& words) {
  const std::string run = "/run/user/" + std::to_string(user);
  std::vector<std::string> command = {"/usr/bin/systemctl", "--user", "--quiet"};
  command.insert(command.end(), words.begin(), words.end());
  return AsUser(user, [&] {
           return Run(command, {"XDG_RUNTIME_DIR=" + run, "DBUS_SESSION_BUS_ADDRESS=unix:path=" + run + "/bus"}).Ok()
                      ? 0
                      : 1;
         }) == 0;
}

bool HasSession(uid_t user) { return UserManager(user, {"is-active", "graphical-session.target"}); }

bool AddAutostart() {
  const std::string path = ConfigFolder() + "/autostart/quenvar.desktop";
  std::string entry = ReadWholeFile(kAutostart).value_or("");
  const std::size_t hidden = entry.find("Hidden=true");
  if (fs::exists(fs::symlink_status(path)) || hidden == std::string::npos) return false;
  fs::create_directories(fs::path(path).parent_path());
  return ReplaceFile(path, entry.replace(hidden, 11, "Hidden=false"));
}

void RemoveAutostart() {
  std::error_code ignored;
  fs::remove(ConfigFolder() + "/autostart/quenvar.desktop", ignored);
}

}  // namespace quenvar::resolver
