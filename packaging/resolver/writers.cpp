#include "packaging/resolver/writers.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "packaging/resolver/network_manager.h"
#include "packaging/resolver/program.h"
#include "packaging/resolver/resolv_conf.h"
#include "packaging/resolver/resolved.h"
#include "platform/posix/file_replacement.h"

namespace quenvar {

namespace fs = std::filesystem;

namespace {

struct PortUse {
  bool stub = false;
  bool dnsmasq = false;  // NetworkManager's
  std::string unknown;   // a program that is none of those
};

PortUse LookAtPort(const Account& account) {
  PortUse use;
  for (const PortHolder& holder : PortHolders()) {
    const std::string name = fs::path(holder.program).filename();
    if (IsOwnProgram(holder, account)) continue;
    if (IsResolvedsStub(holder.program)) {
      use.stub = true;
    } else if (name == "dnsmasq" && fs::path(holder.parent).filename() == "NetworkManager") {
      use.dnsmasq = true;
    } else {
      use.unknown = (name.empty() ? "an unknown program" : Printable(holder.program)) + " on " + holder.address;
    }
  }
  return use;
}

// These write the file without saying so in it.
std::string SilentWriter() {
  std::error_code error;
  for (const auto& entry : fs::directory_iterator("/proc", error)) {
    std::ifstream file(entry.path() / "comm");
    std::string name;
    std::getline(file, name);
    for (const char* const known : {"dhclient", "dhcpcd", "udhcpc", "connmand", "wickedd"})
      if (name == known) return name;
  }
  return "";
}

bool NamesStub(const std::string& text) {
  const auto servers = NameServers(text);
  return std::any_of(servers.begin(), servers.end(),
                     [](const std::string& server) { return server == "127.0.0.53" || server == "127.0.0.54"; });
}

void PlanForPlainFile(Plan& plan, const FileState& now, bool stubListens) {
  plan.writer = "nobody: it is a plain file";
  plan.servers = NameServers(now.content);
  const std::string generator = GeneratorLine(now.content);
  const std::string silent = SilentWriter();
  if (!generator.empty()) plan.refusal = "another program writes it: " + Printable(generator);
  if (!silent.empty()) plan.refusal = silent + " writes it";
  if (stubListens) plan.freeing.push_back(StubChange());
  FileState after = now;
  after.content = WithLocalFirst(now.content);
  plan.switching.push_back(
      FileChange(std::string("Put 127.0.0.1 in front of the name servers in ") + kResolvConf, kResolvConf, after));
}

void PlanByWriter(Plan& plan, const PortUse& use) {
  const FileState now = ReadState(kResolvConf);
  const std::string text = ResolvConfText();
  std::error_code error;
  const std::string target = fs::weakly_canonical(kResolvConf, error).string();
  const bool isLink = now.kind == FileState::Kind::Link;
  const bool byNetworkManager = isLink ? target.starts_with("/run/NetworkManager/")
                                       : GeneratorLine(text).find("NetworkManager") != std::string::npos;
  if ((isLink && target.starts_with("/run/systemd/resolve/")) || NamesStub(text)) {
    PlanForResolved(plan, use.stub);
    if (!use.stub && NamesStub(text))
      plan.refusal = "it names systemd-resolved's own name server, which does not listen";
  } else if (byNetworkManager && NetworkManagerRuns()) {
    PlanForNetworkManager(plan, use.dnsmasq);
    if (use.stub) plan.freeing.push_back(StubChange());
  } else if (now.kind == FileState::Kind::Regular) {
    PlanForPlainFile(plan, now, use.stub);
  } else {
    plan.writer = "an unknown program";
    plan.refusal = isLink ? "it is a link to " + Printable(target) : "it is neither a file nor a link";
  }
}

void RefuseForeignFiles(Plan& plan) {
  for (const std::vector<Change>* const changes : {&plan.freeing, &plan.switching})
    for (const Change& change : *changes)
      if (change.path != kResolvConf && ReadState(change.path).kind != FileState::Kind::Missing)
        plan.refusal = change.path + " is there already";
}

}  // namespace

std::string ResolvConfText() { return ReadWholeFile(kResolvConf).value_or(""); }

Plan MakePlan(const Account& account) {
  Plan plan;
  const PortUse use = LookAtPort(account);
  PlanByWriter(plan, use);
  RefuseForeignFiles(plan);
  if (!use.unknown.empty()) plan.refusal = "port 53 is held by " + use.unknown;
  if (use.dnsmasq && plan.writer.find("dnsmasq") == std::string::npos)
    plan.refusal = "port 53 is held by a dnsmasq of NetworkManager, which does not write " + std::string(kResolvConf);
  plan.servers = UsableServers(plan.servers);
  return plan;
}

}  // namespace quenvar
