// Loaded in front of the program: the clocks that count from the start of the machine begin at TEST_CLOCK_BEGIN
// seconds and run TEST_CLOCK_SPEED times as fast, also for who waits in poll(). The time of day stays as it is. With a
// file TEST_CLOCK_PLAN, that says all this, and the time of day goes along.
#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <ctime>

#include "tests/net/clock_plan.h"

namespace {

constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;
/// Who waits looks so often whether the speed has changed.
constexpr std::int64_t kLook = 2'000'000;

timespec Time(std::int64_t nanoseconds) {
  return {nanoseconds / kNanosecondsPerSecond, nanoseconds % kNanosecondsPerSecond};
}

std::int64_t Real() {
  timespec time{};
  syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &time);
  return time.tv_sec * kNanosecondsPerSecond + time.tv_nsec;
}

std::int64_t Number(const char* name) { return std::atoll(std::getenv(name)); }

const char* PlanFile() { return std::getenv("TEST_CLOCK_PLAN"); }

const quenvar::ClockPlan& MakePlan() {
  static quenvar::ClockPlan plan;
  if (PlanFile() == nullptr) {
    plan.Add({Real(), Number("TEST_CLOCK_BEGIN") * kNanosecondsPerSecond, Number("TEST_CLOCK_SPEED"), 0});
    return plan;
  }
  const int file = open(PlanFile(), O_RDONLY | O_CLOEXEC);
  const void* shared = mmap(nullptr, sizeof plan, PROT_READ, MAP_SHARED, file, 0);
  close(file);
  if (shared == MAP_FAILED) std::abort();
  return *static_cast<const quenvar::ClockPlan*>(shared);
}

const quenvar::ClockPlan& Plan() {
  static const quenvar::ClockPlan& plan = MakePlan();
  return plan;
}

}  // namespace

extern "C" int poll(pollfd* descriptors, nfds_t count, int milliseconds) {
  const std::int64_t end = Plan().TickAt(Real()) + std::int64_t{1'000'000} * milliseconds;
  while (true) {
    const std::int64_t left = std::max<std::int64_t>(end - Plan().TickAt(Real()), 0);
    const timespec wait = Time(std::min(left / Plan().At(Real()).speed, kLook));
    const long ready = syscall(SYS_ppoll, descriptors, count, milliseconds < 0 ? nullptr : &wait, nullptr, 0);
    if (ready != 0 || Plan().TickAt(Real()) >= end) return static_cast<int>(ready);
  }
}

extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept {
  const bool ofDay = clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE;
  if (ofDay ? PlanFile() == nullptr : clock != CLOCK_MONOTONIC && clock != CLOCK_BOOTTIME)
    return static_cast<int>(syscall(SYS_clock_gettime, clock, time));
  *time = Time(Plan().TickAt(Real()) + (ofDay ? Plan().At(Real()).wall : 0));
  return 0;
}

extern "C" time_t time(time_t* result) noexcept {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  if (result != nullptr) *result = now.tv_sec;
  return now.tv_sec;
}
