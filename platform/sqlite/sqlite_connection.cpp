#include "platform/sqlite/sqlite_connection.h"

namespace quenvar {

namespace {

// Long enough for another program's look at the file, too short to be noticed at start.
constexpr int kBusyMilliseconds = 50;

// A view of no characters may point nowhere, which would be stored as "no value" instead of an empty one.
const char* Bytes(std::string_view text) { return text.data() ? text.data() : ""; }

}  // namespace

bool BindText(const SqliteStatement& statement, int position, std::string_view text) {
  return sqlite3_bind_text(statement.get(), position, Bytes(text), static_cast<int>(text.size()), SQLITE_STATIC) ==
         SQLITE_OK;
}

bool BindBlob(const SqliteStatement& statement, int position, std::string_view bytes) {
  return sqlite3_bind_blob(statement.get(), position, Bytes(bytes), static_cast<int>(bytes.size()), SQLITE_STATIC) ==
         SQLITE_OK;
}

std::string_view ColumnBytes(const SqliteStatement& statement, int column) {
  const auto* bytes = static_cast<const char*>(sqlite3_column_blob(statement.get(), column));
  const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement.get(), column));
  return bytes ? std::string_view(bytes, size) : std::string_view();
}

bool Run(const SqliteStatement& statement) {
  if (!statement) return false;
  sqlite3_step(statement.get());
  return sqlite3_reset(statement.get()) == SQLITE_OK;
}

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
