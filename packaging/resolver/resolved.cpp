#include "packaging/resolver/resolved.h"

#include <algorithm>
#include <sstream>

#include "packaging/resolver/command.h"
#include "packaging/resolver/resolv_conf.h"
#include "platform/posix/file_replacement.h"

namespace quenvar {

namespace {

constexpr const char* kOwnList = "/run/systemd/resolve/resolv.conf";
constexpr const char* kLinkToOwnList = "../run/systemd/resolve/resolv.conf";
constexpr const char* kService = "systemd-resolved.service";
// The last one to be read wins.
constexpr const char* kDropIn = "/etc/systemd/resolved.conf.d/zz-quenvar-resolver.conf";
constexpr const char* kStubOff =
    "# Written by quenvar-resolver, which takes it away with \"off\".\n[Resolve]\nDNSStubListener=no\n";

std::vector<LinkSetting> Setting(const char* name) {
  return LinkSettings(Run({"/usr/bin/resolvectl", "--no-pager", name}).output);
}

bool HasWord(const LinkSetting& setting, const std::string& word) {
  return (" " + setting.value + " ").find(" " + word + " ") != std::string::npos;
}

bool AnyLinkTakesAll(const std::vector<LinkSetting>& domains) {
  return std::any_of(domains.begin(), domains.end(),
                     [](const LinkSetting& setting) { return setting.link != "Global" && HasWord(setting, "~."); });
}

// The servers that an administrator has named for the whole machine stay behind Quenvar.
std::string GlobalServers() {
  for (const LinkSetting& setting : Setting("dns")) {
    const bool plain = setting.value.find_first_not_of("0123456789abcdefABCDEF.: ") == std::string::npos;
    if (setting.link == "Global" && plain && !setting.value.empty()) return " " + setting.value;
  }
  return "";
}

void AskAboutRouting(Plan& plan, const std::vector<LinkSetting>& domains) {
  const auto links = std::count_if(domains.begin(), domains.end(), [](const LinkSetting& setting) {
    return setting.link != "Global" && !setting.value.empty();
  });
  for (const LinkSetting& setting : domains) {
    std::istringstream words(setting.value);
    for (std::string word; words >> word;)
      if (word.starts_with('~') && (word != "~." || links > 1))
        plan.questions.push_back(
            "The link " + Printable(setting.link) + " answers for " + Printable(word.substr(1)) +
            " itself (a VPN does so): Quenvar would ask its own name servers for these names, too.");
  }
}

void AskAboutProtection(Plan& plan, const char* name, const char* words) {
  for (const LinkSetting& setting : Setting(name))
    if (setting.value != "no" && !setting.value.empty())
      plan.questions.push_back(std::string(words) + " is in use (" + Printable(setting.link) + ": " +
                               Printable(setting.value) + "): Quenvar asks name servers without it.");
}

Change DropIn(const std::string& saying, const std::string& content) {
  Change change = FileChange(saying + ", by the file " + kDropIn, kDropIn, RegularFile(content));
  change.verb = "try-restart";
  change.service = kService;
  return change;
}

}  // namespace

bool IsResolvedsStub(const std::string& program) { return program.ends_with("/systemd/systemd-resolved"); }

Change StubChange() { return DropIn("Switch off systemd-resolved's own name server on port 53", kStubOff); }

void PlanForResolved(Plan& plan, bool stubListens) {
  plan.writer = "systemd-resolved";
  plan.servers = NameServers(ReadWholeFile(kOwnList).value_or(""));
  if (WordFrom({"/usr/bin/systemctl", "is-active", kService}) != "active")
    plan.refusal = "systemd-resolved does not run";
  const auto domains = Setting("domain");
  AskAboutRouting(plan, domains);
  AskAboutProtection(plan, "dnsovertls", "DNS over TLS");
  AskAboutProtection(plan, "dnssec", "DNSSEC");
  plan.limits.push_back(
      "Programs that ask systemd-resolved itself get the first answer, from Quenvar or from the link's name servers.");
  const FileState link = LinkTo(kLinkToOwnList);
  const FileState now = ReadState(kResolvConf);
  if (!(now == link) && !(now == LinkTo(kOwnList)))
    plan.freeing.push_back(FileChange(
        std::string("Point ") + kResolvConf + " at systemd-resolved's own list of name servers", kResolvConf, link));
  if (stubListens) plan.freeing.push_back(StubChange());
  // An empty value forgets what other files have named. Where a link takes all names, so has Quenvar.
  Change local = DropIn("Put 127.0.0.1 in front of the name servers of systemd-resolved",
                        std::string(kStubOff) + "DNS=\nDNS=127.0.0.1" + GlobalServers() + "\n" +
                            (AnyLinkTakesAll(domains) ? "Domains=~.\n" : ""));
  if (stubListens) {
    local.before = plan.freeing.back().after;
    local.madeFolders.clear();
  }
  plan.switching.push_back(local);
}

}  // namespace quenvar
