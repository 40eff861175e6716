// What the cache needs around it besides a record store: a directory on disk, a clock, and numbers to make keys of.
#pragma once

#include <cstdlib>
#include <string>

#include "engine/event_log.h"
#include "engine/startup.h"
#include "platform/platform.h"
#include "platform/posix/disk_files.h"
#include "platform/posix/system_clock.h"
#include "platform/process.h"

namespace quenvar {

struct SparingProcess : Process {
  std::uint16_t SecretNumber() override { return 0; }
  Version ProgramVersion() override { return {}; }
  bool PreviousInstance() override { return false; }
  [[noreturn]] void EndWithRunTimeError(int, const std::string&) override { std::abort(); }
  void Report(const std::string& line) override { report = line; }
  void Randomize() override {}
  /// Five draws make a continuation key: one of 1024 in turn, so that many are still taken.
  double Random() override {
    const unsigned draw = draws++;
    return (draw / 5 >> draw % 5 * 2) % 4 / 4.0;
  }

  unsigned draws = 0;
  std::string report;
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
  SparingProcess process;
};

}  // namespace quenvar
