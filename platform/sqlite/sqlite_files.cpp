// What SqliteRecordStore does with closed files.
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "platform/posix/file_replacement.h"
#include "platform/sqlite/record_copy.h"
#include "platform/sqlite/sqlite_record_store.h"
#include "platform/wait_notice.h"

namespace quenvar {

namespace {

using namespace std::string_view_literals;

constexpr std::size_t kReadAheadBytes = 1 << 20;
/// What every SQLite database begins with, its closing code 0 included.
constexpr std::string_view kMagic = "SQLite format 3\0"sv;
constexpr int kInstructionsBetweenReports = 20000;
constexpr std::array<const char*, 3> kCompanions = {"-wal", "-shm", "-journal"};

bool Exists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

// The last program that closes a file takes these away.
bool IsOpenElsewhere(const std::string& path) { return Exists(path + "-wal") || Exists(path + "-shm"); }

void DeleteCompanions(const std::string& path) {
  for (const char* companion : kCompanions) unlink((path + companion).c_str());
}

void AddOwnersWriteBit(const std::string& path) {
  struct stat state {};
  if (stat(path.c_str(), &state) == 0) chmod(path.c_str(), (state.st_mode & 07777) | S_IWUSR);
}

// Of a file that was made read-only, SQLite could read the answers, but neither compact it nor store into it.
void MakeWritable(const std::string& path) {
  if (access(path.c_str(), W_OK) == 0) return;
  AddOwnersWriteBit(path);
  for (const char* companion : kCompanions) AddOwnersWriteBit(path + companion);
}

// Another program that has the file open would write its companions into the file that takes its place.
RecordStore::Result OpenAlone(SqliteConnection& connection, const std::string& path) {
  if (RecordStore::Result opened = connection.Open(path); opened.Failed()) return opened;
  return connection.Execute("PRAGMA locking_mode=EXCLUSIVE; BEGIN EXCLUSIVE; COMMIT");
}

RecordStore::Result BrokenDisk() { return {SQLITE_IOERR, sqlite3_errstr(SQLITE_IOERR), true}; }

}  // namespace

RecordStore::Result SqliteRecordStore::Create(const std::string& path) { return CreateDatabase(path); }

RecordStore::Result SqliteRecordStore::Check(const std::string& path) {
  MakeWritable(path);
  ReadAhead(path);
  SqliteConnection connection;
  if (Result opened = connection.Open(path); opened.Failed()) return opened;
  ReportWork(connection);
  // An index is not compared with its table, which would take longest: the next copy is made without it.
  const char* check = IsOneTree(connection) ? "PRAGMA integrity_check(1)" : "PRAGMA quick_check(1)";
  const std::string finding = connection.Query(check);
  // Newer releases of SQLite at least count its entries, after all else was found in order.
  if (finding == "ok" || finding.starts_with("wrong # of entries in index")) return {};
  return finding.empty() ? connection.LastFailure() : Result{SQLITE_CORRUPT, finding, false};
}

RecordStore::Result SqliteRecordStore::Repair(const std::string& path, const std::string& workPath,
                                              const std::function<bool()>& sift) {
  return Replace(path, workPath, [&] {
    Result result =
        BuildCopy(path, workPath, [&](const std::string& copy) { return CopyReadableRecords(connection_, copy); });
    if (!result.Failed()) result = connection_.Open(workPath);
    if (!result.Failed()) result = OpenTable();
    if (!result.Failed() && !(Begin() && sift() && Flush())) result = BrokenDisk();
    Close();
    return result;
  });
}

RecordStore::Result SqliteRecordStore::Compact(const std::string& path, const std::string& workPath,
                                               const FindKeys& findUseless) {
  return Replace(path, workPath, [&] {
    return BuildCopy(path, workPath, [&](const std::string& copy) {
      if (!findUseless) return CopyRecords(connection_, copy, {});
      Result opened = OpenTable();
      return opened.Failed() ? opened : CopyRecords(connection_, copy, findUseless());
    });
  });
}

RecordStore::Result SqliteRecordStore::Replace(const std::string& path, const std::string& workPath,
                                               const std::function<Result()>& build) {
  DeleteFile(workPath);
  Result result = build();
  if (!result.Failed() && (IsOpenElsewhere(path) || !MoveIntoPlace(workPath, path))) result = BrokenDisk();
  if (result.Failed()) DeleteFile(workPath);
  return result;
}

RecordStore::Result SqliteRecordStore::BuildCopy(const std::string& path, const std::string& workPath,
                                                 const Copy& copy) {
  Result result = OpenAlone(connection_, path);
  ReportWork(connection_);
  if (!result.Failed()) result = CreateDatabase(workPath);
  if (!result.Failed()) result = copy(workPath);
  Close();
  return result;
}

// The file goes first, and for good, so that what happens next, the program's end included, leaves no record of it. In
// a folder where nothing may be deleted it stays, but empty. SQLite keeps a program that still has the deleted file
// open from writing beside the new one.
RecordStore::Result SqliteRecordStore::DeleteFile(const std::string& path) {
  Result result;
  if (unlink(path.c_str()) == 0) {
    SyncDirectoryOf(path);
  } else if (errno != ENOENT && truncate(path.c_str(), 0) != 0) {
    result = {SQLITE_CANTOPEN, sqlite3_errstr(SQLITE_CANTOPEN), true};
  }
  DeleteCompanions(path);
  return result;
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
