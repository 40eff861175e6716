#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/wait.h>

#include <cerrno>
#include <cstring>
#include <thread>

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

// Stores without end, and writes the number of each store that was acknowledged.
[[noreturn]] void StoreUntilKilled(unsigned number, int acknowledged) {
  SqliteRecordStore records(nullptr, nullptr);
  platform.records = &records;
  OpenCache();
  for (;; ++number) {
    CacheStore(NumberedName(number), NumberedValue(number));
    if (write(acknowledged, &number, sizeof number) != sizeof number) _exit(1);
  }
}

struct Acknowledged {
  unsigned last = 0;         ///< of all
  unsigned lastSafe = 0;     ///< a second or more before the end
};

// Kills a process that stores, after `lifetime`.
Acknowledged KillWhileStoring(unsigned number, Milliseconds lifetime) {
  int ends[2];
  if (pipe(ends) != 0) return {};
  const auto begin = std::chrono::steady_clock::now();
  const pid_t child = fork();
  if (child == 0) StoreUntilKilled(number, ends[1]);
  close(ends[1]);
  Acknowledged result{number, number};
  std::thread killer([&] {
    std::this_thread::sleep_for(lifetime);
    kill(child, SIGKILL);
  });
  for (unsigned next; read(ends[0], &next, sizeof next) == sizeof next; result.last = next) {
    if (std::chrono::steady_clock::now() - begin + Milliseconds(1000) < lifetime) result.lastSafe = next;
  }
  killer.join();
  waitpid(child, nullptr, 0);
  close(ends[0]);
  return result;
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
  unsigned number = 1;
  for (int i = 0; i < 200; ++i) {
    const bool isLong = i % 40 == 39;
    const Acknowledged acknowledged =
        KillWhileStoring(number, isLong ? Milliseconds(1500) : Milliseconds(random() % 40));
    if (std::filesystem::exists(Database()) && std::filesystem::file_size(Database()) > 0) {
      EXPECT_FALSE(store.Repair(Database()).Failed()) << "kill " << i;
    }
    OpenCache();
    const unsigned latest = LatestStored();
    EXPECT_GE(latest + 1, acknowledged.lastSafe) << "kill " << i;
    ExpectNoBrokenChain(store, Sql("SELECT count(*) FROM ipcache"));
    CloseCache();
    number = acknowledged.last + 1;
  }
  EXPECT_EQ(Log(), "");
}

// A disk of its own in a mount namespace of its own.
class CacheOnSmallDisk : public Cache {
 protected:
  void SetUp() override {
    if (unshare(CLONE_NEWNS) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) {
      GTEST_SKIP() << "no mount namespace: " << std::strerror(errno);
    }
    mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr);
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
  WriteFile(AppPath + "filler", std::string(350 << 10, 'x'));
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
