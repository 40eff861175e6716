// A clock of the program under test that a test makes faster and slower.
#pragma once

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <ctime>

#include "clock_plan.h"
#include "lab.h"

namespace quenvar::lab {

/// A clock that a test sets, for programs with its file in TEST_CLOCK_PLAN. It begins at 0 with the present time of
/// day.
class ProgramClock {
 public:
  explicit ProgramClock(int speed) {
    WriteFile(kFile, std::string(sizeof(ClockPlan), '\0'));
    const int file = open(kFile.c_str(), O_RDWR | O_CLOEXEC);
    plan_ = static_cast<ClockPlan*>(mmap(nullptr, sizeof *plan_, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0));
    close(file);
    plan_->Add({Real(), 0, speed, std::time(nullptr) * 1'000'000'000});
  }
  /// Returns when the time goes so fast, and the time of day has jumped.
  void Go(int speed, std::chrono::seconds jump = std::chrono::seconds(0)) {
    const std::int64_t soon = Real() + kSoon.count();
    plan_->Add({soon, plan_->TickAt(soon), speed, plan_->At(soon).wall + std::chrono::nanoseconds(jump).count()});
    std::this_thread::sleep_for(2 * kSoon);
  }
  std::chrono::nanoseconds Now() const { return std::chrono::nanoseconds(plan_->TickAt(Real())); }
  void GoUntil(std::chrono::nanoseconds end, int speed) {
    for (Go(speed); Now() < end;) std::this_thread::sleep_for(kSoon);
  }

  inline static const std::filesystem::path kFile = kDirectory / "clock";

 private:
  static constexpr std::chrono::nanoseconds kSoon{1'000'000};
  static std::int64_t Real() { return std::chrono::steady_clock::now().time_since_epoch().count(); }
  ClockPlan* plan_;
};

}  // namespace quenvar::lab
