#pragma once

#include <ctime>

#include "platform/clock.h"

namespace quenvar {

/// The clocks of the operating system.
class SystemClock final : public Clock {
 public:
  std::int32_t MillisecondTick() override;
  const std::string& TimeOfDay() override;
  std::int64_t UnixSecond() override { return std::time(nullptr); }

 private:
  std::time_t textSecond_ = -1;
  std::string text_;
};

}  // namespace quenvar
