// A record store in memory, for tests of what is built on the cache.
#pragma once

#include <map>
#include <string>

#include "platform/record_store.h"

namespace quenvar {

struct FakeRecordStore : RecordStore {
  Result Create(const std::string&) override { return {}; }
  Result Check(const std::string&) override { return {}; }
  Result Repair(const std::string&, const std::string&, const std::function<bool()>&) override { return {}; }
  Result Compact(const std::string&, const std::string&, const FindKeys&) override { return {}; }
  Result Open(const std::string&) override { return {}; }
  Result OpenTable() override {
    tableOpen = true;
    return {};
  }
  void Close() override { tableOpen = false; }
  Result DeleteFile(const std::string&) override {
    records.clear();
    return {};
  }

  bool ForEach(const std::function<void(std::string_view, std::string_view)>& visit) override {
    for (const auto& [key, value] : records) visit(key, value);
    return tableOpen;
  }
  std::optional<std::string> KeyAfter(std::string_view key) override {
    const auto next = records.upper_bound(std::string(key));
    return next == records.end() ? std::nullopt : std::optional(next->first);
  }
  std::uint64_t UsedBytes() override {
    std::uint64_t bytes = 0;
    for (const auto& [key, value] : records) bytes += key.size() + value.size();
    return bytes;
  }
  std::int32_t Stamp() override { return stamp; }
  bool SetStamp(std::int32_t newStamp) override {
    stamp = newStamp;
    return true;
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

  std::map<std::string, std::string> records;
  std::map<std::string, std::string> before;
  std::map<std::string, std::string>::iterator current;
  bool tableOpen = false;
  std::int32_t stamp = 0;
  /// Inserts and updates that still succeed.
  mutable int writesLeft = 1 << 30;
};

}  // namespace quenvar
