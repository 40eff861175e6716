// Any records in the file of the cache, also rings, cut chains and codes that mean nothing: everything ends, what is
// stored is found again and leaves nothing behind, and other records stay as they are.
#include "cache/answer_cache.h"
#include "tests/fakes/fake_platform.h"
#include "tests/fakes/fake_record_store.h"
#include "tests/fuzz/input.h"
#include "tests/fuzz/require.h"

using namespace quenvar;

namespace {

using Records = std::map<std::string, std::string>;

constexpr std::size_t kKeys = 8;

// Few keys, so that the records lead to each other.
std::string Key(std::size_t number) { return "KEY_" + std::to_string(number); }

std::string TakeKey(Input& input) { return Key(input.Below(kKeys)); }

Records TakeRecords(Input& input) {
  Records records;
  for (std::size_t left = input.Below(kKeys + 1); left > 0; --left) {
    const std::string key = TakeKey(input);
    const std::string piece = input.Text();
    records[key] = input.Below(4) == 0 ? piece : piece.substr(0, 250) + TakeKey(input);
  }
  return records;
}

std::string TakeValue(Input& input) {
  const std::string pattern = input.Text() + "x";
  std::string value;
  for (const std::size_t size = input.Byte() << input.Below(9); value.size() < size;) value += pattern;
  return value;
}

// Whether `records` are some of those `before`, unchanged.
bool Within(const Records& records, const Records& before) {
  return std::includes(before.begin(), before.end(), records.begin(), records.end());
}

void Store(FakeRecordStore& store, Input& input) {
  const Records before = store.records;
  const std::string key = TakeKey(input);
  const std::string value = TakeValue(input);
  if (input.Below(4) == 0) store.writesLeft = static_cast<int>(input.Byte());
  CacheStore(key, value);
  if (store.writesLeft > 0) {
    Require(CacheLookup("key_" + key.substr(4)) == value);
    if (input.Below(2) == 0) Require(CacheDeleteChain(key) && Within(store.records, before));
  } else {
    Require(CacheLookup(key) == value || store.records == before);
  }
  store.writesLeft = 1 << 30;
}

void Delete(const FakeRecordStore& store, const std::string& key) {
  const Records before = store.records;
  Require(CacheDeleteChain(key));
  Require(!store.records.contains(key) && CacheLookup(key).empty() && Within(store.records, before));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size) {
  FakePlatform world;
  // No input can know the keys that will be drawn.
  world.process.random.seed(std::hash<std::string_view>()({data, size}) % 1000000);
  FakeRecordStore store;
  platform.records = &store;
  Input input(data, size);
  store.records = TakeRecords(input);
  store.tableOpen = true;
  const bool empty = store.records.empty();
  for (std::size_t key = 0; key < kKeys; ++key) CacheLookup(Key(key));
  for (int steps = 0; steps < 16 && !input.AtEnd(); ++steps) {
    const std::size_t what = input.Below(3);
    if (what == 0) Store(store, input);
    if (what == 1) Delete(store, TakeKey(input));
    if (what == 2) CacheLookup(input.Text());
  }
  for (std::size_t key = 0; key < kKeys; ++key) CacheDeleteChain(Key(key));
  Require(!empty || store.records.empty());
  return 0;
}
