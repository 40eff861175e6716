// What the cache needs around it besides a record store: a real directory and random numbers that repeat.
#pragma once

#include <deque>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "engine/startup.h"
#include "platform/files.h"
#include "platform/platform.h"
#include "platform/process.h"

namespace quenvar {

class DirectoryFiles : public Files {
 public:
  std::string ProgramDirectory() override { return AppPath; }
  char Separator() override { return '/'; }
  std::vector<std::string> List(const std::string& directory) override {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
      if (entry.is_regular_file()) names.push_back(entry.path().filename());
    }
    return names;
  }
  std::optional<std::string> Read(const std::string&) override { return std::nullopt; }
  bool Delete(const std::string& path) override { return std::filesystem::remove(path); }
};

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
  std::mt19937 generator_;
};

/// Puts the cache into `directory`, over `store`, as long as it lives.
struct CacheSurroundings {
  CacheSurroundings(const std::string& directory, RecordStore& store) {
    AppPath = directory + "/";
    platform.files = &files;
    platform.process = &process;
    platform.records = &store;
  }
  ~CacheSurroundings() { platform = {}; }

  DirectoryFiles files;
  RandomProcess process;
};

}  // namespace quenvar
