// Measures the answer cache: CPU time of a store of a known name and of a look-up, and the time that opening takes.
//   cache_bench DIRECTORY NAMES
#include <sys/stat.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <random>
#include <string>

#include "cache/answer_cache.h"
#include "engine/startup.h"
#include "platform/platform.h"
#include "platform/sqlite/sqlite_record_store.h"
#include "tests/cache/cache_surroundings.h"

namespace quenvar {

namespace {

constexpr int kOperations = 300000;

double CpuMicroseconds() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) / 1e3;
}

std::string NameOf(unsigned number) { return "host" + std::to_string(number) + ".Department.Example.com"; }

// Answers of 60 to 219 bytes, as most are: one record each. A name server answers the same question in the same length
// most of the time, with another identifier and other lifetimes; one answer in eight has another length.
std::string AnswerOf(unsigned number, unsigned round) {
  const unsigned length = 60 + (number + (round % 8 == 7)) * 7919 % 160;
  return std::string(length, static_cast<char>(number + round));
}

template <typename Operation>
double CpuPerOperation(unsigned names, Operation operation) {
  std::mt19937 random(1);
  const double begin = CpuMicroseconds();
  for (int i = 0; i < kOperations; ++i) operation(static_cast<unsigned>(random() % names));
  return (CpuMicroseconds() - begin) / kOperations;
}

void Measure(const std::string& directory, unsigned names) {
  SqliteRecordStore store(nullptr, nullptr);
  CacheSurroundings surroundings(directory, store);
  OpenCache();
  for (unsigned i = 0; i < names; ++i) CacheStore(NameOf(i), AnswerOf(i, 0));
  CloseCache();

  const auto begin = std::chrono::steady_clock::now();
  OpenCache();
  const std::chrono::duration<double> opening = std::chrono::steady_clock::now() - begin;

  unsigned misses = 0;
  unsigned round = 0;
  const double store_us = CpuPerOperation(names, [&](unsigned i) { CacheStore(NameOf(i), AnswerOf(i, ++round)); });
  const double lookup_us = CpuPerOperation(names, [&](unsigned i) { misses += CacheLookup(NameOf(i)).empty(); });
  const auto size = static_cast<double>(std::filesystem::file_size(AppPath + "DNSCACHE.MDB"));
  std::printf("%9u names  %7.1f MiB  store %5.1f us  look-up %5.1f us  together %5.1f us  open %5.2f s  misses %u\n",
              names, size / (1 << 20), store_us, lookup_us, store_us + lookup_us, opening.count(), misses);
  CloseCache();
}

}  // namespace

}  // namespace quenvar

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  quenvar::Measure(argv[1], static_cast<unsigned>(std::atoi(argv[2])));
}
