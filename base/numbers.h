// Sixteen-bit counters and number text: the one place for the arithmetic that the counters, the settings file and
// the display share.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace quenvar {

/// A 16-bit boolean: 0 is false, -1 is true. Code that sets one uses these two values only.
using Boolean16 = std::int16_t;
inline constexpr Boolean16 kTrue = -1;
inline constexpr Boolean16 kFalse = 0;

/// The character between whole and fraction in number text for the user, '.' until the program sets it once at start
/// from the user's region.
extern char DecimalSeparator;

/// Adds one. A counter that stands at 32767 keeps its value.
void Increment(std::int16_t& counter);

/// Adds `amount`, which may be negative. A sum outside of 16 bits leaves the counter as it is.
void AddChecked(std::int16_t& counter, int amount);

/// Rounds to the nearest whole number, halves to the even neighbour; empty where that does not fit 16 bits.
std::optional<std::int16_t> RoundHalfEven(double value);

/// Rounds to one decimal place, halves to the even neighbour.
double RoundToOneDecimal(double value);

/// Reads the number that a text begins with: blanks, a sign, digits and one "." as far as they go. What follows is
/// ignored, and a text without a leading number is 0.
double ReadNumber(std::string_view text);

/// Writes a number in decimal, with at most 15 significant digits, without trailing zeros, and with DecimalSeparator.
std::string NumberText(double value);

}  // namespace quenvar
