#include "packaging/resolver/say.h"

#include <unistd.h>

#include <csignal>
#include <cstdio>

namespace quenvar {

namespace {

volatile std::sig_atomic_t interrupted = 0;

void Note(int /*signal*/) { interrupted = 1; }

}  // namespace

void Say(const std::string& line) {
  std::printf("%s\n", line.c_str());
  std::fflush(stdout);
}

void Complain(const std::string& line) { std::fprintf(stderr, "quenvar-resolver: %s\n", line.c_str()); }

void NoteInterruptions() {
  struct sigaction action {};
  action.sa_handler = &Note;
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaction(signal, &action, nullptr);
}

bool Interrupted() { return interrupted != 0; }

bool AskWhetherToGoOn() {
  if (isatty(STDIN_FILENO) == 0) return false;
  std::printf("Go on all the same? [y/N] ");
  std::fflush(stdout);
  char answer[16] = {};
  return std::fgets(answer, sizeof answer, stdin) != nullptr && (answer[0] == 'y' || answer[0] == 'Y');
}

}  // namespace quenvar
