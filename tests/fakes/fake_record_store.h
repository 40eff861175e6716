// A record store in memory, for tests of what is built on the cache.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "platform/record_store.h"

namespace quenvar {

struct FakeRecordStore : RecordStore {
  Result Create(const std::string&) override { return Note("create"); }
  Result Repair(const std::string&) override { return Note("repair"); }
  Result Compact(const std::string&, const std::string&) override { return Note("compact"); }
  Result Open(const std::string&) override { return Note("open"); }
  Result OpenTable() override {
    const Result result = Note("table");
    tableOpen = !result.Failed();
    return result;
  }
  void Close() override {
    Note("close");
    tableOpen = false;
  }
  bool DeleteFile(const std::string&) override {
    records.clear();
    return !Note("delete").Failed();
  }

  std::optional<std::string_view> Seek(std::string_view key) override {
    current = tableOpen ? records.find(std::string(key)) : records.end();
    if (current == records.end()) return std::nullopt;
    return current->second;
  }
  bool Insert(std::string_view key, std::string_view value) override {
    return Writable(key, value) && records.emplace(key, value).second;
  }
  bool Update(std::string_view value) override {
    if (!Writable({}, value)) return false;
    current->second = value;
    return true;
  }
  bool Delete() override {
    if (!tableOpen) return false;
    records.erase(current);
    return true;
  }

  bool Begin() override {
    before = records;
    return tableOpen;
  }
  bool Commit() override { return true; }
  void Rollback() override { records = before; }

  bool Writable(std::string_view key, std::string_view value) const {
    return tableOpen && writesLeft-- > 0 && key.size() <= 255 && value.size() <= 255;
  }
  Result Note(const std::string& call) {
    calls.push_back(call);
    const auto failure = failures.find(call);
    if (failure == failures.end() || failure->second.empty()) return {};
    const Result result = failure->second.front();
    failure->second.erase(failure->second.begin());
    return result;
  }

  std::map<std::string, std::string> records;
  std::map<std::string, std::string> before;
  std::map<std::string, std::string>::iterator current;
  bool tableOpen = false;
  /// The results that a call, by its name in `calls`, returns one after the other before it succeeds.
  std::map<std::string, std::vector<Result>> failures;
  std::vector<std::string> calls;
  /// Inserts and updates that still succeed.
  mutable int writesLeft = 1 << 30;
};

}  // namespace quenvar
