#include "measuring.h"

#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <limits>
#include <string>

namespace bench {

namespace {

double ReadClock(clockid_t clock) {
  timespec time;
  if (clock_gettime(clock, &time) != 0) return std::nan("");
  return Seconds(time);
}

/// The file of a process in /proc.
std::ifstream Status(int pid, const char* name) { return std::ifstream("/proc/" + std::to_string(pid) + "/" + name); }

double ChildrensSeconds(int pid) {
  constexpr int kFieldsBeforeTimes = 15;
  std::ifstream stat = Status(pid, "stat");
  std::string field;
  for (int i = 0; i < kFieldsBeforeTimes; ++i) stat >> field;
  double user = 0, system = 0;
  stat >> user >> system;
  return (user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

double ResidentMebibytes(int pid) {
  std::ifstream status = Status(pid, "status");
  for (std::string word; status >> word;) {
    double kibibytes = 0;
    if (word == "VmRSS:" && status >> kibibytes) return kibibytes / 1024;
  }
  return std::nan("");
}

double Percentile(const std::vector<double>& sorted, double share) {
  return sorted.empty() ? std::nan("")
                        : sorted[static_cast<std::size_t>(share * static_cast<double>(sorted.size() - 1))];
}

}  // namespace

double Seconds(const timespec& time) {
  return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

double Now() { return ReadClock(CLOCK_MONOTONIC); }

double WallClock() { return ReadClock(CLOCK_REALTIME); }

double CpuSeconds(int pid) {
  clockid_t clock;
  if (pid <= 0 || clock_getcpuclockid(pid, &clock) != 0) return std::nan("");
  return ReadClock(clock) + ChildrensSeconds(pid);
}

void Print(Measured measured, int queries, int pid) {
  std::vector<double>& latency = measured.latencySeconds;
  std::sort(latency.begin(), latency.end());
  const auto answered = static_cast<double>(latency.size());
  std::printf("%.0f %.1f %.1f %.0f %.3f %.1f\n", answered / measured.seconds, 1e6 * Percentile(latency, 0.5),
              1e6 * Percentile(latency, 0.99), queries - answered, 1e6 * measured.cpuSeconds / answered,
              ResidentMebibytes(pid));
}

}  // namespace bench
