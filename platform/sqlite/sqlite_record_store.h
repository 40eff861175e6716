// RecordStore over SQLite. While a file is open, its newest transactions stand in companion files of the same name with
// "-wal" and "-shm" added; closing it leaves the one file.
//
// A transaction of its own for every answer would cost several times more than the answer. So the transactions of half
// a second go into the file together. They are read back at once, and what a crash takes is the last half second,
// always in whole transactions.
#pragma once

#include <chrono>
#include <functional>
#include <string>

#include "platform/record_store.h"
#include "platform/sqlite/known_records.h"
#include "platform/sqlite/sqlite_connection.h"

namespace quenvar {

class WaitNotice;

class SqliteRecordStore : public RecordStore {
 public:
  static constexpr std::chrono::milliseconds kGroupTime{500};

  /// `notice` hears of long work from Check to the end of Open; it may be null. `flushLater` is called when the first
  /// transaction of a group has begun, and has to see to a call of Flush after kGroupTime, for the case that no other
  /// transaction follows.
  SqliteRecordStore(WaitNotice* notice, std::function<void()> flushLater);
  ~SqliteRecordStore() override { Close(); }

  /// Puts what was committed into the file. False when that failed; it is then lost.
  bool Flush();

  Result Create(const std::string& path) override;
  Result Check(const std::string& path) override;
  Result Repair(const std::string& path, const std::string& workPath, const std::function<bool()>& sift) override;
  Result Compact(const std::string& path, const std::string& workPath, const FindKeys& findUseless) override;
  Result Open(const std::string& path) override;
  Result OpenTable() override;
  void Close() override;
  Result DeleteFile(const std::string& path) override;

  bool ForEach(const std::function<void(std::string_view key, std::string_view value)>& visit) override;
  std::optional<std::string> KeyAfter(std::string_view key) override;
  std::optional<std::string_view> Seek(std::string_view key) override;
  bool Insert(std::string_view key, std::string_view value) override;
  bool Update(std::string_view value) override;
  bool Delete() override;
  std::uint64_t UsedBytes() override;
  std::int32_t Stamp() override;
  bool SetStamp(std::int32_t stamp) override;
  bool Begin() override;
  bool Commit() override;
  void Rollback() override;

 private:
  using Copy = std::function<Result(const std::string& newPath)>;

  Result Replace(const std::string& path, const std::string& workPath, const std::function<Result()>& build);
  Result BuildCopy(const std::string& path, const std::string& workPath, const Copy& copy);
  void ReportWork(SqliteConnection& connection);
  KnownRecords::Record* Read(std::string_view key);
  void ForgetGroupIfUndone();
  bool Write(const SqliteStatement& statement);
  void ForgetRecords();
  void ForgetRecordsIfChanged();
  void ReadAhead(const std::string& path);

  WaitNotice* notice_;
  std::function<void()> flushLater_;
  SqliteConnection connection_;
  SqliteStatement seek_;
  SqliteStatement keyAfter_;
  SqliteStatement insert_;
  SqliteStatement update_;
  SqliteStatement delete_;
  SqliteStatement begin_;
  SqliteStatement commit_;
  SqliteStatement version_;
  SqliteStatement used_;
  int knownVersion_ = 0;
  bool groupOpen_ = false;
  std::chrono::steady_clock::time_point groupBegin_;
  KnownRecords known_;
  KnownRecords::Record* current_ = nullptr;
};

}  // namespace quenvar
