#include <sys/stat.h>

#include "platform/wait_notice.h"
#include "tests/cache/cache_test.h"
#include "tests/fakes/fake_record_store.h"

namespace quenvar {

namespace {

namespace fs = std::filesystem;

TEST_F(Cache, MakesAMissingFileAndKeepsAnswersAcrossRestarts) {
  for (int start = 0; start < 3; ++start) {
    OpenCache();
    EXPECT_EQ(CacheLookup("kept.example"), start == 0 ? "" : ValueOf(700));
    CacheStore("kept.example", ValueOf(700));
    CloseCache();
    EXPECT_EQ(surroundings.files.List(AppPath), std::vector<std::string>{"DNSCACHE.MDB"});
  }
}

TEST_F(Cache, HasTheTableFieldsAndIndexUnderTheirNames) {
  OpenCache();
  EXPECT_EQ(Sql("SELECT name FROM pragma_table_info('ipcache')"), (std::vector<std::string>{"IPNUMBER", "IPNAME"}));
  EXPECT_EQ(Sql("SELECT l.name, l.\"unique\", i.name FROM pragma_index_list('ipcache') l, pragma_index_info(l.name) i"),
            std::vector<std::string>{"IPIndex|1|IPNAME"});
}

TEST_F(Cache, CompactsAtEveryStart) {
  OpenCache();
  for (int i = 0; i < 2000; ++i) CacheStore("host" + std::to_string(i), ValueOf(200));
  for (int i = 0; i < 1990; ++i) CacheDeleteChain("host" + std::to_string(i));
  CloseCache();
  const auto before = fs::file_size(Database());
  OpenCache();
  EXPECT_LT(fs::file_size(Database()), before / 10);
  EXPECT_EQ(CacheLookup("host1999"), ValueOf(200));
}

// What may lie in the place of the database, and whether the cache works over it.
TEST_F(Cache, StartsOverWhateverLiesInTheWay) {
  OpenCache();
  for (int i = 0; i < 200; ++i) CacheStore("host" + std::to_string(i), ValueOf(400));
  CloseCache();
  const std::string whole = ReadFile(Database());
  std::string scribbled = whole;
  for (std::size_t i = 3000; i < scribbled.size(); i += 700) scribbled.replace(i, 90, 90, '\xa5');
  const std::pair<const char*, std::string> contents[] = {
      {"empty", ""},
      {"one byte", "x"},
      {"text", std::string(5000, 'q')},
      {"header only", whole.substr(0, 100)},
      {"first page only", whole.substr(0, 1024)},
      {"cut in a page", whole.substr(0, whole.size() / 2 + 77)},
      {"last byte missing", whole.substr(0, whole.size() - 1)},
      {"scribbled over", scribbled},
      {"header destroyed", std::string(100, '\0') + whole.substr(100)},
  };
  for (const auto& [what, content] : contents) {
    SCOPED_TRACE(what);
    WriteFile(Database(), content);
    OpenCache();
    CacheStore("a.example", "answer");
    EXPECT_EQ(CacheLookup("a.example"), "answer");
    CloseCache();
  }
  EXPECT_EQ(Log(), "");
}

TEST_F(Cache, ReportsADatabaseWithoutItsTableAndLeavesIt) {
  Sql("CREATE TABLE other (x); INSERT INTO other VALUES (42)");
  OpenCache();
  EXPECT_NE(Log().find("Error opening Database!!1: no such table: ipcache\r\n"), std::string::npos) << Log();
  CacheStore("a.example", "answer");
  EXPECT_EQ(CacheLookup("a.example"), "");
  EXPECT_EQ(Sql("SELECT x FROM other"), std::vector<std::string>{"42"});
  DeleteWholeCache();
  CacheStore("a.example", "answer");
  EXPECT_EQ(CacheLookup("a.example"), "answer");
}

TEST_F(Cache, RunsWithoutADatabaseWhereADirectoryHasItsName) {
  fs::create_directories(Database() + "/inside");
  OpenCache();
  EXPECT_NE(Log().find("Error opening Database!!14: unable to open database file\r\n"), std::string::npos) << Log();
  CacheStore("a.example", "answer");
  EXPECT_EQ(CacheLookup("a.example"), "");
  EXPECT_TRUE(fs::exists(Database() + "/inside"));
}

TEST_F(Cache, ReplacesAPipeWithItsName) {
  ASSERT_EQ(mkfifo(Database().c_str(), 0600), 0);
  OpenCache();
  CacheStore("a.example", "answer");
  EXPECT_EQ(CacheLookup("a.example"), "answer");
}

TEST_F(Cache, SurvivesAWorkFileThatIsLeftOver) {
  OpenCache();
  CacheStore("a.example", "answer");
  CloseCache();
  WriteFile(AppPath + "TEMP.MDB", "half a copy");
  WriteFile(AppPath + "TEMP.MDB-journal", "rest");
  OpenCache();
  EXPECT_EQ(CacheLookup("a.example"), "answer");
  EXPECT_FALSE(fs::exists(AppPath + "TEMP.MDB") || fs::exists(AppPath + "TEMP.MDB-journal"));
  CloseCache();
  fs::create_directories(AppPath + "TEMP.MDB/inside");
  OpenCache();
  EXPECT_EQ(CacheLookup("a.example"), "answer");
}

TEST_F(Cache, LeavesAFileAloneThatAnotherProgramHasLocked) {
  OpenCache();
  CacheStore("a.example", "answer");
  CloseCache();
  {
    SqliteConnection other;
    ASSERT_FALSE(other.Open(Database()).Failed());
    ASSERT_FALSE(other.Execute("PRAGMA locking_mode=EXCLUSIVE; BEGIN EXCLUSIVE").Failed());
    OpenCache();
    EXPECT_NE(Log().find("Error opening Database!!5: database is locked\r\n"), std::string::npos) << Log();
    EXPECT_EQ(CacheLookup("a.example"), "");
  }
  OpenCache();
  EXPECT_EQ(CacheLookup("a.example"), "answer");
}

TEST_F(Cache, IsNotCompactedUnderAnotherProgramThatHasItOpen) {
  OpenCache();
  CacheStore("a.example", "answer");
  SqliteConnection other;
  ASSERT_FALSE(other.Open(Database()).Failed());
  ASSERT_EQ(other.Query("SELECT count(*) FROM ipcache"), "0");
  CloseCache();
  OpenCache();
  CacheStore("b.example", "answer");
  store.Flush();
  EXPECT_EQ(other.Query("SELECT count(*) FROM ipcache"), "2");
  EXPECT_EQ(CacheLookup("a.example"), "answer");
}

TEST_F(Cache, DeletesEverythingUnderLoad) {
  OpenCache();
  const auto descriptors = [] { return std::distance(fs::directory_iterator("/proc/self/fd"), {}); };
  std::ptrdiff_t before = 0;
  for (int round = 0; round < 20; ++round) {
    if (round == 1) before = descriptors();
    for (int i = 0; i < 100; ++i) CacheStore("host" + std::to_string(i), ValueOf(300));
    DeleteWholeCache();
    for (int i = 0; i < 100; ++i) ASSERT_EQ(CacheLookup("host" + std::to_string(i)), "");
    EXPECT_EQ(Sql("SELECT count(*) FROM ipcache"), std::vector<std::string>{"0"});
  }
  EXPECT_EQ(descriptors(), before);
}

TEST_F(Cache, PutsAGroupIntoTheFileOnFlush) {
  int asked = 0;
  SqliteRecordStore grouped(nullptr, [&asked] { ++asked; });
  platform.records = &grouped;
  OpenCache();
  CacheStore("a.example", "answer");
  CacheStore("b.example", "answer");
  EXPECT_EQ(asked, 1);
  EXPECT_EQ(Sql("SELECT count(*) FROM ipcache"), std::vector<std::string>{"0"});
  EXPECT_TRUE(grouped.Flush());
  EXPECT_EQ(Sql("SELECT count(*) FROM ipcache"), std::vector<std::string>{"2"});
}

TEST_F(Cache, ReportsLongWorkUntilTheDatabaseIsOpen) {
  struct : WaitNotice {
    void Working() override { ++(done ? late : early); }
    void Done() override { done = true; }
    int early = 0;
    int late = 0;
    bool done = false;
  } notice;
  OpenCache();
  for (int i = 0; i < 20000; ++i) CacheStore("host" + std::to_string(i), "answer");
  CloseCache();
  SqliteRecordStore reporting(&notice, nullptr);
  platform.records = &reporting;
  OpenCache();
  EXPECT_GT(notice.early, 4);
  EXPECT_TRUE(notice.done);
  EXPECT_EQ(notice.late, 0);
}

TEST_F(Cache, TakesTheStepsOfOpeningInTheirOrder) {
  const RecordStore::Result failure{7, "words"};
  struct Case {
    std::map<std::string, std::vector<RecordStore::Result>> failures;
    std::vector<std::string> calls;
    std::string log;
  };
  const Case cases[] = {
      {{}, {"create", "repair", "compact", "open", "table"}, ""},
      {{{"compact", {failure}}}, {"create", "repair", "compact", "open", "table"}, ""},
      {{{"repair", {failure}}}, {"create", "repair", "close", "delete", "create", "open", "table"}, ""},
      {{{"open", {failure}}},
       {"create", "repair", "compact", "open", "close", "delete", "create", "open", "table"},
       ""},
      {{{"open", {failure, failure}}},
       {"create", "repair", "compact", "open", "close", "delete", "create", "open", "close"},
       "Error opening Database!!7: words\r\n"},
      {{{"table", {failure}}},
       {"create", "repair", "compact", "open", "table", "close"},
       "Error opening Database!!7: words\r\n"},
  };
  for (const Case& each : cases) {
    ClearLog();
    FakeRecordStore fake;
    fake.failures = each.failures;
    platform.records = &fake;
    OpenCache();
    EXPECT_EQ(fake.calls, each.calls);
    EXPECT_TRUE(Log().ends_with(each.log) && Log().empty() == each.log.empty()) << Log();
  }
}

}  // namespace

}  // namespace quenvar
