// Time: the millisecond counter that requests are measured with, and the time of day that log lines begin with.
#pragma once

#include <cstdint>
#include <string>

namespace quenvar {

class Clock {
 public:
  virtual ~Clock() = default;

  /// Milliseconds since the machine was started, sleep included, as a signed 32-bit value: after about 24.8 days it
  /// goes on at the most negative value.
  virtual std::int32_t MillisecondTick() = 0;

  /// The local time of day with hours, minutes and seconds, in the form of the user's region.
  virtual const std::string& TimeOfDay() = 0;

  /// Seconds since the beginning of 1970, UTC. May jump either way when the clock is set.
  virtual std::int64_t UnixSecond() = 0;
};

}  // namespace quenvar
