// The housekeeping tick, once in 10 seconds: expired requests, the table on the screen, the settings file.
#pragma once

#include <cstdint>

namespace quenvar {

inline constexpr int kHousekeepingMilliseconds = 10000;

/// Ticks so far, 0 to 9999.
extern std::int16_t HousekeepingTicks;

/// What Timer1 calls: SweepPending, then the statistics display, then a look at idle TCP connections.
void OnTimer1();

/// One tick: ends the program when that was asked for during the start, refreshes the server table every third tick
/// while its page is shown, saves the settings at ticks 20, 80, 140 and so on, and removes requests older than 40
/// seconds.
void SweepPending();

}  // namespace quenvar
