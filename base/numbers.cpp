#include "base/numbers.h"

#include <charconv>
#include <cmath>
#include <limits>

#include "base/text.h"

namespace quenvar {

char DecimalSeparator = '.';

namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

}  // namespace

void Increment(std::int16_t& counter) { AddChecked(counter, 1); }

void AddChecked(std::int16_t& counter, int amount) {
  const int sum = counter + amount;
  if (sum < std::numeric_limits<std::int16_t>::min() || sum > std::numeric_limits<std::int16_t>::max()) return;
  counter = static_cast<std::int16_t>(sum);
}

std::optional<std::int16_t> RoundHalfEven(double value) {
  const double rounded = std::nearbyint(value);
  if (!(rounded >= std::numeric_limits<std::int16_t>::min() && rounded <= std::numeric_limits<std::int16_t>::max()))
    return std::nullopt;
  return static_cast<std::int16_t>(rounded);
}

double RoundToOneDecimal(double value) { return std::nearbyint(value * 10) / 10; }

double ReadNumber(std::string_view text) {
  std::size_t at = 0;
  while (at < text.size() && text[at] == ' ') ++at;
  const bool negative = at < text.size() && text[at] == '-';
  if (negative || (at < text.size() && text[at] == '+')) ++at;
  std::size_t end = at;
  for (bool pointSeen = false; end < text.size(); ++end) {
    const bool point = text[end] == '.' && !pointSeen;
    if (!point && !IsDigit(text[end])) break;
    pointSeen = pointSeen || point;
  }
  double value = 0;
  const auto read = std::from_chars(text.data() + at, text.data() + end, value, std::chars_format::fixed);
  if (read.ec == std::errc::result_out_of_range) value = std::numeric_limits<double>::max();
  return negative ? -value : value;
}

std::string NumberText(double value) {
  char buffer[40];
  // Added to 0, a negative zero becomes a plain one.
  const auto written = std::to_chars(buffer, buffer + sizeof buffer, value + 0.0, std::chars_format::general, 15);
  std::string text = UpperCase(std::string_view(buffer, static_cast<std::size_t>(written.ptr - buffer)));
  if (const std::size_t point = text.find('.'); point != std::string::npos) text[point] = DecimalSeparator;
  return text;
}

}  // namespace quenvar
