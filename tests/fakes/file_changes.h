// Stands between a test program and the system: one change of a file fails, or kills the program. For one source file
// of a program only.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <functional>
#include <string>

namespace {

int changesLeft = 0;
bool changeFails = false;  // else it kills
mode_t widestMode = 0;     // of what was written to
std::string calls;

bool Fails(const std::string& call) {
  calls += call;
  if (changesLeft == 0 || --changesLeft > 0) return false;
  if (!changeFails) raise(SIGKILL);
  errno = ENOSPC;
  return true;
}

}  // namespace

extern "C" {

ssize_t write(int file, const void* bytes, std::size_t size) {
  return Fails("write ") ? -1 : syscall(SYS_write, file, bytes, size);
}
ssize_t pwrite64(int file, const void* bytes, std::size_t size, off64_t at) {
  struct stat state {};
  if (fstat(file, &state) == 0) widestMode |= state.st_mode;
  return Fails("") ? -1 : pwrite(file, bytes, size, at);
}
int fsync(int file) {
  struct stat state {};
  const bool folder = fstat(file, &state) == 0 && S_ISDIR(state.st_mode);
  return Fails(folder ? "folder " : "sync ") ? -1 : static_cast<int>(syscall(SYS_fsync, file));
}
int rename(const char* from, const char* to) { return Fails("rename ") ? -1 : renameat(AT_FDCWD, from, AT_FDCWD, to); }
int unlink(const char* path) { return Fails("") ? -1 : unlinkat(AT_FDCWD, path, 0); }
}

namespace quenvar {

/// Runs `action` in a process that is killed in front of its `change`th change of a file, counted from the call of
/// `arm` on, or for which that fails. False when there are not so many.
inline bool IsHitAt(int change, const std::function<void(const std::function<void()>& arm)>& action) {
  const pid_t child = fork();
  if (child == 0) {
    action([change] { changesLeft = change; });
    _exit(changesLeft > 0 ? 0 : 1);
  }
  int status = 0;
  return waitpid(child, &status, 0) == child && status != 0;
}

}  // namespace quenvar
