#include "platform/posix/system_clock.h"

#include <clocale>

namespace quenvar {

namespace {

std::string FormatTime(std::time_t second, const char* format) {
  // A locale object of its own: the time follows the user's region whatever the process has set.
  static const locale_t region = newlocale(LC_TIME_MASK, "", nullptr);
  std::tm local{};
  localtime_r(&second, &local);
  char buffer[64];
  const std::size_t length = region != nullptr ? strftime_l(buffer, sizeof buffer, format, &local, region)
                                               : std::strftime(buffer, sizeof buffer, format, &local);
  return std::string(buffer, length);
}

bool IsPlain(const std::string& text) {
  return !text.empty() && text.find_first_not_of("0123456789:. APMapm") == std::string::npos;
}

}  // namespace

std::int32_t SystemClock::MillisecondTick() {
  std::timespec now{};
  clock_gettime(CLOCK_BOOTTIME, &now);
  const auto milliseconds =
      static_cast<std::uint64_t>(now.tv_sec) * 1000 + static_cast<std::uint64_t>(now.tv_nsec) / 1000000;
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(milliseconds));
}

const std::string& SystemClock::TimeOfDay() {
  // Formatted once a second: thousands of lines may ask within it.
  std::timespec now{};
  clock_gettime(CLOCK_REALTIME_COARSE, &now);
  if (now.tv_sec != textSecond_) {
    textSecond_ = now.tv_sec;
    text_ = FormatTime(textSecond_, "%X");
    if (!IsPlain(text_)) text_ = FormatTime(textSecond_, "%H:%M:%S");
  }
  return text_;
}

}  // namespace quenvar
