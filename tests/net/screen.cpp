#include "screen.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <stdexcept>

namespace quenvar::lab {

// The server picks a free display number itself and writes it when it is ready. It is asked to end, not killed, so
// that it removes its socket and lock, which all programs of the machine share.
Screen::Screen() {
  int ready[2];
  if (pipe(ready) != 0) throw std::runtime_error("no pipe");
  server_ = fork();
  if (server_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    close(ready[0]);
    const std::string descriptor = std::to_string(ready[1]);
    std::freopen("/dev/null", "w", stderr);
    execlp("Xvfb", "Xvfb", "-displayfd", descriptor.c_str(), "-screen", "0", "1024x768x24", "-nolisten", "tcp",
           nullptr);
    _exit(127);
  }
  close(ready[1]);
  FILE* number = fdopen(ready[0], "r");
  int display = 0;
  const bool started = std::fscanf(number, "%d", &display) == 1;
  std::fclose(number);
  if (!started) throw std::runtime_error("Xvfb does not start");
  display_ = std::string(":").append(std::to_string(display));
}

Screen::~Screen() {
  kill(server_, SIGTERM);
  waitpid(server_, nullptr, 0);
}

std::string Screen::Xdotool(const std::string& arguments) const {
  FILE* output = popen(("DISPLAY=" + display_ + " xdotool " + arguments + " 2>/dev/null").c_str(), "r");
  std::string text;
  for (int c = std::fgetc(output); c != EOF; c = std::fgetc(output)) text += static_cast<char>(c);
  pclose(output);
  return text;
}

int Screen::Count(const std::string& title) const {
  const std::string windows = Xdotool("search --onlyvisible --name '^" + title + "$'");
  return static_cast<int>(std::count(windows.begin(), windows.end(), '\n'));
}

bool Screen::Shows(const std::string& title) const {
  return Eventually([&] { return Count(title) > 0; });
}

bool Screen::Hides(const std::string& title) const {
  return Eventually([&] { return Count(title) == 0; });
}

void Screen::Press(const std::string& title, const std::string& key) const {
  Xdotool("search --onlyvisible --name '^" + title + "$' windowfocus --sync key " + key);
}

}  // namespace quenvar::lab
