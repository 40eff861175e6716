// What the cache needs around it besides a record store: a directory on disk, a clock, and random numbers.
#pragma once

#include <cstdlib>
#include <deque>
#include <random>
#include <string>

#include "engine/event_log.h"
#include "engine/startup.h"
#include "platform/platform.h"
#include "platform/posix/disk_files.h"
#include "platform/posix/system_clock.h"
#include "platform/process.h"

namespace quenvar {

class RandomProcess : public Process {
 public:
  Version ProgramVersion() override { return {}; }
  bool PreviousInstance() override { return false; }
  [[noreturn]] void EndWithRunTimeError(int, const std::string&) override { std::abort(); }
  void Report(const std::string&) override {}
  void Randomize() override {}
  double Random() override {
    if (next.empty()) return std::uniform_real_distribution<double>()(generator_);
    const double value = next.front();
    next.pop_front();
    return value;
  }

  /// Returned before anything random.
  std::deque<double> next;

 private:
  std::mt19937 generator_{std::random_device{}()};
};

/// Puts the cache into `directory`, over `store`, as long as it lives.
struct CacheSurroundings {
  CacheSurroundings(const std::string& directory, RecordStore& store) : files(directory) {
    AppPath = directory + "/";
    platform.clock = &clock;
    platform.files = &files;
    platform.process = &process;
    platform.records = &store;
    ClearLog();
  }
  ~CacheSurroundings() { platform = {}; }

  SystemClock clock;
  DiskFiles files;
  RandomProcess process;
};

}  // namespace quenvar
