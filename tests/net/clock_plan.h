// What a test and the clock of its program share in a file: how fast the time goes, and what the time of day is. The
// test writes a span that begins in a moment and then counts it, so that no clock goes back or reads half of one.
#pragma once

#include <atomic>
#include <cstdint>

namespace quenvar {

struct ClockPlan {
  struct Span {
    std::int64_t real;  ///< the machine's own nanosecond at which it begins
    std::int64_t tick;  ///< the nanosecond that the program's clock shows then
    std::int64_t speed;
    std::int64_t wall;  ///< what the time of day is ahead of that, in nanoseconds
  };

  const Span& At(std::int64_t real) const {
    int span = count - 1;
    while (span > 0 && spans[span].real > real) --span;
    return spans[span];
  }
  std::int64_t TickAt(std::int64_t real) const { return At(real).tick + (real - At(real).real) * At(real).speed; }
  void Add(const Span& span) {
    spans[count] = span;
    ++count;
  }

  std::atomic<int> count = 0;
  Span spans[1000] = {};
};

}  // namespace quenvar
