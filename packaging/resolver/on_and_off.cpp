#include "packaging/resolver/on_and_off.h"

#include "engine/host/own_addresses.h"
#include "packaging/resolver/checks.h"
#include "packaging/resolver/port.h"
#include "packaging/resolver/program.h"
#include "packaging/resolver/resolv_conf.h"
#include "packaging/resolver/say.h"
#include "packaging/resolver/steps.h"
#include "packaging/resolver/user_settings.h"
#include "packaging/resolver/writers.h"

namespace quenvar {

namespace {

constexpr const char* kDamaged = "/var/lib/quenvar/record cannot be read. Nothing is changed.";

bool MayGoOn(const Plan& plan, const Wishes& wishes) {
  Say(std::string(kResolvConf) + " is written by " + plan.writer + ".");
  if (!plan.refusal.empty()) {
    Complain(plan.refusal + ". Nothing is changed.");
    return false;
  }
  if (plan.servers.empty()) {
    Complain("no name server is in use that Quenvar could ask (it needs IPv4 addresses). Nothing is changed.");
    return false;
  }
  for (const std::string& limit : plan.limits) Say(limit);
  for (const std::string& question : plan.questions) Say(question);
  if (plan.questions.empty() || wishes.yes || wishes.dryRun || AskWhetherToGoOn()) return true;
  Complain("Nothing is changed; --yes goes on all the same.");
  return false;
}

bool DoEverything(Record& record, const Plan& plan, const Wishes& wishes, const Account& account) {
  const bool dryRun = wishes.dryRun;
  return DoAll(record, plan.freeing, account, dryRun) && DoAll(record, ProgramChanges(account), account, dryRun) &&
         (dryRun || WaitForProgram(account, wishes.name)) && DoAll(record, plan.switching, account, dryRun) &&
         (dryRun || (WaitUntilNamed() && LooksUpInTime(wishes.name)));
}

int GoBack(Record& record) {
  Complain("this machine is taken back to its name servers of before.");
  if (!TakeBack(record)) Complain("not everything could be taken back: try quenvar-resolver off.");
  return 1;
}

int OnForTheFirstTime(const Wishes& wishes, const Account& account) {
  const Plan plan = MakePlan(account);
  if (!MayGoOn(plan, wishes)) return 1;
  if (!PrepareSettings(account, plan.servers, wishes.matchQuestion, wishes.dryRun)) return 1;
  Record record{account.uid, false, {}};
  const bool done = DoEverything(record, plan, wishes, account);
  if (wishes.dryRun) return done ? 0 : 1;
  if (!done) return GoBack(record);
  record.complete = true;
  if (!SaveRecord(record)) return GoBack(record);
  Say("This machine asks Quenvar now. Back: quenvar-resolver off");
  return 0;
}

// Nothing of the machine is changed any more; the program may have been ended.
int OnAgain(const Wishes& wishes, const Account& account) {
  Say("This machine asks Quenvar already.");
  if (!NamesLocalFirst()) {
    Complain(std::string(kResolvConf) + " has been changed since: use off first, and then on.");
    return 1;
  }
  if (!PrepareSettings(account, UsableServers(NameServers(ResolvConfText())), wishes.matchQuestion, wishes.dryRun))
    return 1;
  if (wishes.dryRun) return 0;
  if (!IsRunning(account)) Say("Start Quenvar as the user " + account.name);
  const bool started = IsRunning(account) || DoProgram(account);
  return started && WaitForProgram(account, wishes.name) && LooksUpInTime(wishes.name) ? 0 : 1;
}

}  // namespace

int On(const Wishes& wishes, const Account& account) {
  GetOwnAddresses();
  bool damaged = false;
  auto record = LoadRecord(damaged);
  if (damaged) {
    Complain(kDamaged);
    return 1;
  }
  if (record && record->complete && record->uid == account.uid) return OnAgain(wishes, account);
  if (record && record->complete) {
    Complain("this machine asks the Quenvar of another user already: use off first.");
    return 1;
  }
  if (record) {
    Say("An earlier \"on\" has not come to its end. What it has changed is taken back first.");
    if (!wishes.dryRun && !TakeBack(*record)) return 1;
  }
  return OnForTheFirstTime(wishes, account);
}

int Off(const Wishes& wishes) {
  bool damaged = false;
  auto record = LoadRecord(damaged);
  if (damaged) {
    Complain(kDamaged);
    return 1;
  }
  if (!record) {
    Say("Nothing is to be taken back.");
    return wishes.dryRun || RemoveRecord() ? 0 : 1;
  }
  if (wishes.dryRun) {
    for (auto change = record->changes.rbegin(); change != record->changes.rend(); ++change)
      Say("Take back: " + change->saying);
    return 0;
  }
  if (!TakeBack(*record)) return 1;
  Say("This machine asks its name servers of before.");
  return 0;
}

int Status(const Wishes& wishes) {
  const bool isOn = NamesLocalFirst();
  const bool answers = WaitForAnswer("127.0.0.1", wishes.name, std::chrono::milliseconds(0), true);
  Say(isOn ? "On: this machine asks 127.0.0.1 first." : "Off: this machine does not ask 127.0.0.1 first.");
  Say(answers ? "A name server answers on 127.0.0.1." : "No name server answers on 127.0.0.1.");
  for (const std::string& server : NameServers(ResolvConfText()))
    if (server != "127.0.0.1") Say("Name server" + std::string(isOn ? " behind it: " : ": ") + Printable(server));
  if (isOn && !IsRecorded()) Say("This was set by hand: quenvar-resolver off takes nothing back.");
  if (!isOn && IsRecorded()) Say("There are changes of an earlier \"on\": quenvar-resolver off takes them back.");
  return isOn ? 0 : 1;
}

}  // namespace quenvar
