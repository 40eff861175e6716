// What the load generators measure: the time of each answer, and what a process used for them.
#pragma once

#include <time.h>

#include <vector>

namespace bench {

double Seconds(const timespec& time);

/// Seconds of a clock that is never set.
double Now();

/// Seconds since 1970, the time that the kernel stamps datagrams with.
double WallClock();

/// CPU time of a process and of its children that have ended; not a number for a process that cannot be seen.
double CpuSeconds(int pid);

struct Measured {
  std::vector<double> latencySeconds;  ///< one for each answer
  double seconds = 0;                  ///< from the first query to the last answer
  double cpuSeconds = 0;
};

/// Prints one line, for a run of `queries` against the process `pid`:
///
///   queries_per_second median_us percentile99_us lost cpu_us_per_query resident_mib
void Print(Measured measured, int queries, int pid);

}  // namespace bench
