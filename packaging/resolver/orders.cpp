#include "packaging/resolver/orders.h"

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <iostream>
#include <thread>

#include "packaging/resolver/command.h"
#include "packaging/resolver/port.h"
#include "packaging/resolver/record.h"
#include "packaging/resolver/user.h"
#include "packaging/resolver/writer.h"
#include "platform/posix/file_replacement.h"

namespace quenvar::resolver {

namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr const char* kProgram = "/usr/bin/quenvar";
constexpr std::chrono::seconds kPatience{60};
constexpr milliseconds kPause{100};
constexpr milliseconds kSlowestHit{1000};

void Take(const Step& step, bool dryRun) {
  Say("-> " + step.sentence);
  if (!dryRun) step.act();
}

void Take(const std::vector<Step>& steps, bool dryRun) {
  for (const Step& step : steps) Take(step, dryRun);
}

template <typename Condition>
bool WaitUntil(Condition condition) {
  for (const auto end = Clock::now() + kPatience; Clock::now() < end; std::this_thread::sleep_for(kPause))
    if (condition()) return true;
  return condition();
}

void Agree(const std::vector<std::string>& doubts, const Options& options) {
  for (const std::string& doubt : doubts) {
    std::cout << doubt << " Go on? [y/N] " << std::flush;
    std::string answer = "y";
    if (!options.yes) std::getline(std::cin, answer);
    if (options.yes) Say("yes");
    if (answer != "y" && answer != "Y" && answer != "yes") throw Failure("Nothing was changed.");
  }
}

// Also one whose file was replaced by an upgrade meanwhile.
bool IsQuenvar(const Holder& holder) {
  return holder.program == kProgram || holder.program == std::string(kProgram) + " (deleted)";
}

// Throws for a program that holds the port and would not let go of it. True when Quenvar holds it.
bool CheckPort(const Writer& writer) {
  bool held = false;
  for (const Holder& holder : HoldersOfPort53()) {
    const bool ours = IsQuenvar(holder);
    if (!ours && !writer.MayHoldPort(holder.name, NameOf(holder.parent)))
      throw Failure("\"" + holder.name + "\" (process " + std::to_string(holder.process) +
                    ") holds port 53. Nothing was changed.");
    held = held || ours;
  }
  return held;
}

bool QuenvarHoldsPort() {
  const std::vector<Holder> holders = HoldersOfPort53();
  return std::any_of(holders.begin(), holders.end(), IsQuenvar);
}

void StartProgram(const Options& options) {
  if (QuenvarHoldsPort()) return;
  if (!HasSession(options.user)) {
    Say("-> Waiting a minute for Quenvar: start it now from the desktop's menu.");
    if (options.dryRun) return;
  } else {
    Say("-> Quenvar starts in your session, and from now on with it.");
    if (options.dryRun) return;
    Note("UNIT", "yes");
    if (!UserManager(options.user, {"enable", "--now", "quenvar.service"}))
      throw Failure("Quenvar's unit could not be started.");
  }
  if (!WaitUntil(QuenvarHoldsPort)) throw Failure("Quenvar was not started within a minute.");
}

void StartAtLogin(const Options& options) {
  if (HasSession(options.user)) {
    if (options.dryRun || Noted("UNIT") == "yes") return;
    Note("UNIT", "yes");
    UserManager(options.user, {"enable", "quenvar.service"});
    return;
  }
  Say("-> Quenvar starts with your desktop from now on (~/.config/autostart/quenvar.desktop).");
  if (options.dryRun) return;
  Note("AUTOSTART", "yes");
  if (AsUser(options.user, [] { return AddAutostart() ? 0 : 1; }) != 0) Note("AUTOSTART", "no");
}

milliseconds LookUp(const std::string& name) {
  const auto start = Clock::now();
  if (!Run({"/usr/bin/getent", "ahosts", name}).Ok()) throw Failure("\"getent ahosts " + name + "\" finds nothing.");
  return std::chrono::duration_cast<milliseconds>(Clock::now() - start);
}

void Try(const Options& options) {
  Say("-> Looking " + options.name + " up twice, as programs do.");
  if (options.dryRun) return;
  LookUp(options.name);
  const milliseconds hit = LookUp(options.name);
  if (hit > kSlowestHit) throw Failure("The second look-up took " + std::to_string(hit.count()) + " ms.");
  Say("   The second time it took " + std::to_string(hit.count()) + " ms.");
}

void ChangeMachine(const Writer& writer, const std::vector<std::string>& servers, const Options& options) {
  Take(writer.FreePort(), options.dryRun);
  StartProgram(options);
  StartAtLogin(options);
  Say("-> Waiting until 127.0.0.1 answers.");
  if (!options.dryRun && !WaitUntil([&] { return AnswersHere(options.name); }))
    throw Failure("Quenvar does not answer: see its pages \"Server\" and \"Log\".");
  Take(writer.SwitchOver(servers), options.dryRun);
  Try(options);
}

// Ends the copies of the program that hold the port: their place is asked for by the machine's own service.
void EndProgram(uid_t user) {
  if (Noted("UNIT") == "yes") UserManager(user, {"stop", "quenvar.service"});
  for (const Holder& holder : HoldersOfPort53())
    if (IsQuenvar(holder)) kill(holder.process, SIGTERM);
  if (!WaitUntil([] { return !QuenvarHoldsPort(); })) throw Failure("Quenvar does not end.");
}

void ForgetLogin(uid_t user) {
  if (Noted("UNIT") == "yes") UserManager(user, {"disable", "quenvar.service"});
  if (Noted("AUTOSTART") == "yes")
    AsUser(user, [] {
      RemoveAutostart();
      return 0;
    });
}

}  // namespace

void SwitchOn(const Options& options) {
  if (options.user == 0)
    throw Failure("Call this from the account of the user whose Quenvar is to serve the machine, not as root.");
  const std::unique_ptr<Writer> writer = HasRecord() ? WriterOf(Noted("WRITER")) : FindWriter();
  Say(writer->Sentence());
  const std::vector<std::string> servers = UsableServers(writer->Servers());
  if (servers.empty())
    throw Failure("It has no name server with an IPv4 address that Quenvar could ask. Nothing was changed.");
  CheckPort(*writer);
  Agree(writer->Doubts(), options);
  if (!writer->Limit().empty()) Say(writer->Limit());
  Say("-> Your settings, ~/.config/QUENVAR.INI, get what they lack.");
  try {
    if (!options.dryRun) {
      BeginRecord(writer->Word());
      if (Noted("USER").empty()) Note("USER", std::to_string(options.user));
      if (AsUser(options.user, [&] { return PrepareSettings(servers, options.matchQuestion); }) != 0)
        throw Failure("The settings could not be prepared.");
    }
    ChangeMachine(*writer, servers, options);
  } catch (const Failure& failure) {
    Say(std::string(failure.what()) + " Going back.");
    SwitchOff(options);
    throw Failure("The machine is as it was before.");
  }
}

void SwitchOff(const Options& options) {
  if (!HasRecord()) return Say("Nothing is switched over: there is nothing to undo.");
  const std::unique_ptr<Writer> writer = WriterOf(Noted("WRITER"));
  const auto user = static_cast<uid_t>(std::stoul("0" + Noted("USER")));
  Take(writer->SwitchBack(), options.dryRun);
  const std::vector<Step> rest = writer->GiveBack();
  if (!rest.empty() && QuenvarHoldsPort())
    Take({"Quenvar ends, so that port 53 is free again.", [&] { EndProgram(user); }}, options.dryRun);
  Take(rest, options.dryRun);
  if (Noted("UNIT") == "yes" || Noted("AUTOSTART") == "yes")
    Take({"Quenvar does not start at login any more.", [&] { ForgetLogin(user); }}, options.dryRun);
  if (options.dryRun) return;
  EndRecord();
  Say("The machine is as it was before. Your settings keep their name servers.");
}

bool ShowStatus(const Options& options) {
  const std::vector<std::string> servers = NameserverTexts(ReadWholeFile(kResolvConf).value_or(""));
  const bool first = !servers.empty() && servers.front() == "127.0.0.1";
  Say(first ? "/etc/resolv.conf names 127.0.0.1 first." : "/etc/resolv.conf does not name 127.0.0.1 first.");
  const bool answers = AnswersHere(options.name);
  Say(answers ? "127.0.0.1 answers."
              : "127.0.0.1 does not answer: Quenvar does not run, or has no name server that answers.");
  return first && answers;
}

}  // namespace quenvar::resolver
