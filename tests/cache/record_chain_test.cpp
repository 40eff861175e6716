#include "tests/cache/cache_test.h"
#include "tests/fakes/fake_record_store.h"

namespace quenvar {

namespace {

class OpenedCache : public Cache {
 protected:
  OpenedCache() { OpenCache(); }

  void Put(const std::string& key, const std::string& piece) {
    store.Begin();
    ASSERT_TRUE(store.Insert(key, piece));
    store.Commit();
  }
};

// For each length, the lengths of the records that hold it.
struct Shape {
  std::size_t size;
  std::vector<int> records;
};

TEST_F(OpenedCache, KeepsEveryLengthAsAChainOfTheRightRecords) {
  const Shape shapes[] = {{0, {1}},        {1, {2}},          {248, {249}},        {249, {250}},
                          {250, {255, 2}}, {498, {255, 250}}, {499, {255, 255, 2}}};
  for (const Shape& shape : shapes) {
    SCOPED_TRACE(shape.size);
    CacheStore("Name.Example", ValueOf(shape.size));
    EXPECT_EQ(CacheLookup("nAME.eXAMPLE"), ValueOf(shape.size));
    std::vector<std::string> expected;
    for (int length : shape.records) expected.push_back(std::to_string(length) + (length == 255 ? "|01" : "|00"));
    EXPECT_EQ(Sql("SELECT length(IPNUMBER), hex(substr(IPNUMBER, 1, 1)) FROM ipcache ORDER BY rowid"), expected);
  }
  for (std::size_t size : {4096u, 65507u}) {
    CacheStore("big.example", ValueOf(size));
    EXPECT_TRUE(CacheLookup("BIG.EXAMPLE") == ValueOf(size)) << size;
  }
}

TEST_F(OpenedCache, LinksTheRecordsByTheKeysWrittenAtTheirEnds) {
  surroundings.process.next = {0.38, 0.39, 0.4, 0.999, 0.0};  // "abc", the highest code, the lowest
  CacheStore("chain.example", std::string(250, 'x'));
  EXPECT_EQ(Sql("SELECT hex(substr(IPNUMBER, -5)) FROM ipcache WHERE IPNAME = 'CHAIN.EXAMPLE'"),
            std::vector<std::string>{"616467FF01"});
  EXPECT_EQ(Sql("SELECT hex(IPNUMBER) FROM ipcache WHERE hex(IPNAME) = '414447FF01'"),
            std::vector<std::string>{"0078"});
}

TEST_F(OpenedCache, DrawsAContinuationKeyAgainThatIsTaken) {
  surroundings.process.next = {0.3, 0.3, 0.3, 0.3, 0.3};
  const std::string taken = NewContinuationKey();
  CacheStore(taken, "answer");
  surroundings.process.next = {0.3, 0.3, 0.3, 0.3, 0.3, 0.7, 0.7, 0.7, 0.7, 0.7};
  EXPECT_EQ(NewContinuationKey(), std::string(5, static_cast<char>(179)));
}

TEST_F(OpenedCache, ReplacesEveryKindOfValueByEveryOther) {
  for (std::size_t before : {3u, 248u, 249u, 600u}) {
    for (std::size_t after : {0u, 3u, 248u, 249u, 250u, 600u}) {
      SCOPED_TRACE(std::to_string(before) + " by " + std::to_string(after));
      CacheStore("a.example", ValueOf(before));
      CacheStore("A.EXAMPLE", ValueOf(after, 1));
      EXPECT_EQ(CacheLookup("a.example"), ValueOf(after, 1));
      EXPECT_EQ(Sql("SELECT count(*) FROM ipcache"), std::vector<std::string>{after < 250   ? "1"
                                                                              : after < 499 ? "2"
                                                                                            : "3"});
    }
  }
}

TEST_F(OpenedCache, RefusesFieldsOfMoreThan255Bytes) {
  const std::string longest(255, '\xe9');
  CacheStore(longest, "answer");
  CacheStore(longest + "x", "answer");
  EXPECT_EQ(CacheLookup(longest), "answer");
  EXPECT_EQ(CacheLookup(longest + "x"), "");
  EXPECT_EQ(Sql("SELECT length(CAST(IPNAME AS BLOB)) FROM ipcache"), std::vector<std::string>{"255"});
  for (const char* fields : {"'k', zeroblob(256)", "'k', hex(zeroblob(128))", "CAST(zeroblob(256) AS TEXT), x'00'"}) {
    const std::vector<std::string> result =
        Sql(std::string("INSERT INTO ipcache (IPNAME, IPNUMBER) VALUES (") + fields + ")");
    EXPECT_TRUE(result.size() == 1 && result[0].starts_with("CHECK constraint failed")) << fields;
  }
}

TEST_F(OpenedCache, KeepsNamesWithAnyBytesApart) {
  const std::string names[] = {"", std::string(1, '\0'), std::string("a\0b", 3), std::string("a\0c", 3), "\xff\xfe",
                               "a"};
  for (const std::string& name : names) CacheStore(name, "answer for " + name);
  for (const std::string& name : names) EXPECT_EQ(CacheLookup(name), "answer for " + name);
}

TEST_F(OpenedCache, ReadsABrokenChainAsAMissAndReplacesIt) {
  const std::string piece = '\1' + std::string(249, 'x');
  const std::pair<const char*, std::string> broken[] = {{"the next record is missing", piece + "GONE!"},
                                                        {"a ring of itself", piece + "r.exa"},
                                                        {"a ring of two", piece + "RING2"},
                                                        {"a ring without a payload", "\1r.exa"},
                                                        {"too short for a key", "\1abcd"},
                                                        {"nothing at all", ""}};
  Put("RING2", piece + "r.exa");
  for (const auto& [what, record] : broken) {
    SCOPED_TRACE(what);
    Put("R.EXA", record);
    EXPECT_EQ(CacheLookup("r.exa"), "");
    CacheStore("r.exa", ValueOf(300));
    EXPECT_EQ(CacheLookup("r.exa"), ValueOf(300));
    CacheDeleteChain("r.exa");
  }
}

TEST_F(OpenedCache, DoesNothingWhileClosed) {
  CloseCache();
  CacheStore("a.example", "answer");
  EXPECT_EQ(CacheLookup("a.example"), "");
  EXPECT_FALSE(CacheDeleteChain("a.example") && CacheInsertRecord("a.example", "x"));
  OpenCache();
  EXPECT_EQ(CacheLookup("a.example"), "");
}

TEST_F(OpenedCache, KeepsTheOldAnswerWhenAStoreFailsMidway) {
  FakeRecordStore failing;
  platform.records = &failing;
  OpenCache();
  for (int writes = 0; writes < 3; ++writes) {
    failing.writesLeft = 100;
    CacheStore("a.example", ValueOf(600));
    failing.writesLeft = writes;
    CacheStore("a.example", ValueOf(601));
    EXPECT_EQ(CacheLookup("a.example"), ValueOf(600)) << writes;
  }
}

}  // namespace

}  // namespace quenvar
