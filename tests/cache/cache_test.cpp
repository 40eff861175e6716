// The cache over a real SQLite file in a directory of the test's own.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <utility>

#include "base/text.h"
#include "cache/answer_cache.h"
#include "platform/sqlite/sqlite_record_store.h"
#include "tests/cache/cache_surroundings.h"

namespace {

bool readFails = false;

}  // namespace

// Between SQLite and the system.
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

class Cache : public testing::Test {
 protected:
  Cache() { OpenCache(); }
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

  std::string directory = "/tmp/quenvar-cache-XXXXXX";
  SqliteRecordStore store{nullptr, nullptr};
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
      EXPECT_EQ(Sql("SELECT min(rowid) FROM ipcache") == "1", size < 249 && before < 250) << "the row written first";
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
    EXPECT_EQ(Sql(std::string("INSERT INTO ipcache VALUES (") + fields + ") RETURNING 1"), "") << fields;
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

// SQLite undoes a whole group then, and gives its row numbers to others.
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
  Sql("INSERT INTO ipcache (IPNAME, IPNUMBER) VALUES ('D.EXAMPLE', X'0064')");  // in the same row
  CacheStore("c.example", "new");
  EXPECT_EQ(CacheLookup("c.example"), "new");
  EXPECT_EQ(CacheLookup("d.example"), "d");
}

TEST_F(Cache, StartsOverWhateverLiesInTheWay) {
  StoreHosts(200, 400);
  CloseCache();
  const std::string whole = surroundings.files.Read(database).value();
  std::string scribbled = whole;
  for (std::size_t i = 3000; i < scribbled.size(); i += 700) scribbled.replace(i, 90, 90, '\xa5');
  for (const std::string& content :
       {"x"s, std::string(5000, 'q'), scribbled, std::string(100, '\0') + whole.substr(100), ""s, whole.substr(0, 1024),
        whole.substr(0, whole.size() / 2), whole.substr(0, whole.size() - 1)}) {
    std::ofstream(database, std::ios::binary) << content;
    OpenCache();
    CacheStore("a.example", "answer");
    EXPECT_EQ(CacheLookup("a.example"), "answer") << content.size() << " bytes: " << content.substr(0, 100);
    CloseCache();
  }
  EXPECT_EQ(LogText(), "");
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
  OpenAgain();
  EXPECT_LT(std::filesystem::file_size(database), size / 2);
  StoreHosts(50, 901);
  EXPECT_EQ(CacheLookup(HostName(49)), ValueOf(901));
  CloseCache();
  EXPECT_EQ(surroundings.files.List(AppPath), std::vector<std::string>{"DNSCACHE.MDB"});
}

}  // namespace
}  // namespace quenvar
