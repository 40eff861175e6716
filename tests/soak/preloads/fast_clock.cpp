// Loaded in front of the program: the clocks that count from the start of the machine begin at SOAK_CLOCK_BEGIN
// seconds and run SOAK_CLOCK_SPEED times as fast, also for who waits in poll(). The time of day stays as it is.
#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <ctime>

namespace {

constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;

std::int64_t Nanoseconds(clockid_t clock) {
  timespec time{};
  syscall(SYS_clock_gettime, clock, &time);
  return time.tv_sec * kNanosecondsPerSecond + time.tv_nsec;
}

std::int64_t Number(const char* name) { return std::atoll(std::getenv(name)); }

std::int64_t Speed() {
  static const std::int64_t speed = Number("SOAK_CLOCK_SPEED");
  return speed;
}

}  // namespace

extern "C" int poll(pollfd* descriptors, nfds_t count, int milliseconds) {
  const std::int64_t wait = milliseconds > 0 ? milliseconds / Speed() : milliseconds;
  return static_cast<int>(syscall(SYS_poll, descriptors, count, wait));
}

extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept {
  if (clock != CLOCK_MONOTONIC && clock != CLOCK_BOOTTIME)
    return static_cast<int>(syscall(SYS_clock_gettime, clock, time));
  static const std::int64_t start = Nanoseconds(CLOCK_MONOTONIC);
  static const std::int64_t begin = Number("SOAK_CLOCK_BEGIN");
  const std::int64_t passed = (Nanoseconds(CLOCK_MONOTONIC) - start) * Speed();
  time->tv_sec = begin + passed / kNanosecondsPerSecond;
  time->tv_nsec = passed % kNanosecondsPerSecond;
  return 0;
}
