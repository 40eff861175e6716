#include "packaging/resolver/instance_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "platform/posix/file_replacement.h"

namespace quenvar {

namespace {

std::string HostName() {
  char name[256] = {};
  gethostname(name, sizeof name - 1);
  return name;
}

std::string FirstLine(const char* path) {
  const std::string text = ReadWholeFile(path).value_or("");
  return text.substr(0, text.find('\n'));
}

// By this a copy of Quenvar tells whether the holder still runs.
std::string Content() {
  std::error_code error;
  const std::string program = std::filesystem::read_symlink("/proc/self/exe", error).filename();
  return std::to_string(getpid()) + "\n" + program + "\n" + HostName() + "\n" + FirstLine("/etc/machine-id") + "\n" +
         FirstLine("/proc/sys/kernel/random/boot_id") + "\n";
}

}  // namespace

// Who has made the file locks it and fills it in the next moment, so that an empty one is looked at again.
InstanceLock::InstanceLock(const std::string& path) : path_(path) {
  for (int step = 0; step < 10 && state_ == State::Other; ++step) {
    if (step > 0) usleep(20'000);
    state_ = Take();
  }
}

InstanceLock::~InstanceLock() {
  if (state_ == State::Own) unlink(path_.c_str());
  if (file_ >= 0) close(file_);
}

// What a killed copy has left behind is locked by nobody. It is taken away first, so that the new file is ours from its
// first moment on.
InstanceLock::State InstanceLock::Take() {
  if (file_ >= 0) close(file_);
  file_ = open(path_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
  if (file_ >= 0) {
    const std::string content = Content();
    const auto size = static_cast<ssize_t>(content.size());
    const bool taken = flock(file_, LOCK_EX | LOCK_NB) == 0 && write(file_, content.data(), content.size()) == size;
    return taken ? State::Own : State::Other;
  }
  if (errno != EEXIST) return State::None;
  file_ = open(path_.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
  struct stat state {};
  if (file_ >= 0 && flock(file_, LOCK_EX | LOCK_NB) == 0 && fstat(file_, &state) == 0 && state.st_size > 0)
    unlink(path_.c_str());
  return State::Other;
}

}  // namespace quenvar
