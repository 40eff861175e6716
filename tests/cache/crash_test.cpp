#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/time.h>
#include <sys/wait.h>

#include <cerrno>
#include <chrono>
#include <cstring>

#include "tests/cache/cache_test.h"

namespace quenvar {

namespace {

using Milliseconds = std::chrono::milliseconds;

// Each of the names is stored over and over, in lengths of one to four records, and each value says its number.
constexpr unsigned kNames = 60;

std::string NumberedName(unsigned number) { return "host" + std::to_string(number % kNames) + ".example"; }

std::string NumberedValue(unsigned number) {
  std::string value = ValueOf(8 + number * 101 % 900, number);
  std::memcpy(value.data(), &number, sizeof number);
  return value;
}

/// How a process that stores is killed.
struct Kill {
  bool whileOpening;        ///< the time runs from its start, not from its first store
  Milliseconds lifetime;    ///< above 0
  unsigned storesPerFlush;  ///< 0: it leaves that to the record store
};

void KillThisProcess(int) { kill(getpid(), SIGKILL); }

void KillThisProcessAfter(Milliseconds lifetime) {
  signal(SIGALRM, KillThisProcess);
  const itimerval timer{{0, 0}, {lifetime.count() / 1000, lifetime.count() % 1000 * 1000}};
  setitimer(ITIMER_REAL, &timer, nullptr);
}

// Writes the number of each store that was flushed or, without flushes, of each store.
[[noreturn]] void StoreUntilKilled(unsigned number, const Kill& how, int report) {
  SqliteRecordStore records(nullptr, nullptr);
  platform.records = &records;
  if (how.whileOpening) KillThisProcessAfter(how.lifetime);
  OpenCache();
  if (!how.whileOpening) KillThisProcessAfter(how.lifetime);
  for (;; ++number) {
    CacheStore(NumberedName(number), NumberedValue(number));
    if (how.storesPerFlush && (number % how.storesPerFlush || !records.Flush())) continue;
    if (write(report, &number, sizeof number) != sizeof number) _exit(1);
  }
}

/// Lets a process store the numbers from `number` on until it is killed. Returns the latest number that has to be in
/// the file: the last one flushed or, without flushes, the last one of more than a second before the kill.
unsigned LatestSafe(unsigned number, const Kill& how) {
  using Clock = std::chrono::steady_clock;
  int ends[2];
  if (pipe(ends) != 0) return 0;
  const pid_t child = fork();
  if (child == 0) StoreUntilKilled(number, how, ends[1]);
  close(ends[1]);
  std::vector<std::pair<Clock::time_point, unsigned>> reports;
  for (unsigned next; read(ends[0], &next, sizeof next) == sizeof next;) reports.emplace_back(Clock::now(), next);
  waitpid(child, nullptr, 0);
  close(ends[0]);
  const Clock::time_point limit = Clock::now() - Milliseconds(how.storesPerFlush ? 0 : 1000);
  unsigned safe = 0;
  for (const auto& [time, stored] : reports) {
    if (time < limit) safe = stored;
  }
  return safe;
}

// The latest number among the stored values; every one of them has to be whole.
unsigned LatestStored() {
  unsigned latest = 0;
  for (unsigned i = 0; i < kNames; ++i) {
    const std::string value = CacheLookup(NumberedName(i));
    unsigned number = 0;
    if (value.size() < sizeof number) continue;
    std::memcpy(&number, value.data(), sizeof number);
    EXPECT_TRUE(value == NumberedValue(number)) << NumberedName(i);
    latest = std::max(latest, number);
  }
  return latest;
}

void ExpectNoBrokenChain(SqliteRecordStore& store, const std::vector<std::string>& counts) {
  std::size_t records = 0;
  for (unsigned i = 0; i < kNames; ++i) {
    const std::string value = CacheLookup(NumberedName(i));
    if (value.empty()) {
      EXPECT_FALSE(store.Seek("HOST" + std::to_string(i) + ".EXAMPLE").has_value()) << "broken: " << i;
    } else {
      records += (value.size() + 248) / 249;
    }
  }
  EXPECT_EQ(counts, std::vector<std::string>{std::to_string(records)}) << "records of no chain";
}

TEST_F(Cache, LosesNoWholeChainToAKillAtAnyMoment) {
  std::mt19937 random(std::random_device{}());
  unsigned latest = 0;
  unsigned kept = 0;
  for (int i = 0; i < 200; ++i) {
    Kill how{i % 4 == 0, Milliseconds(1 + random() % 40), 1 + static_cast<unsigned>(random() % 16)};
    if (i % 40 == 39) how = {false, Milliseconds(2000), 0};
    const unsigned safe = LatestSafe(latest + 1, how);
    if (std::filesystem::exists(Database()) && std::filesystem::file_size(Database()) > 0) {
      EXPECT_FALSE(store.Repair(Database()).Failed()) << "kill " << i;
    }
    OpenCache();
    latest = LatestStored();
    kept += safe > 0;
    EXPECT_GE(latest, safe) << "kill " << i;
    ExpectNoBrokenChain(store, Sql("SELECT count(*) FROM ipcache"));
    CloseCache();
  }
  EXPECT_GT(kept, 50u) << "too few of the processes lived long enough to store anything";
  EXPECT_EQ(Log(), "");
}

// As root, or as the root of a user namespace.
bool EnterMountNamespace() {
  const std::string user = "0 " + std::to_string(getuid()) + " 1";
  const std::string group = "0 " + std::to_string(getgid()) + " 1";
  if (unshare(CLONE_NEWNS) != 0) {
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
    WriteFile("/proc/self/setgroups", "deny");
    WriteFile("/proc/self/uid_map", user);
    WriteFile("/proc/self/gid_map", group);
  }
  return mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

// A disk of its own in a mount namespace of its own.
class CacheOnSmallDisk : public Cache {
 protected:
  void SetUp() override {
    if (!EnterMountNamespace()) GTEST_SKIP() << "no mount namespace: " << std::strerror(errno);
    if (mount("none", directory.c_str(), "tmpfs", 0, "size=1m") != 0) {
      GTEST_SKIP() << "no disk of its own: " << std::strerror(errno);
    }
    mounted_ = true;
  }
  void TearDown() override {
    store.Close();
    if (mounted_) umount(directory.c_str());
  }

  void FillDisk() {
    std::ofstream file(AppPath + "filler", std::ios::binary);
    while (file.write(ValueOf(1024).data(), 1024).flush()) {
    }
  }

  bool mounted_ = false;
};

TEST_F(CacheOnSmallDisk, GoesOnWhenTheDiskIsFullWhileStoring) {
  OpenCache();
  CacheStore("old.example", "answer");
  ASSERT_TRUE(store.Flush());
  FillDisk();
  bool failed = false;
  for (int i = 0; i < 3000; ++i) {
    CacheStore("host" + std::to_string(i), ValueOf(900));
    if (i % 100 == 99) failed = !store.Flush() || failed;
  }
  EXPECT_TRUE(failed);
  EXPECT_EQ(CacheLookup("old.example"), "answer");
  DeleteWholeCache();
  EXPECT_EQ(CacheLookup("old.example"), "");
  std::filesystem::remove(AppPath + "filler");
  DeleteWholeCache();
  CacheStore("new.example", "answer");
  EXPECT_TRUE(store.Flush());
  EXPECT_EQ(CacheLookup("new.example"), "answer");
}

TEST_F(CacheOnSmallDisk, OpensUncompactedWhenTheDiskIsFullWhileCompacting) {
  OpenCache();
  for (int i = 0; i < 300; ++i) CacheStore("host" + std::to_string(i), ValueOf(900));
  CloseCache();
  const auto space = std::filesystem::space(directory).free - std::filesystem::file_size(Database()) / 2;
  WriteFile(AppPath + "filler", std::string(space, 'x'));
  ASSERT_LT(std::filesystem::space(directory).free, std::filesystem::file_size(Database()));
  OpenCache();
  for (int i = 0; i < 300; ++i) ASSERT_EQ(CacheLookup("host" + std::to_string(i)), ValueOf(900));
  EXPECT_FALSE(std::filesystem::exists(AppPath + "TEMP.MDB"));
  EXPECT_EQ(Log(), "");
}

TEST_F(CacheOnSmallDisk, RunsWithoutACacheOnAReadOnlyDirectory) {
  for (bool exists : {false, true}) {
    ASSERT_EQ(mount("none", directory.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
    ClearLog();
    OpenCache();
    EXPECT_NE(Log().find("Error opening Database!!"), std::string::npos) << exists;
    CacheStore("a.example", "answer");
    EXPECT_EQ(CacheLookup("a.example"), "");
    ASSERT_EQ(mount("none", directory.c_str(), nullptr, MS_REMOUNT, "size=1m"), 0);
    OpenCache();
    CacheStore("a.example", "answer");
    CloseCache();
  }
}

}  // namespace

}  // namespace quenvar
