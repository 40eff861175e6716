// quenvar-resolver: points this machine's name resolution at Quenvar, and back.

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "packaging/resolver/command.h"
#include "packaging/resolver/orders.h"

namespace {

using quenvar::resolver::Failure;
using quenvar::resolver::Options;

constexpr int kUsage = 2;
constexpr const char* kPath = "/usr/bin/quenvar-resolver";

void ShowUsage() {
  std::fputs(
      "quenvar-resolver on|off|status [--dry-run] [--yes] [--match-question] [--name NAME]\n"
      "  on      points this machine's name resolution at Quenvar\n"
      "  off     puts everything back as it was\n"
      "  status  says what is so; exit status 0 when on\n"
      "  --dry-run         says the steps and does none\n"
      "  --yes             asks nothing\n"
      "  --match-question  switches MATCHQUESTION on in settings that lack it\n"
      "  --name NAME       the name that is looked up for a try, else example.com\n",
      stderr);
}

// False for words that mean nothing.
bool Read(int count, char** words, Options& options) {
  for (int index = 2; index < count; ++index) {
    const std::string word = words[index];
    if (word == "--dry-run")
      options.dryRun = true;
    else if (word == "--yes")
      options.yes = true;
    else if (word == "--match-question")
      options.matchQuestion = true;
    else if (word == "--name" && index + 1 < count && words[index + 1][0] != '-')
      options.name = words[++index];
    else
      return false;
  }
  return true;
}

// Who called, by the word of sudo or pkexec; 0 when neither tells.
uid_t Caller() {
  for (const char* const variable : {"PKEXEC_UID", "SUDO_UID"}) {
    const char* const text = std::getenv(variable);
    if (text == nullptr || *text == '\0' || std::strspn(text, "0123456789") != std::strlen(text)) continue;
    const unsigned long long number = std::strtoull(text, nullptr, 10);
    return number < static_cast<uid_t>(-1) ? static_cast<uid_t>(number) : 0;
  }
  return 0;
}

// Starts this program anew with the rights that it needs.
int StartAsRoot(int count, char** words) {
  std::vector<char*> command = {nullptr, const_cast<char*>(kPath)};
  command.insert(command.end(), words + 1, words + count);
  command.push_back(nullptr);
  for (const char* const starter :
       {isatty(STDIN_FILENO) ? "/usr/bin/sudo" : "/usr/bin/pkexec", "/usr/bin/pkexec", "/usr/bin/sudo"}) {
    command[0] = const_cast<char*>(starter);
    execv(starter, command.data());
  }
  std::fputs("quenvar-resolver: this needs root, and neither sudo nor pkexec is there.\n", stderr);
  return EXIT_FAILURE;
}

int Obey(const std::string& order, const Options& options) {
  if (order == "status") return quenvar::resolver::ShowStatus(options) ? EXIT_SUCCESS : EXIT_FAILURE;
  order == "on" ? SwitchOn(options) : SwitchOff(options);
  return EXIT_SUCCESS;
}

}  // namespace

int main(int count, char** words) {
  Options options;
  const std::string order = count > 1 ? words[1] : "";
  if ((order != "on" && order != "off" && order != "status") || !Read(count, words, options)) {
    ShowUsage();
    return kUsage;
  }
  if (geteuid() != 0 && order != "status") return StartAsRoot(count, words);
  options.user = Caller();
  clearenv();
  umask(022);
  try {
    return Obey(order, options);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "quenvar-resolver: %s\n", failure.what());
    return EXIT_FAILURE;
  }
}
