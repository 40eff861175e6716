#include "packaging/resolver/user_settings.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "base/text.h"
#include "packaging/resolver/instance_lock.h"
#include "packaging/resolver/say.h"
#include "platform/platform.h"
#include "platform/posix/profile_file.h"
#include "platform/posix/settings_template.h"
#include "settings/server_list.h"
#include "settings/settings_file.h"

namespace quenvar {

namespace {

constexpr std::size_t kBuffer = 80;
constexpr const char* kTemplates = "/etc/xdg";
constexpr const char* kTemplate = "/etc/xdg/QUENVAR.INI";

struct Wish {
  std::string path;
  std::vector<std::string> servers;
  bool matchQuestion;
  bool dryRun;
};

std::string Key(std::size_t row, const char* suffix) { return "DNS_" + std::to_string(row) + suffix; }

bool HasServers() {
  for (std::size_t row = 0; row < kServerRows; ++row)
    if (!Trim(platform.profile->GetString("NAMESERVER", Key(row, "_NAME"), "", kBuffer)).empty()) return true;
  return false;
}

std::string Listed(const std::vector<std::string>& servers) {
  std::string text;
  for (const std::string& server : servers) text += (text.empty() ? "" : ", ") + server;
  return text;
}

// Each line is said before it is done, and all of them reach the file in one step.
void EnterServers(const Wish& wish) {
  Say("Enter the name servers " + Listed(wish.servers) + " into " + wish.path);
  for (std::size_t row = 0; row < wish.servers.size(); ++row) {
    platform.profile->WriteString("NAMESERVER", Key(row, "_NAME"), wish.servers[row]);
    platform.profile->WriteString("NAMESERVER", Key(row, "_ENABLED"), "Yes");
  }
}

void SwitchMatchQuestionOn(const Wish& wish) {
  Say("Write MATCHQUESTION=Yes into " + wish.path);
  platform.profile->WriteString("OPTIONS", "MATCHQUESTION", "Yes");
}

void NameMissingOption(const Wish& wish, bool isRunning) {
  Say(wish.path + " has no MATCHQUESTION=Yes: the machine's own look-ups then take 10 to 20 seconds.");
  Say(std::string(isRunning ? "End Quenvar, and then add" : "Add") + " --match-question to have it written.");
}

bool ChangeFile(const Wish& wish, bool enterServers, bool switchOn) {
  if (!enterServers && !switchOn) return true;
  platform.profile->BeginSave();
  if (enterServers) EnterServers(wish);
  if (switchOn) SwitchMatchQuestionOn(wish);
  if (wish.dryRun || platform.profile->CommitSave()) return true;
  Complain(wish.path + " cannot be written.");
  return false;
}

bool Prepare(const Wish& wish, bool isRunning) {
  ProfileFile profile(wish.path);
  platform.profile = &profile;
  const bool hasServers = HasServers();
  const bool hasOption = ReadMatchQuestion();
  if (isRunning && !hasServers)
    Say("Quenvar is running without name servers. Type these on its page \"Server\": " + Listed(wish.servers));
  if (hasServers) Say(wish.path + " keeps its own name servers. In use now: " + Listed(wish.servers));
  if (!hasOption && (isRunning || !wish.matchQuestion)) NameMissingOption(wish, isRunning);
  return ChangeFile(wish, !isRunning && !hasServers, !isRunning && !hasOption && wish.matchQuestion);
}

void CopyTemplateWhereMissing(const Wish& wish, bool isRunning) {
  struct stat state {};
  if (isRunning || lstat(wish.path.c_str(), &state) == 0 || errno != ENOENT) return;
  if (wish.dryRun) {
    Say(std::string("Copy ") + kTemplate + " to " + wish.path);
    return;
  }
  CopyFirstTemplate(kTemplates, wish.path, Complain);
  if (access(wish.path.c_str(), F_OK) == 0) Say(std::string("Copied ") + kTemplate + " to " + wish.path);
}

int PrepareUnderLock(const Wish& wish) {
  const std::filesystem::path folder = std::filesystem::path(wish.path).parent_path();
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (error) {
    Complain(folder.string() + " cannot be made: " + error.message());
    return 1;
  }
  const InstanceLock lock(folder / "quenvar.lock");
  CopyTemplateWhereMissing(wish, lock.IsHeldByOther());
  return Prepare(wish, lock.IsHeldByOther()) ? 0 : 1;
}

}  // namespace

bool PrepareSettings(const Account& account, const std::vector<std::string>& servers, bool matchQuestion, bool dryRun) {
  const Wish wish{account.home + "/.config/QUENVAR.INI", servers, matchQuestion, dryRun};
  return RunAs(account, [&] { return PrepareUnderLock(wish); }) == 0;
}

}  // namespace quenvar
