#include "platform/sqlite/sqlite_record_store.h"

#include <sqlite3.h>

#include <cstdlib>
#include <limits>
#include <utility>

#include "platform/wait_notice.h"

namespace quenvar {

namespace {

// Moving pages from the companion file into the file waits for the disk: seldom, but not so seldom that it takes long.
// The memory, in KiB, is the most that is taken: it grows with the records that are used. What finds no room is read
// again from the system's own memory of the file, which costs little. The file is not mapped into memory, because a bad
// disk or a file cut from outside would then end the program.
constexpr const char* kOpenSettings =
    "PRAGMA journal_mode=WAL;"
    "PRAGMA synchronous=NORMAL;"
    "PRAGMA wal_autocheckpoint=2000;"
    "PRAGMA journal_size_limit=16777216;"
    "PRAGMA cache_size=-24576";

constexpr std::uint64_t kCannotTell = std::numeric_limits<std::uint64_t>::max();
constexpr const char* kUsedBytes =
    "SELECT (page_count - freelist_count) * page_size FROM pragma_page_count, pragma_freelist_count, pragma_page_size";

}  // namespace

SqliteRecordStore::SqliteRecordStore(WaitNotice* notice, std::function<void()> flushLater)
    : notice_(notice), flushLater_(std::move(flushLater)) {
  // SQLite's book-keeping of its memory, which nobody reads, costs a lock for every allocation.
  sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
}

RecordStore::Result SqliteRecordStore::Open(const std::string& path) {
  Result result = connection_.Open(path);
  if (!result.Failed()) result = connection_.Execute(kOpenSettings);
  if (notice_) notice_->Done();
  return result;
}

RecordStore::Result SqliteRecordStore::OpenTable() {
  seek_ = connection_.Prepare("SELECT IPNUMBER FROM ipcache WHERE IPNAME = ?1");
  if (!seek_) return connection_.LastFailure();
  keyAfter_ = connection_.Prepare("SELECT IPNAME FROM ipcache WHERE IPNAME > ?1 ORDER BY IPNAME LIMIT 1");
  insert_ = connection_.Prepare("INSERT INTO ipcache (IPNAME, IPNUMBER) VALUES (?1, ?2)");
  update_ = connection_.Prepare("UPDATE ipcache SET IPNUMBER = ?1 WHERE IPNAME = ?2");
  delete_ = connection_.Prepare("DELETE FROM ipcache WHERE IPNAME = ?1");
  begin_ = connection_.Prepare("BEGIN IMMEDIATE");
  commit_ = connection_.Prepare("COMMIT");
  version_ = connection_.Prepare("PRAGMA data_version");
  used_ = connection_.Prepare(kUsedBytes);
  // Opening may wait a moment for another program; a query may not.
  sqlite3_busy_timeout(connection_.Handle(), 0);
  return {};
}

void SqliteRecordStore::Close() {
  Flush();
  ForgetRecords();
  for (SqliteStatement* statement :
       {&seek_, &keyAfter_, &insert_, &update_, &delete_, &begin_, &commit_, &version_, &used_})
    statement->reset();
  connection_.Close();
}

bool SqliteRecordStore::ForEach(const std::function<void(std::string_view key, std::string_view value)>& visit) {
  const SqliteStatement read = connection_.Prepare("SELECT IPNAME, IPNUMBER FROM ipcache");
  int step = SQLITE_ERROR;
  while (read && (step = sqlite3_step(read.get())) == SQLITE_ROW) visit(ColumnBytes(read, 0), ColumnBytes(read, 1));
  return step == SQLITE_DONE;
}

std::optional<std::string> SqliteRecordStore::KeyAfter(std::string_view key) {
  if (!keyAfter_ || !BindText(keyAfter_, 1, key)) return std::nullopt;
  std::optional<std::string> next;
  if (sqlite3_step(keyAfter_.get()) == SQLITE_ROW) next = ColumnBytes(keyAfter_, 0);
  sqlite3_reset(keyAfter_.get());
  if (!next) ForgetGroupIfUndone();
  return next;
}

std::optional<std::string_view> SqliteRecordStore::Seek(std::string_view key) {
  current_ = known_.Find(key);
  if (current_ == nullptr) current_ = Read(key);
  return current_ != nullptr && current_->second.exists ? std::optional<std::string_view>(current_->second.bytes)
                                                        : std::nullopt;
}

// Null when the database could not tell.
KnownRecords::Record* SqliteRecordStore::Read(std::string_view key) {
  if (!seek_ || !BindText(seek_, 1, key)) return nullptr;
  KnownRecords::Record* record = nullptr;
  const int step = sqlite3_step(seek_.get());
  if (step == SQLITE_ROW) {
    record = known_.Add(key, {std::string(ColumnBytes(seek_, 0)), true});
  } else if (step == SQLITE_DONE) {
    record = known_.Add(key, {});
  }
  // A statement that is not reset would keep the file from being tidied up.
  sqlite3_reset(seek_.get());
  if (record == nullptr) ForgetGroupIfUndone();
  return record;
}

// The failure of a read can undo the whole group, of which the known records tell.
void SqliteRecordStore::ForgetGroupIfUndone() {
  if (groupOpen_ && sqlite3_get_autocommit(connection_.Handle())) Rollback();
}

bool SqliteRecordStore::Insert(std::string_view key, std::string_view value) {
  if (!insert_ || !BindText(insert_, 1, key) || !BindBlob(insert_, 2, value) || !Write(insert_)) return false;
  current_ = known_.Add(key, {std::string(value), true});
  return true;
}

bool SqliteRecordStore::Update(std::string_view value) {
  if (!update_ || current_ == nullptr || !BindBlob(update_, 1, value) || !BindText(update_, 2, current_->first) ||
      !Write(update_))
    return false;
  current_->second.bytes = value;
  return true;
}

bool SqliteRecordStore::Delete() {
  if (!delete_ || current_ == nullptr || !BindText(delete_, 1, current_->first) || !Write(delete_)) return false;
  current_->second = {};
  return true;
}

// Nothing is written outside of a group. After a failure the database may have undone more than this.
bool SqliteRecordStore::Write(const SqliteStatement& statement) {
  if (groupOpen_ && Run(statement)) return true;
  ForgetRecords();
  return false;
}

void SqliteRecordStore::ForgetRecords() {
  known_.Clear();
  current_ = nullptr;
}

// Another program may have changed the file between two groups.
void SqliteRecordStore::ForgetRecordsIfChanged() {
  sqlite3_step(version_.get());
  const int version = sqlite3_column_int(version_.get(), 0);
  sqlite3_reset(version_.get());
  if (version != std::exchange(knownVersion_, version)) ForgetRecords();
}

std::uint64_t SqliteRecordStore::UsedBytes() {
  if (!used_) return kCannotTell;
  const bool read = sqlite3_step(used_.get()) == SQLITE_ROW;
  const auto bytes = read ? static_cast<std::uint64_t>(sqlite3_column_int64(used_.get(), 0)) : kCannotTell;
  sqlite3_reset(used_.get());
  return bytes;
}

std::int32_t SqliteRecordStore::Stamp() {
  return static_cast<std::int32_t>(std::strtol(connection_.Query("PRAGMA user_version").c_str(), nullptr, 10));
}

bool SqliteRecordStore::SetStamp(std::int32_t stamp) {
  if (!Begin()) return false;
  const bool set = !connection_.Execute(("PRAGMA user_version=" + std::to_string(stamp)).c_str()).Failed();
  return set ? Commit() : (Rollback(), false);
}

bool SqliteRecordStore::Begin() {
  if (groupOpen_) return true;
  if (!Run(begin_)) return false;
  groupOpen_ = true;
  ForgetRecordsIfChanged();
  groupBegin_ = std::chrono::steady_clock::now();
  if (flushLater_) flushLater_();
  return true;
}

bool SqliteRecordStore::Commit() { return std::chrono::steady_clock::now() - groupBegin_ < kGroupTime || Flush(); }

bool SqliteRecordStore::Flush() {
  if (!groupOpen_) return true;
  groupOpen_ = false;
  if (Run(commit_)) return true;
  Rollback();
  return false;
}

void SqliteRecordStore::Rollback() {
  groupOpen_ = false;
  ForgetRecords();
  // A failure such as a full disk may have rolled back already.
  if (connection_.Handle() && !sqlite3_get_autocommit(connection_.Handle())) connection_.Execute("ROLLBACK");
}

}  // namespace quenvar
