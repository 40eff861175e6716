// Loaded in front of the program: fails what is written to its cache and its settings file. Every call that changes one
// of these files counts. Call number SOAK_FAIL_AT fails, and with SOAK_FAIL_EVER all after it; 0 is none. With
// SOAK_KILL the program is killed by it. The file SOAK_COUNT_FILE, if named, holds how many there were.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <initializer_list>

namespace {

bool IsMeant(const char* path) {
  for (const char* name : {"DNSCACHE.MDB", "TEMP.MDB", "QUENVAR.INI"})
    if (std::strstr(path, name) != nullptr) return true;
  return false;
}

bool IsMeant(int file) {
  char link[32];
  char path[512] = "";
  std::snprintf(link, sizeof link, "/proc/self/fd/%d", file);
  return readlink(link, path, sizeof path - 1) > 0 && IsMeant(path);
}

long Number(const char* name) {
  const char* text = std::getenv(name);
  return text == nullptr ? 0 : std::atol(text);
}

// Every second one as on a full disk: the program tells that from a broken one.
bool NextFails() {
  static long calls = 0;
  static const long failing = Number("SOAK_FAIL_AT");
  static const bool forEver = Number("SOAK_FAIL_EVER") != 0;
  ++calls;
  if (const char* path = std::getenv("SOAK_COUNT_FILE")) std::ofstream(path) << calls;
  if (failing == 0 || (forEver ? calls < failing : calls != failing)) return false;
  if (std::getenv("SOAK_KILL") != nullptr) std::raise(SIGKILL);
  errno = failing % 2 == 0 ? ENOSPC : EIO;
  return true;
}

}  // namespace

#define FAILING(result, name, parameters, file, arguments)                                    \
  extern "C" result name parameters {                                                         \
    static const auto real = reinterpret_cast<result(*) parameters>(dlsym(RTLD_NEXT, #name)); \
    return IsMeant(file) && NextFails() ? -1 : real arguments;                                \
  }

FAILING(ssize_t, write, (int file, const void* bytes, size_t size), file, (file, bytes, size))
FAILING(ssize_t, pwrite, (int file, const void* bytes, size_t size, off_t at), file, (file, bytes, size, at))
FAILING(ssize_t, pwrite64, (int file, const void* bytes, size_t size, off64_t at), file, (file, bytes, size, at))
FAILING(int, fsync, (int file), file, (file))
FAILING(int, fdatasync, (int file), file, (file))
FAILING(int, ftruncate, (int file, off_t size), file, (file, size))
FAILING(int, ftruncate64, (int file, off64_t size), file, (file, size))
FAILING(int, rename, (const char* from, const char* to), from, (from, to))
FAILING(int, unlink, (const char* path), path, (path))
FAILING(int, fchmod, (int file, mode_t mode), file, (file, mode))
