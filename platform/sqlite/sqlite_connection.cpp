#include "platform/sqlite/sqlite_connection.h"

namespace quenvar {

namespace {

// Long enough for another program's look at the file, too short to be noticed at start.
constexpr int kBusyMilliseconds = 50;

}  // namespace

RecordStore::Result SqliteConnection::Connect(const std::string& path, int flags) {
  Close();
  // The program runs on one thread, so the connection needs no lock of its own.
  if (sqlite3_open_v2(path.c_str(), &connection_, flags | SQLITE_OPEN_NOMUTEX, nullptr) != SQLITE_OK) {
    return LastFailure();
  }
  sqlite3_busy_timeout(connection_, kBusyMilliseconds);
  // The file may come from anywhere: nothing in it is run, and no cell is believed to have the size that it claims.
  return Execute("PRAGMA trusted_schema=OFF; PRAGMA cell_size_check=ON");
}

RecordStore::Result SqliteConnection::Open(const std::string& path) {
  if (Result connected = Connect(path, SQLITE_OPEN_READWRITE); connected.Failed()) return connected;
  const std::string pages = Query("PRAGMA page_count");
  if (pages.empty()) return LastFailure();
  // SQLite itself takes a file of no bytes for a new database.
  if (pages == "0") return {SQLITE_NOTADB, sqlite3_errstr(SQLITE_NOTADB), false};
  return {};
}

RecordStore::Result SqliteConnection::Create(const std::string& path) {
  return Connect(path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
}

void SqliteConnection::Close() {
  sqlite3_close(connection_);
  connection_ = nullptr;
}

RecordStore::Result SqliteConnection::Execute(const char* sql) {
  return sqlite3_exec(connection_, sql, nullptr, nullptr, nullptr) == SQLITE_OK ? Result{} : LastFailure();
}

std::string SqliteConnection::Query(const char* sql) {
  const SqliteStatement statement = Prepare(sql);
  if (!statement || sqlite3_step(statement.get()) != SQLITE_ROW) return {};
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement.get(), 0));
  return text ? text : "";
}

SqliteStatement SqliteConnection::Prepare(const char* sql) {
  sqlite3_stmt* statement = nullptr;
  sqlite3_prepare_v3(connection_, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
  return SqliteStatement(statement);
}

RecordStore::Result SqliteConnection::LastFailure() const {
  const int number = sqlite3_errcode(connection_);
  const bool surroundings = number == SQLITE_FULL || number == SQLITE_IOERR || number == SQLITE_BUSY ||
                            number == SQLITE_LOCKED || number == SQLITE_NOMEM;
  return {number, sqlite3_errmsg(connection_), surroundings};
}

}  // namespace quenvar
