// The cache over a real SQLite file in a directory of the test's own.
#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/resource.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <utility>

#include "base/text.h"
#include "cache/answer_cache.h"
#include "engine/relay/stored_entry.h"
#include "platform/sqlite/sqlite_record_store.h"
#include "tests/cache/cache_surroundings.h"
#include "tests/fakes/dns_message.h"
#include "tests/fakes/file_changes.h"

namespace {

bool readFails = false;

}  // namespace

extern "C" ssize_t pread64(int file, void* bytes, std::size_t count, off64_t at) {
  if (!std::exchange(readFails, false)) return pread(file, bytes, count, at);
  errno = ETIMEDOUT;
  return -1;
}

namespace quenvar {
namespace {

using namespace std::string_literals;

/// A value of `size` bytes with code 0 and codes above 127 in it.
std::string ValueOf(std::size_t size) {
  std::string value(size, '\0');
  for (std::size_t i = 0; i < size; ++i) value[i] = static_cast<char>(i * 37);
  return value;
}

std::string HostName(unsigned number) { return "Host" + std::to_string(number) + ".example"; }

void StoreHosts(unsigned count, std::size_t size) {
  for (unsigned i = 0; i < count; ++i) CacheStore(HostName(i), ValueOf(size));
}

struct CountingStore : SqliteRecordStore {
  CountingStore() : SqliteRecordStore(nullptr, nullptr) {}
  bool Update(std::string_view value) override {
    ++updates;
    return SqliteRecordStore::Update(value);
  }
  int updates = 0;
};

class Cache : public testing::Test {
 protected:
  Cache() {
    umask(0);
    widestMode = 0;
    OpenCache();
  }
  ~Cache() override { std::filesystem::remove_all(AppPath); }

  static void OpenAgain() {
    CloseCache();
    OpenCache();
  }
  /// What another program gets from the file.
  std::string Sql(const std::string& query) {
    store.Flush();
    SqliteConnection other;
    other.Open(database);
    return other.Query(query.c_str());
  }

  void Put(const std::string& content) const { std::ofstream(database, std::ios::binary) << content; }
  mode_t Mode() const { return static_cast<mode_t>(std::filesystem::status(database).permissions()); }
  /// Makes the file as it was with an index beside the table. The index lacks HOST7.EXAMPLE.
  void PutFileWithIndex() const {
    std::filesystem::remove(database);
    umask(077);
    SqliteConnection old;
    old.Create(database);
    EXPECT_FALSE(
        old.Execute("PRAGMA page_size=1024; CREATE TABLE ipcache (IPNUMBER BLOB NOT NULL, IPNAME TEXT NOT NULL);"
                    "WITH RECURSIVE hosts (n) AS (SELECT 0 UNION ALL SELECT n + 1 FROM hosts LIMIT 200)"
                    " INSERT INTO ipcache SELECT CAST(x'00' || n AS BLOB), 'HOST' || n || '.EXAMPLE' FROM hosts;"
                    "CREATE UNIQUE INDEX IPIndex ON ipcache (IPNAME) WHERE IPNAME <> 'HOST7.EXAMPLE';"
                    "PRAGMA writable_schema=ON; UPDATE sqlite_schema SET sql ="
                    " 'CREATE UNIQUE INDEX IPIndex ON ipcache (IPNAME)' WHERE name = 'IPIndex'")
            .Failed());
  }

  std::string directory = "/tmp/quenvar-cache-XXXXXX";
  CountingStore store;
  CacheSurroundings surroundings{mkdtemp(directory.data()), store};
  const std::string database = AppPath + "DNSCACHE.MDB";
};

TEST_F(Cache, KeepsEveryLengthAsAChainOfTheRightRecordsOrEditsItInPlace) {
  const std::pair<std::size_t, std::size_t> linksOfSizes[] = {{0, 0},   {1, 0},   {248, 0},   {249, 0},    {250, 1},
                                                              {498, 1}, {499, 2}, {4096, 16}, {65507, 263}};
  for (const auto& [size, links] : linksOfSizes) {
    for (const std::size_t before : {3u, 249u, 600u}) {
      SCOPED_TRACE(std::to_string(size) + " bytes in place of " + std::to_string(before));
      const std::string value = ValueOf(size);
      DeleteWholeCache();
      CacheStore("name.example", ValueOf(before));
      for (const int turn : {1, 2}) EXPECT_TRUE(store.Begin() && CacheInsertRecord("OTHER", "\1piece")) << turn;
      store.updates = 0;
      CacheStore("Name.Example", value);
      EXPECT_TRUE(CacheLookup("nAME.eXAMPLE") == value);
      std::string key = "NAME.EXAMPLE";
      for (std::size_t i = 0; i < links; ++i) {
        const std::string piece(store.Seek(key).value_or(""));
        ASSERT_EQ(piece.size(), 255u);
        EXPECT_EQ(piece.substr(0, 250), '\1' + value.substr(i * 249, 249));
        EXPECT_EQ(piece.find('\0', 250), std::string::npos) << "no code 0 in a key";
        key = UpperCase(piece.substr(250));
      }
      EXPECT_EQ(store.Seek(key), '\0' + value.substr(links * 249));
      EXPECT_EQ(Sql("SELECT count(*) FROM ipcache"), std::to_string(links + 2));
      EXPECT_EQ(store.updates, size < 249 && before < 250 ? 1 : 0);
    }
  }
}

TEST_F(Cache, KeepsNoFieldOver255Bytes) {
  const std::string longest(255, '\xe9');
  CacheStore(longest, "answer");
  CacheStore(longest + "x", "another");
  EXPECT_EQ(CacheLookup(longest) + CacheLookup(longest + "x"), "answer");
  for (const char* fields :
       {"zeroblob(256), 'blob'", "hex(zeroblob(128)), 'text'", "x'00', CAST(zeroblob(256) AS TEXT)"})
    EXPECT_EQ(Sql(std::string("INSERT INTO ipcache (IPNUMBER, IPNAME) VALUES (") + fields + ") RETURNING 1"), "")
        << fields;
}

TEST_F(Cache, GivesWhatWasStoredLastWhateverCameBetween) {
  std::mt19937 random(1);
  std::map<std::string, std::string> expected;
  for (int step = 0; step < 20000; ++step) {
    const std::string name = HostName(static_cast<unsigned>(random() % 300));
    const auto what = random() % 2000;
    if (what < 900) CacheStore(random() % 2 == 0 ? name : UpperCase(name), expected[name] = ValueOf(random() % 1200));
    ASSERT_TRUE(what < 900 || what >= 1997 || CacheLookup(name) == expected[name]) << step;
    if (what == 1997) OpenAgain();
    if (what == 1998) {
      DeleteWholeCache();
      expected.clear();
    }
    if (what == 1999) {
      EXPECT_TRUE(store.Flush() && store.Begin() && CacheDeleteChain(name));
      store.Rollback();
    }
  }
}

// SQLite undoes a whole group then.
TEST_F(Cache, GivesNoNameTheAnswerOfAnotherAfterAFailedRead) {
  StoreHosts(2000, 200);
  OpenAgain();
  CacheStore("a.example", "lost");
  readFails = true;
  for (unsigned host = 0; readFails && host < 2000; ++host) CacheLookup(HostName(host));
  ASSERT_FALSE(readFails) << "nothing was read";
  CacheStore("c.example", "of c");
  CacheStore("a.example", "of a");
  OpenAgain();
  EXPECT_EQ(CacheLookup("c.example") + CacheLookup("a.example"), "of cof a");
}

TEST_F(Cache, NoticesWhatAnotherProgramHasDoneToTheFile) {
  CacheStore("c.example", "old");
  Sql("DELETE FROM ipcache");
  Sql("INSERT INTO ipcache (IPNAME, IPNUMBER) VALUES ('D.EXAMPLE', X'0064')");
  CacheStore("c.example", "new");
  OpenAgain();
  EXPECT_EQ(CacheLookup("c.example"), "new");
  EXPECT_EQ(CacheLookup("d.example"), "d");
}

TEST_F(Cache, StartsOverWhateverLiesInTheWay) {
  StoreHosts(200, 400);
  CloseCache();
  const std::string whole = surroundings.disk.Read(database).value();
  std::string scribbled = whole;
  for (std::size_t i = 3000; i < scribbled.size(); i += 700) scribbled.replace(i, 90, 90, '\xa5');
  for (const std::string& content :
       {"x"s, std::string(5000, 'q'), scribbled, std::string(100, '\0') + whole.substr(100), ""s, whole.substr(0, 1024),
        whole.substr(0, whole.size() / 2), whole.substr(0, whole.size() - 1)}) {
    Put(content);
    OpenCache();
    CacheStore("a.example", "answer");
    EXPECT_EQ(CacheLookup("a.example"), "answer") << content.size() << " bytes: " << content.substr(0, 100);
    CloseCache();
  }
  EXPECT_EQ(LogText(), "");
  std::filesystem::remove(database);
  for (const bool pipe : {true, false}) {
    pipe ? mkfifo(database.c_str(), 0600) : mkdir(database.c_str(), 0700);
    OpenCache();
    EXPECT_NE(LogText().find("Error opening Database!!"), std::string_view::npos) << pipe;
    ClearLog();
    std::filesystem::remove(database);
  }
}

TEST_F(Cache, TakesNoMoreMemoryForEveryName) {
  for (unsigned host = 0; host < 20000; ++host) CacheLookup(HostName(host));
  const auto taken = mallinfo2().uordblks;
  for (unsigned host = 20000; host < 100000; ++host) CacheLookup(HostName(host));
  EXPECT_LT(mallinfo2().uordblks, taken + (2 << 20));
}

TEST_F(Cache, SavesWhatCanStillBeReadOfADamagedFile) {
  StoreHosts(400, 300);
  OpenAgain();
  CloseCache();
  const std::string whole = surroundings.disk.Read(database).value();
  constexpr std::size_t kPage = 2048;
  std::vector<std::string> damaged{std::string(whole).replace(whole.find("HOST200.EXAMPLE"), 4, "ZZZZ")};
  for (std::size_t at = 2 * kPage; at < whole.size(); at += 5 * kPage)
    damaged.push_back(std::string(whole).replace(at, 16, 16, '\xa5'));
  std::size_t saved = 0;
  for (const std::string& content : damaged) {
    Put(content);
    chmod(database.c_str(), 0700);
    OpenCache();
    unsigned found = 0;
    for (unsigned host = 0; host < 400; ++host) found += CacheLookup(HostName(host)) == ValueOf(300);
    EXPECT_EQ(Sql("SELECT count(*) FROM ipcache"), std::to_string(2 * found)) << "parts of answers are left";
    EXPECT_EQ(std::exchange(surroundings.process.reports, {}),
              Trace{"The answer cache was damaged: " + std::to_string(found) + " names were saved."});
    EXPECT_EQ(Mode(), 0700u);
    saved += found;
    CloseCache();
  }
  EXPECT_GT(saved, damaged.size() * 400 * 9 / 10);
}

TEST_F(Cache, KeepsOnlyWholeAnswersOfWhatWasSaved) {
  const std::string full = '\1' + ValueOf(249);
  const std::string rest = "\0rest"s;
  const auto named = [](const char* name) { return '\0' + QueryFor(name); };
  const std::tuple<std::map<std::string, std::string>, std::size_t, const char*> cases[] = {
      {{{"A.EXAMPLE", full + "KEY_1"}, {"KEY_1", full + "KEY_2"}, {"KEY_2", rest}}, 1, "3"},
      {{{"A.EXAMPLE", full + "KEY_1"}, {"KEY_1", full + "KEY_2"}, {"B.EXAMPLE", rest}}, 1, "1"},
      {{{"A.EXAMPLE", full + "KEY_1"}, {"KEY_1", full + "KEY_1"}}, 0, "0"},
      {{{"A.EXAMPLE", full + "KEY_1"}, {"B.EXAMPLE", full + "KEY_1"}, {"KEY_1", rest}}, 1, "2"},
      {{{"A.EXAMPLE", full.substr(1) + "KEY_1"}, {"KEY_1", rest}}, 0, "0"},
      {{{"A.EXAMPLE", full.substr(0, 249) + "KEY_1"}, {"KEY_1", rest}}, 0, "0"},
      {{{"A.EXAMPLE", '\0' + ValueOf(250)}, {"B.EXAMPLE", ""}}, 0, "0"},
      {{{"A.COM", named("a.com")}, {"B.EXAMPLE", named("other.example")}, {"C\0001 1"s, named("c")}}, 2, "2"}};
  for (const auto& [records, answers, left] : cases) {
    DeleteWholeCache();
    store.Begin();
    for (const auto& [key, value] : records) store.Insert(key, value);
    EXPECT_EQ(CacheKeepWholeAnswers(), answers) << testing::PrintToString(records);
    EXPECT_EQ(Sql("SELECT count(*) FROM ipcache"), left) << testing::PrintToString(records);
  }
}

TEST_F(Cache, TakesOverAFileWithAnIndexWhereverItIsKilled) {
  CloseCache();
  bool killed = true;
  for (int change = 1; killed; ++change) {
    SCOPED_TRACE(change);
    PutFileWithIndex();
    killed = IsHitAt(change, [](const auto& arm) {
      arm();
      OpenCache();
    });
    OpenCache();
    for (unsigned host = 0; host < 200; ++host) ASSERT_EQ(CacheLookup(HostName(host)), std::to_string(host));
    EXPECT_EQ(Sql("SELECT count(*) FROM sqlite_schema WHERE sql LIKE '%WITHOUT ROWID'"), "1");
    EXPECT_EQ(surroundings.process.reports, Trace{});
    CloseCache();
  }
  PutFileWithIndex();
  Sql("DROP INDEX IPIndex");
  OpenCache();
  EXPECT_EQ(CacheLookup(HostName(7)), "7");
  CloseCache();
  PutFileWithIndex();
  std::string damaged = surroundings.disk.Read(database).value();
  Put(damaged.replace(damaged.size() - 1024, 16, 16, '\xa5'));  // in the index
  OpenCache();
  EXPECT_EQ(surroundings.process.reports, Trace{"The answer cache was damaged: 199 names were saved."});
}

TEST_F(Cache, GivesNoOldAnswerOnceAllAreDeletedThoughAnotherProgramHoldsTheFileOrThisOneIsKilled) {
  CloseCache();
  for (const bool held : {true, false}) {
    bool killed = true;
    for (int change = 2; killed; ++change) {
      SCOPED_TRACE(change);
      killed = IsHitAt(change, [&](const auto& arm) {
        OpenCache();
        CacheStore("a.example", "in the file");
        OpenAgain();
        CacheStore("b.example", "in the log");
        store.Flush();
        SqliteConnection other;
        if (held) other.Open(database), other.Execute("BEGIN IMMEDIATE");
        arm();
        DeleteWholeCache();
      });
      OpenCache();
      EXPECT_EQ(CacheLookup("a.example") + CacheLookup("b.example"), "") << held;
      CloseCache();
    }
  }
}

TEST_F(Cache, MakesAReadOnlyFileWritableForItsOwnerOnly) {
  CloseCache();
  chmod(database.c_str(), 0440);
  for (const std::string& path : {AppPath, database}) ASSERT_EQ(chown(path.c_str(), 1, 1), 0) << "only root may";
  IsHitAt(0, [](const auto&) {
    if (setuid(1) == 0) OpenCache();
  });
  EXPECT_EQ(Mode(), 0640u);
}

// What passes by itself is no reason to throw the answers away.
TEST_F(Cache, LeavesAFileAloneThatAnotherProgramHolds) {
  CacheStore("a.example", "answer");
  CloseCache();
  SqliteConnection other;
  other.Open(database);
  // A reader of a file without a write-ahead log, such as compaction leaves, keeps it from being opened with one.
  ASSERT_FALSE(other.Execute("PRAGMA journal_mode=DELETE; BEGIN; SELECT count(*) FROM ipcache").Failed());
  OpenCache();
  EXPECT_EQ(CacheLookup("a.example"), "");
  other.Close();
  EXPECT_NE(LogText().find("Error opening Database!!5: database is locked"), std::string_view::npos) << LogText();
  OpenCache();
  EXPECT_EQ(CacheLookup("a.example"), "answer");
}

TEST_F(Cache, LosesNothingThatWasFlushedWhereverItIsKilledOrCannotWrite) {
  StoreHosts(20, 400);
  CloseCache();
  for (const bool fails : {false, true}) {
    changeFails = fails;
    bool hit = true;
    for (int change = 1; hit; ++change) {
      SCOPED_TRACE(testing::Message() << change << " " << fails);
      hit = IsHitAt(change, [&](const auto& arm) {
        arm();
        OpenCache();
        for (const std::size_t size : {300u, 400u}) {
          StoreHosts(20, size);
          store.Flush();
        }
        for (unsigned host = 0; host < 20; ++host)
          if (const auto value = CacheLookup(HostName(host)); !value.empty() && value != ValueOf(400)) std::abort();
        CloseCache();
      });
      OpenCache();
      for (unsigned host = 0; host < 20; ++host) {
        const std::string value = CacheLookup(HostName(host));
        EXPECT_TRUE(value == ValueOf(300) || value == ValueOf(400)) << value.size();
      }
      EXPECT_EQ(std::exchange(surroundings.process.reports, {}), Trace{}) << "damaged";
      CloseCache();
    }
  }
}

/// No file grows beyond this, as on a full disk.
void LimitFiles(rlim_t bytes) {
  signal(SIGXFSZ, SIG_IGN);
  const rlimit limit{bytes, RLIM_INFINITY};
  setrlimit(RLIMIT_FSIZE, &limit);
}

TEST_F(Cache, CompactsAtEveryStartAndGoesOnWhileTheDiskIsFull) {
  StoreHosts(300, 900);
  for (unsigned i = 50; i < 300; ++i) CacheDeleteChain(HostName(i));
  CloseCache();
  const auto size = std::filesystem::file_size(database);
  LimitFiles(40'000);
  OpenCache();
  EXPECT_EQ(std::filesystem::file_size(database), size);
  StoreHosts(50, 901);
  EXPECT_FALSE(store.Flush());
  for (unsigned i = 0; i < 50; ++i) ASSERT_EQ(CacheLookup(HostName(i)), ValueOf(900));
  LimitFiles(RLIM_INFINITY);
  calls.clear();
  OpenAgain();
  EXPECT_NE(calls.find("sync rename folder "), calls.npos) << calls;
  EXPECT_LT(std::filesystem::file_size(database), size / 2);
  StoreHosts(50, 901);
  EXPECT_EQ(CacheLookup(HostName(49)), ValueOf(901));
  CloseCache();
  EXPECT_EQ(surroundings.disk.List(AppPath), Trace{"DNSCACHE.MDB"});
  EXPECT_EQ(widestMode & 077, 0u);
}

TEST_F(Cache, LeavesUselessEntriesBehindAtTheStart) {
  const auto fill = [](std::int64_t second) {
    for (const unsigned host : {0u, 1u, 2u, 3u}) {
      const std::string answer = ReplyTo(QueryFor(HostName(host)), "100", Record(kA, 60, ValueOf(host * 300)));
      CacheStore(HostName(host) + "\0N1 1"s, EntryBytes(answer, host < 2 ? second : second - 86'400 - 120));
      CacheStore(HostName(host), EntryBytes(answer, 0));
    }
  };
  const std::int64_t now = platform.clock->UnixSecond();
  const int minute = static_cast<int>(now / 60);
  for (const auto& [stamp, second, with, left] : {std::tuple(0, now, true, "20"),
                                                  {minute, now, false, "20"},
                                                  {minute, now, true, "13"},
                                                  {minute * 2, now, true, "13"},
                                                  {minute * 2, now + 86'400, true, "20"},
                                                  {minute - 5000, now - 86'460, true, "20"}}) {
    DeleteWholeCache();
    fill(second);
    EXPECT_TRUE(stamp == 0 || store.SetStamp(stamp));
    CloseCache();
    OpenCache(with ? FindUselessRecords : RecordStore::FindKeys());
    EXPECT_EQ(Sql("SELECT count(*) FROM ipcache"), left);
    EXPECT_EQ(CacheKeepWholeAnswers(), left == "20"s ? 8u : 6u);
    EXPECT_EQ(store.Stamp(), stamp);
    std::vector<std::string> keys{""};
    while (const auto next = store.KeyAfter(keys.back())) keys.push_back(*next);
    EXPECT_EQ(std::to_string(keys.size() - 1), left);
    EXPECT_TRUE(std::is_sorted(keys.begin(), keys.end()));
    const std::uint64_t used = store.UsedBytes();
    for (unsigned host = 0; host < 4; ++host) CacheRemove(HostName(host));
    EXPECT_LT(store.UsedBytes(), used);
  }
}

}  // namespace
}  // namespace quenvar
