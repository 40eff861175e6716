#include "platform/sqlite/sqlite_record_store.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <utility>

#include "platform/wait_notice.h"

namespace quenvar {

namespace {

using namespace std::string_view_literals;

// Small pages, because an answer that is replaced changes one page, which is written twice. Both fields are limited in
// bytes. Names are text, so that they can be asked for by name with any SQLite tool; values are blobs, because SQLite's
// functions take a text for finished at its first code 0.
constexpr const char* kCreateTable =
    "PRAGMA page_size=1024;"
    "BEGIN;"
    "CREATE TABLE ipcache ("
    " IPNUMBER BLOB NOT NULL CHECK (length(CAST(IPNUMBER AS BLOB)) <= 255),"
    " IPNAME TEXT NOT NULL CHECK (length(CAST(IPNAME AS BLOB)) <= 255));"
    "CREATE UNIQUE INDEX IPIndex ON ipcache (IPNAME);"
    "COMMIT";

// Moving pages from the companion file into the file waits for the disk: seldom, but not so seldom that it takes long.
// The memory, in KiB, is the most that is taken: it grows with the records that are used. What finds no room is read
// again from the system's own memory of the file, which costs little. The file is not mapped into memory, because a bad
// disk or a file cut from outside would then end the program.
constexpr const char* kOpenSettings =
    "PRAGMA journal_mode=WAL;"
    "PRAGMA synchronous=NORMAL;"
    "PRAGMA wal_autocheckpoint=2000;"
    "PRAGMA cache_size=-24576";

constexpr std::size_t kReadAheadBytes = 1 << 20;
constexpr mode_t kFileMode = 0644;
/// What every SQLite database begins with, its closing code 0 included.
constexpr std::string_view kMagic = "SQLite format 3\0"sv;
constexpr int kInstructionsBetweenReports = 20000;
constexpr std::array<const char*, 3> kCompanions = {"-wal", "-shm", "-journal"};

bool Exists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

bool HasCompanions(const std::string& path) {
  for (const char* companion : kCompanions) {
    if (Exists(path + companion)) return true;
  }
  return false;
}

bool Unlink(const std::string& path) {
  for (const char* companion : kCompanions) unlink((path + companion).c_str());
  unlink(path.c_str());
  return !Exists(path);
}

// Of a file that was made read-only, SQLite could read the answers, but neither compact it nor store into it.
void MakeWritable(const std::string& path) {
  if (access(path.c_str(), W_OK) == 0) return;
  chmod(path.c_str(), kFileMode);
  for (const char* companion : kCompanions) chmod((path + companion).c_str(), kFileMode);
}

// The copy has to be on the disk before it takes the name of the original.
bool FlushToDisk(const std::string& path) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) return false;
  const bool flushed = fsync(file) == 0;
  return close(file) == 0 && flushed;
}

// A view of no characters may point nowhere, which would be stored as "no value" instead of an empty one.
const char* Bytes(std::string_view text) { return text.data() ? text.data() : ""; }

bool BindText(const SqliteStatement& statement, int position, std::string_view text) {
  return sqlite3_bind_text(statement.get(), position, Bytes(text), static_cast<int>(text.size()), SQLITE_STATIC) ==
         SQLITE_OK;
}

bool BindBlob(const SqliteStatement& statement, int position, std::string_view bytes) {
  return sqlite3_bind_blob(statement.get(), position, Bytes(bytes), static_cast<int>(bytes.size()), SQLITE_STATIC) ==
         SQLITE_OK;
}

bool Run(const SqliteStatement& statement) {
  if (!statement) return false;
  sqlite3_step(statement.get());
  return sqlite3_reset(statement.get()) == SQLITE_OK;
}

}  // namespace

SqliteRecordStore::SqliteRecordStore(WaitNotice* notice, std::function<void()> flushLater)
    : notice_(notice), flushLater_(std::move(flushLater)) {
  // SQLite's book-keeping of its memory, which nobody reads, costs a lock for every allocation.
  sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
}

RecordStore::Result SqliteRecordStore::Create(const std::string& path) {
  SqliteConnection connection;
  if (Result created = connection.Create(path); created.Failed()) return created;
  return connection.Execute(kCreateTable);
}

RecordStore::Result SqliteRecordStore::Repair(const std::string& path) {
  MakeWritable(path);
  ReadAhead(path);
  SqliteConnection connection;
  if (Result opened = connection.Open(path); opened.Failed()) return opened;
  ReportWork(connection);
  const std::string finding = connection.Query("PRAGMA quick_check(1)");
  if (finding == "ok") return {};
  return finding.empty() ? connection.LastFailure() : Result{SQLITE_CORRUPT, finding, false};
}

RecordStore::Result SqliteRecordStore::Compact(const std::string& path, const std::string& workPath) {
  Unlink(workPath);
  SqliteConnection connection;
  Result result = connection.Open(path);
  // Another program that has the file open would write its companions into the copy: then this fails.
  if (!result.Failed()) result = connection.Execute("PRAGMA locking_mode=EXCLUSIVE; BEGIN EXCLUSIVE; COMMIT");
  if (!result.Failed()) {
    ReportWork(connection);
    SqliteStatement copy = connection.Prepare("VACUUM INTO ?1");
    if (!copy || !BindText(copy, 1, workPath) || !Run(copy)) result = connection.LastFailure();
  }
  connection.Close();
  if (!result.Failed() &&
      (HasCompanions(path) || !FlushToDisk(workPath) || std::rename(workPath.c_str(), path.c_str()) != 0)) {
    result = {SQLITE_IOERR, sqlite3_errstr(SQLITE_IOERR), true};
  }
  if (result.Failed()) Unlink(workPath);
  return result;
}

RecordStore::Result SqliteRecordStore::Open(const std::string& path) {
  Result result = connection_.Open(path);
  if (!result.Failed()) result = connection_.Execute(kOpenSettings);
  if (notice_) notice_->Done();
  return result;
}

RecordStore::Result SqliteRecordStore::OpenTable() {
  seek_ = connection_.Prepare("SELECT rowid, IPNUMBER FROM ipcache INDEXED BY IPIndex WHERE IPNAME = ?1");
  if (!seek_) return connection_.LastFailure();
  insert_ = connection_.Prepare("INSERT INTO ipcache (IPNAME, IPNUMBER) VALUES (?1, ?2)");
  update_ = connection_.Prepare("UPDATE ipcache SET IPNUMBER = ?1 WHERE rowid = ?2");
  delete_ = connection_.Prepare("DELETE FROM ipcache WHERE rowid = ?1");
  begin_ = connection_.Prepare("BEGIN IMMEDIATE");
  commit_ = connection_.Prepare("COMMIT");
  version_ = connection_.Prepare("PRAGMA data_version");
  // Opening may wait a moment for another program; a query may not.
  sqlite3_busy_timeout(connection_.Handle(), 0);
  return {};
}

void SqliteRecordStore::Close() {
  Flush();
  ForgetRecords();
  for (SqliteStatement* statement : {&seek_, &insert_, &update_, &delete_, &begin_, &commit_, &version_})
    statement->reset();
  connection_.Close();
}

bool SqliteRecordStore::DeleteFile(const std::string& path) {
  SqliteConnection connection;
  Result result = connection.Open(path);
  if (!result.Failed()) result = connection.Execute("BEGIN EXCLUSIVE");
  if (result.number == SQLITE_BUSY) return false;
  connection.Close();
  return Unlink(path);
}

std::optional<std::string_view> SqliteRecordStore::Seek(std::string_view key) {
  current_ = known_.Find(key);
  if (current_ == nullptr) current_ = Read(key);
  return current_ != nullptr && current_->exists ? std::optional<std::string_view>(current_->value) : std::nullopt;
}

// Null when the database could not tell.
KnownRecords::Record* SqliteRecordStore::Read(std::string_view key) {
  if (!seek_ || !BindText(seek_, 1, key)) return nullptr;
  KnownRecords::Record* record = nullptr;
  const int step = sqlite3_step(seek_.get());
  if (step == SQLITE_ROW) {
    const auto* bytes = static_cast<const char*>(sqlite3_column_blob(seek_.get(), 1));
    const auto size = static_cast<std::size_t>(sqlite3_column_bytes(seek_.get(), 1));
    record = known_.Add(key, {sqlite3_column_int64(seek_.get(), 0), std::string(bytes ? bytes : "", size), true});
  } else if (step == SQLITE_DONE) {
    record = known_.Add(key, {});
  }
  // A statement that is not reset would keep the file from being tidied up.
  sqlite3_reset(seek_.get());
  // The failure of a read can undo the whole group, of which the known records tell.
  if (record == nullptr && groupOpen_ && sqlite3_get_autocommit(connection_.Handle())) Rollback();
  return record;
}

bool SqliteRecordStore::Insert(std::string_view key, std::string_view value) {
  if (!insert_ || !BindText(insert_, 1, key) || !BindBlob(insert_, 2, value) || !Write(insert_)) return false;
  current_ = known_.Add(key, {sqlite3_last_insert_rowid(connection_.Handle()), std::string(value), true});
  return true;
}

bool SqliteRecordStore::Update(std::string_view value) {
  if (!update_ || current_ == nullptr || !BindBlob(update_, 1, value) ||
      sqlite3_bind_int64(update_.get(), 2, current_->row) != SQLITE_OK || !Write(update_))
    return false;
  current_->value = value;
  return true;
}

bool SqliteRecordStore::Delete() {
  if (!delete_ || current_ == nullptr || sqlite3_bind_int64(delete_.get(), 1, current_->row) != SQLITE_OK ||
      !Write(delete_))
    return false;
  *current_ = {};
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

void SqliteRecordStore::ReportWork(SqliteConnection& connection) {
  if (!notice_) return;
  notice_->Working();
  sqlite3_progress_handler(
      connection.Handle(), kInstructionsBetweenReports,
      [](void* notice) {
        static_cast<WaitNotice*>(notice)->Working();
        return 0;
      },
      notice_);
}

// The check goes to and fro in the file, which a disk serves much slower than in one go, and reports nothing meanwhile.
// Only for a file that is not open here: closing it would drop SQLite's locks on it. Not waiting matters for a pipe
// only.
void SqliteRecordStore::ReadAhead(const std::string& path) {
  const int file = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (file < 0) return;
  std::string chunk(kReadAheadBytes, '\0');
  // Nothing is gained by reading a file that is no database, and it may have no end.
  ssize_t count = read(file, chunk.data(), chunk.size());
  if (!chunk.starts_with(kMagic)) count = 0;
  for (; count > 0; count = read(file, chunk.data(), chunk.size())) {
    if (notice_) notice_->Working();
  }
  close(file);
}

}  // namespace quenvar
