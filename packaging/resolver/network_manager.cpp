#include "packaging/resolver/network_manager.h"

#include <sstream>

#include "base/ipv4_text.h"
#include "packaging/resolver/command.h"
#include "packaging/resolver/resolv_conf.h"
#include "platform/posix/file_replacement.h"

namespace quenvar {

namespace {

constexpr const char* kOwnList = "/run/NetworkManager/no-stub-resolv.conf";
constexpr const char* kLinkToOwnList = "../run/NetworkManager/no-stub-resolv.conf";
constexpr const char* kDropIn = "/etc/NetworkManager/conf.d/zz-quenvar-resolver.conf";
constexpr const char* kHead = "# Written by quenvar-resolver, which takes it away with \"off\".\n";
constexpr const char* kNoDnsmasq = "[main]\ndns=default\n";
// The C library asks three at most, and 127.0.0.1 is the first.
constexpr std::size_t kServersBehind = 2;

bool IsHostName(const std::string& text) {
  return text.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.-_") ==
         std::string::npos;
}

std::string Searches(const std::string& list) {
  std::string text;
  for (const std::string& domain : SearchDomains(list))
    if (IsHostName(domain)) text += (text.empty() ? "" : ",") + domain;
  return text;
}

std::string Servers(const std::vector<std::string>& servers) {
  std::string text = "127.0.0.1";
  std::size_t count = 0;
  for (const std::string& server : servers)
    if (ReadHostAddress(server) && !IsLoopback(server) && count++ < kServersBehind) text += "," + server;
  return text;
}

Change DropIn(const std::string& saying, const std::string& content) {
  Change change = FileChange(saying + ", by the file " + kDropIn, kDropIn, RegularFile(kHead + content));
  change.verb = kReloadConfiguration;
  change.service = "NetworkManager.service";
  return change;
}

void AskAboutTunnels(Plan& plan) {
  std::istringstream lines(
      Run({"/usr/bin/nmcli", "--terse", "--fields", "TYPE,NAME", "connection", "show", "--active"}).output);
  for (std::string line; std::getline(lines, line);)
    if (line.starts_with("vpn:") || line.starts_with("wireguard:"))
      plan.questions.push_back("The connection " + Printable(line.substr(line.find(':') + 1)) +
                               " is a tunnel: its own names may not be found.");
}

bool HasGlobalServers() {
  return Run({"/usr/sbin/NetworkManager", "--print-config"}).output.find("[global-dns") != std::string::npos;
}

}  // namespace

bool NetworkManagerRuns() {
  return WordFrom({"/usr/bin/systemctl", "is-active", "NetworkManager.service"}) == "active";
}

void PlanForNetworkManager(Plan& plan, bool hasDnsmasq) {
  plan.writer = hasDnsmasq ? "NetworkManager with its dnsmasq" : "NetworkManager";
  const std::string list = ReadWholeFile(kOwnList).value_or(ResolvConfText());
  plan.servers = NameServers(list);
  if (HasGlobalServers()) plan.refusal = "its configuration names name servers for all connections ([global-dns])";
  AskAboutTunnels(plan);
  plan.limits.push_back("NetworkManager names 127.0.0.1 and the name servers of now in every network, until \"off\".");
  if (hasDnsmasq) {
    plan.freeing.push_back(
        FileChange(std::string("Point ") + kResolvConf + " at NetworkManager's own list of name servers", kResolvConf,
                   LinkTo(kLinkToOwnList)));
    plan.freeing.push_back(DropIn("Switch off NetworkManager's dnsmasq", kNoDnsmasq));
  }
  const std::string searches = Searches(list);
  Change local = DropIn("Put 127.0.0.1 in front of the name servers of NetworkManager",
                        (hasDnsmasq ? kNoDnsmasq : "") +
                            ("[global-dns]\n" + (searches.empty() ? "" : "searches=" + searches + "\n")) +
                            "[global-dns-domain-*]\nservers=" + Servers(plan.servers) + "\n");
  if (hasDnsmasq) {
    local.before = plan.freeing.back().after;
    local.madeFolders.clear();
  }
  plan.switching.push_back(local);
}

}  // namespace quenvar
