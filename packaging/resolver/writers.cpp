#include <fcntl.h>
#include <sys/stat.h>

#include <filesystem>
#include <sstream>

#include "packaging/resolver/command.h"
#include "packaging/resolver/port.h"
#include "packaging/resolver/record.h"
#include "packaging/resolver/user.h"
#include "packaging/resolver/writer.h"
#include "platform/posix/file_replacement.h"

namespace quenvar::resolver {

namespace fs = std::filesystem;

namespace {

const std::string kResolvedList = "/run/systemd/resolve/resolv.conf";
const std::string kStubDropIn = "/etc/systemd/resolved.conf.d/quenvar-port.conf";
const std::string kServerDropIn = "/etc/systemd/resolved.conf.d/quenvar.conf";
const std::string kManagerDropIn = "/etc/NetworkManager/conf.d/zz-quenvar.conf";
const std::string kOurs = "# By quenvar-resolver, which takes it away again with \"off\".\n";

std::string ResolvConf() { return ReadWholeFile(kResolvConf).value_or(""); }

void RunOrFail(const std::vector<std::string>& command) {
  if (Run(command).Ok()) return;
  std::string text;
  for (const std::string& word : command) text += (text.empty() ? "" : " ") + word;
  throw Failure("\"" + text + "\" has failed.");
}

bool IsActive(const char* service) { return Run({"/usr/bin/systemctl", "is-active", "--quiet", service}).Ok(); }

// A program of this name runs.
bool Runs(const std::string& name) {
  std::error_code error;
  for (fs::directory_iterator entry("/proc", error), end; !error && entry != end; entry.increment(error)) {
    const std::string number = entry->path().filename();
    if (number.find_first_not_of("0123456789") == std::string::npos && NameOf(std::stoi(number)) == name) return true;
  }
  return false;
}

std::vector<std::string> HereAndBehind(const std::vector<std::string>& servers) {
  std::vector<std::string> all = {"127.0.0.1"};
  all.insert(all.end(), servers.begin(), servers.end());
  return all;
}

// Nobody else writes it: it is replaced as a whole, and put back byte for byte.
class PlainFile : public Writer {
 public:
  std::string Word() const override { return "file"; }
  std::string Sentence() const override { return "/etc/resolv.conf is a plain file that no service writes."; }
  std::vector<std::string> Servers() const override {
    return NameserverTexts(HasRecord() ? RecordedContent() : ResolvConf());
  }
  std::vector<Step> SwitchOver(const std::vector<std::string>& servers) const override {
    const std::string content = WithNameservers(RecordedContent(), HereAndBehind(servers));
    return {{"/etc/resolv.conf names 127.0.0.1 first, and behind it the name servers of before.", [content] {
               NoteWritten(content);
               WriteResolvConf(content);
             }}};
  }
  std::vector<Step> SwitchBack() const override {
    const std::string now = ResolvConf();
    const bool linked = !LinkTarget(kResolvConf).empty();
    if (!linked && now == RecordedContent()) return {};
    if (linked || now != WrittenContent())
      return {{"/etc/resolv.conf was changed by somebody else since, and stays as it is.", [] {}}};
    return {{"/etc/resolv.conf is put back as it was.", [] { RestoreResolvConf(); }}};
  }
};

class Resolved : public Writer {
 public:
  std::string Word() const override { return "resolved"; }
  std::string Sentence() const override { return "systemd-resolved looks after the name servers of this machine."; }
  std::vector<std::string> Servers() const override {
    return NameserverTexts(ReadWholeFile(kResolvedList).value_or(""));
  }
  std::vector<std::string> Doubts() const override;
  std::string Limit() const override {
    return "systemd-resolved itself asks 127.0.0.1 and the network's own name servers at the same time and takes the "
           "first answer.";
  }
  bool MayHoldPort(const std::string& program, const std::string&) const override {
    return program == "systemd-resolve";
  }
  std::vector<Step> FreePort() const override {
    return {{"/etc/resolv.conf leads to systemd-resolved's own list of name servers.",
             [] { LinkResolvConf(kResolvedList); }},
            {kStubDropIn + " has systemd-resolved leave port 53.", [] {
               WriteOwnFile(kStubDropIn, kOurs + "[Resolve]\nDNSStubListener=no\n");
               Restart();
             }}};
  }
  std::vector<Step> SwitchOver(const std::vector<std::string>&) const override {
    return {{kServerDropIn + " has systemd-resolved ask 127.0.0.1, beside the network's own name servers.", [] {
               WriteOwnFile(kServerDropIn, kOurs + "[Resolve]\nDNS=127.0.0.1\n");
               Restart();
             }}};
  }
  std::vector<Step> SwitchBack() const override {
    if (!fs::exists(kServerDropIn)) return {};
    return {{kServerDropIn + " goes.", [] { RemoveAndRestart(kServerDropIn); }}};
  }
  std::vector<Step> GiveBack() const override {
    std::vector<Step> steps;
    if (fs::exists(kStubDropIn)) steps.push_back({kStubDropIn + " goes.", [] { RemoveAndRestart(kStubDropIn); }});
    if (LinkTarget(kResolvConf) == kResolvedList && Noted("TARGET") != kResolvedList)
      steps.push_back({"/etc/resolv.conf leads to where it led before.", [] { RestoreResolvConf(); }});
    else if (LinkTarget(kResolvConf) != Noted("TARGET"))
      steps.push_back({"/etc/resolv.conf was changed by somebody else since, and stays as it is.", [] {}});
    return steps;
  }

 private:
  static void Restart() { RunOrFail({"/usr/bin/systemctl", "restart", "systemd-resolved.service"}); }
  static void RemoveAndRestart(const std::string& file) {
    RemoveOwnFile(file);
    Restart();
  }
};

std::vector<std::string> Resolved::Doubts() const {
  std::vector<std::string> doubts;
  std::istringstream domains(Run({"/usr/bin/resolvectl", "domain"}).output);
  for (std::string word; domains >> word;)
    if (word.starts_with('~') && word != "~.")
      doubts.push_back("A link has the names of " + word.substr(1) + " for itself (a VPN).");
  const std::pair<const char*, const char*> settings[] = {{"dnsovertls", "DNS over TLS"}, {"dnssec", "DNSSEC"}};
  for (const auto& [setting, shown] : settings) {
    std::istringstream words(Run({"/usr/bin/resolvectl", setting}).output);
    bool used = false;
    for (std::string word; words >> word;)
      used = used || word == "yes" || word == "opportunistic" || word == "allow-downgrade";
    if (used) doubts.push_back(std::string("systemd-resolved uses ") + shown + ", which Quenvar does not.");
  }
  return doubts;
}

class NetworkManager : public Writer {
 public:
  std::string Word() const override { return "networkmanager"; }
  std::string Sentence() const override { return "NetworkManager writes /etc/resolv.conf."; }
  std::vector<std::string> Servers() const override {
    std::vector<std::string> servers;
    std::istringstream lines(Run({"/usr/bin/nmcli", "--terse", "--fields", "IP4.DNS", "device", "show"}).output);
    for (std::string line; std::getline(lines, line);)
      if (const std::size_t colon = line.find(':'); line.starts_with("IP4.DNS") && colon != std::string::npos)
        servers.push_back(line.substr(colon + 1));
    return servers;
  }
  std::string Limit() const override {
    return "NetworkManager keeps the name servers of now behind 127.0.0.1, also in another network.";
  }
  bool MayHoldPort(const std::string& program, const std::string& parent) const override {
    return program == "dnsmasq" && parent == "NetworkManager";
  }
  std::vector<Step> FreePort() const override {
    if (!NamesDnsmasq()) return {};
    const std::vector<std::string> servers = UsableServers(Servers());
    return {{"/etc/resolv.conf names the network's own name servers.",
             [servers] { WriteResolvConf(WithNameservers("", servers)); }},
            {kManagerDropIn + " has NetworkManager end its dnsmasq.",
             [servers] { Configure("[main]\ndns=default\n", servers); }}};
  }
  std::vector<Step> SwitchOver(const std::vector<std::string>& servers) const override {
    return {{kManagerDropIn + " has NetworkManager name 127.0.0.1 first, and behind it the name servers of before.",
             [servers] { Configure("[main]\ndns=default\n", HereAndBehind(servers)); }}};
  }
  std::vector<Step> SwitchBack() const override {
    if (!fs::exists(kManagerDropIn)) return {};
    const std::vector<std::string> servers = UsableServers(Servers());
    return {{kManagerDropIn + " names the network's own name servers.",
             [servers] { Configure("[main]\ndns=default\n", servers); }}};
  }
  std::vector<Step> GiveBack() const override {
    std::vector<Step> steps;
    if (fs::exists(kManagerDropIn))
      steps.push_back({kManagerDropIn + " goes.", [] {
                         RemoveOwnFile(kManagerDropIn);
                         Reload();
                       }});
    if (!Noted("TARGET").empty() && LinkTarget(kResolvConf).empty())
      steps.push_back({"/etc/resolv.conf leads to where it led before.", [] { RestoreResolvConf(); }});
    return steps;
  }

 private:
  static bool NamesDnsmasq() {
    for (const Holder& holder : HoldersOfPort53())
      if (holder.name == "dnsmasq" && NameOf(holder.parent) == "NetworkManager") return true;
    return false;
  }
  static void Configure(const std::string& main, const std::vector<std::string>& servers) {
    std::string list;
    for (const std::string& server : servers) list += (list.empty() ? "" : ",") + server;
    WriteOwnFile(kManagerDropIn, kOurs + main + "\n[global-dns-domain-*]\nservers=" + list + "\n");
    Reload();
  }
  static void Reload() { RunOrFail({"/usr/bin/nmcli", "general", "reload"}); }
};

// Programs that write the file themselves, or have it written, and would undo what is written there.
void RefuseOtherWriters() {
  for (const char* const other : {"dhclient", "dhcpcd", "connmand", "udhcpc", "openvpn", "wicked", "netconfig"})
    if (Runs(other))
      throw Failure(std::string(other) +
                    " runs here and may write /etc/resolv.conf; the README says how to point it here by hand.");
}

}  // namespace

std::unique_ptr<Writer> WriterOf(const std::string& word) {
  if (word == "resolved") return std::make_unique<Resolved>();
  if (word == "networkmanager") return std::make_unique<NetworkManager>();
  if (word == "file") return std::make_unique<PlainFile>();
  throw Failure("The record names the unknown writer \"" + word + "\".");
}

std::unique_ptr<Writer> FindWriter() {
  const std::string target = LinkTarget(kResolvConf);
  if (target.find("systemd/resolve/") != std::string::npos) {
    if (!IsActive("systemd-resolved.service"))
      throw Failure("/etc/resolv.conf belongs to systemd-resolved, which does not run.");
    return WriterOf("resolved");
  }
  const bool managed = ResolvConf().find("Generated by NetworkManager") != std::string::npos;
  if (managed && IsActive("NetworkManager.service")) return WriterOf("networkmanager");
  if (!target.empty()) throw Failure("/etc/resolv.conf leads to " + target + ", whose writer is not known here.");
  RefuseOtherWriters();
  return WriterOf("file");
}

}  // namespace quenvar::resolver
