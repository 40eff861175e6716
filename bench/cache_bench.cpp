// Measures the answer cache: CPU time of a store of a known name and of a look-up, and the time that opening takes.
//   cache_bench DIRECTORY NAMES STORES_PER_FLUSH
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <random>
#include <string>

#include "base/program.h"
#include "cache/answer_cache.h"
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

struct Cost {
  double cpuMicroseconds;  ///< of one operation
  double longestMilliseconds;
};

template <typename Operation>
Cost CostOf(unsigned names, Operation operation) {
  std::mt19937 random(1);
  const double begin = CpuMicroseconds();
  std::chrono::steady_clock::duration longest{};
  for (int i = 0; i < kOperations; ++i) {
    const auto start = std::chrono::steady_clock::now();
    operation(static_cast<unsigned>(random() % names));
    longest = std::max(longest, std::chrono::steady_clock::now() - start);
  }
  return {(CpuMicroseconds() - begin) / kOperations, std::chrono::duration<double, std::milli>(longest).count()};
}

double SecondsToOpen() {
  const auto begin = std::chrono::steady_clock::now();
  OpenCache();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

void Print(const char* what, Cost cost) {
  std::printf("  %-44s %6.1f us CPU, longest %6.1f ms\n", what, cost.cpuMicroseconds, cost.longestMilliseconds);
}

// `storesPerFlush` stores get into the file together, as in half a second of twice as many queries a second.
void Measure(const std::string& directory, unsigned names, unsigned storesPerFlush) {
  SqliteRecordStore store(nullptr, nullptr);
  CacheSurroundings surroundings(directory, store);
  OpenCache();
  for (unsigned i = 0; i < names; ++i) CacheStore(NameOf(i), AnswerOf(i, 0));
  CloseCache();
  const double opening = SecondsToOpen();
  const auto mebibytes = static_cast<double>(std::filesystem::file_size(AppPath + "DNSCACHE.MDB")) / (1 << 20);
  std::printf("%u names, %.1f MiB, opened and compacted in %.2f s\n", names, mebibytes, opening);

  unsigned count = 0;
  unsigned misses = 0;
  const auto lookup = [&](unsigned i) { misses += CacheLookup(NameOf(i)).empty(); };
  const auto replace = [&](unsigned i) {
    CacheStore(NameOf(i), AnswerOf(i, ++count));
    if (count % storesPerFlush == 0) store.Flush();
  };
  Print("store of a known name", CostOf(names, replace));
  Print("look-up", CostOf(names, lookup));
  Print("look-up and store", CostOf(names, [&](unsigned i) { lookup(i), replace(i); }));
  Print("look-up and store of a fresh name", CostOf(names, [&](unsigned) {
          CacheLookup(NameOf(names + count));
          replace(names + count);
        }));
  if (misses) std::printf("  %u LOOK-UPS FAILED\n", misses);
  CloseCache();
}

}  // namespace

}  // namespace quenvar

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  quenvar::Measure(argv[1], static_cast<unsigned>(std::atoi(argv[2])), static_cast<unsigned>(std::atoi(argv[3])));
}
