#include "platform/sqlite/record_copy.h"

#include "platform/posix/file_replacement.h"

namespace quenvar {

namespace {

// Small pages, because an answer that is replaced changes one page, which is written twice; still large enough for a
// whole record of the usual length, of which smaller pages would hold the end elsewhere. Both fields are limited in
// bytes. Names are text, so that they can be asked for by name with any SQLite tool; values are blobs, because SQLite's
// functions take a text for finished at its first code 0. IPNAME comes first as it does in the tree: otherwise the
// integrity check of SQLite 3.40 takes the one field for the other.
constexpr const char* kCreateTable =
    "PRAGMA page_size=2048;"
    "BEGIN;"
    "CREATE TABLE ipcache ("
    " IPNAME TEXT NOT NULL CHECK (length(CAST(IPNAME AS BLOB)) <= 255),"
    " IPNUMBER BLOB NOT NULL CHECK (length(CAST(IPNUMBER AS BLOB)) <= 255),"
    " CONSTRAINT IPIndex PRIMARY KEY (IPNAME)) WITHOUT ROWID;"
    "COMMIT";

// Nobody misses a copy that was not finished.
constexpr const char* kCopySettings =
    "PRAGMA copy.journal_mode=OFF; PRAGMA copy.synchronous=OFF; PRAGMA copy.user_version=";
constexpr const char* kRescueSettings = "PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF; BEGIN";

// With the star, SQLite sees that it can take over the records of one tree as they are.
constexpr const char* kCopyTree = "INSERT INTO copy.ipcache SELECT * FROM main.ipcache";

// Without the index, which may lack some of the records; the same name may then have been stored once more. In the
// order of keys, so that the copy's pages get full.
constexpr const char* kCopyTable =
    "INSERT OR REPLACE INTO copy.ipcache (IPNAME, IPNUMBER)"
    " SELECT IPNAME, IPNUMBER FROM main.ipcache NOT INDEXED ORDER BY IPNAME";

constexpr const char* kCopyUseful =
    "INSERT OR REPLACE INTO copy.ipcache (IPNAME, IPNUMBER)"
    " SELECT IPNAME, IPNUMBER FROM main.ipcache NOT INDEXED WHERE NOT is_useless(IPNAME) ORDER BY IPNAME";

constexpr const char* kRead = "SELECT IPNAME, IPNUMBER FROM ipcache NOT INDEXED";

constexpr std::size_t kLongestField = 255;

bool IsRecord(const SqliteStatement& row) {
  return sqlite3_column_type(row.get(), 0) == SQLITE_TEXT && sqlite3_column_type(row.get(), 1) == SQLITE_BLOB &&
         ColumnBytes(row, 0).size() <= kLongestField && ColumnBytes(row, 1).size() <= kLongestField;
}

bool Insert(const SqliteStatement& insert, const SqliteStatement& row) {
  return sqlite3_bind_value(insert.get(), 1, sqlite3_column_value(row.get(), 0)) == SQLITE_OK &&
         sqlite3_bind_value(insert.get(), 2, sqlite3_column_value(row.get(), 1)) == SQLITE_OK && Run(insert);
}

// A look-up that fails proves nothing: the damage is then in the index, or on the way to the record.
bool LookupContradicts(const SqliteStatement& find, const SqliteStatement& row) {
  if (!BindText(find, 1, ColumnBytes(row, 0))) return false;
  const int step = sqlite3_step(find.get());
  const bool contradicts = step == SQLITE_DONE || (step == SQLITE_ROW && ColumnBytes(find, 0) != ColumnBytes(row, 1));
  sqlite3_reset(find.get());
  return contradicts;
}

void IsUseless(sqlite3_context* context, int /*count*/, sqlite3_value** values) {
  const auto* keys = static_cast<const RecordStore::Keys*>(sqlite3_user_data(context));
  const auto* key = static_cast<const char*>(sqlite3_value_blob(values[0]));
  const auto size = static_cast<std::size_t>(sqlite3_value_bytes(values[0]));
  sqlite3_result_int(context, key != nullptr && keys->contains(std::string(key, size)));
}

// From one end to the other, or to the first page that cannot be read.
RecordStore::Result CopyUpToDamage(SqliteConnection& from, SqliteConnection& to) {
  const SqliteStatement read = from.Prepare(kRead);
  const SqliteStatement find = from.Prepare("SELECT IPNUMBER FROM ipcache WHERE IPNAME = ?1");
  if (!read || !find) return from.LastFailure();
  const SqliteStatement insert = to.Prepare("INSERT OR IGNORE INTO ipcache (IPNAME, IPNUMBER) VALUES (?1, ?2)");
  if (!insert) return to.LastFailure();
  while (sqlite3_step(read.get()) == SQLITE_ROW) {
    if (IsRecord(read) && !LookupContradicts(find, read) && !Insert(insert, read)) return to.LastFailure();
  }
  return {};
}

}  // namespace

RecordStore::Result CreateDatabase(const std::string& path) {
  if (!CreatePrivateFile(path)) return {SQLITE_CANTOPEN, sqlite3_errstr(SQLITE_CANTOPEN), false};
  SqliteConnection connection;
  if (RecordStore::Result created = connection.Create(path); created.Failed()) return created;
  return connection.Execute(kCreateTable);
}

bool IsOneTree(SqliteConnection& connection) {
  return connection.Query("SELECT name FROM pragma_table_info('ipcache') WHERE cid = 0") == "IPNAME";
}

RecordStore::Result CopyRecords(SqliteConnection& from, const std::string& newPath, const RecordStore::Keys& useless) {
  const SqliteStatement attach = from.Prepare("ATTACH ?1 AS copy");
  if (!attach || !BindText(attach, 1, newPath) || !Run(attach)) return from.LastFailure();
  const std::string settings = kCopySettings + from.Query("PRAGMA main.user_version");
  if (RecordStore::Result prepared = from.Execute(settings.c_str()); prepared.Failed()) return prepared;
  if (useless.empty()) return from.Execute(IsOneTree(from) ? kCopyTree : kCopyTable);
  sqlite3_create_function(from.Handle(), "is_useless", 1, SQLITE_UTF8, const_cast<RecordStore::Keys*>(&useless),
                          IsUseless, nullptr, nullptr);
  return from.Execute(kCopyUseful);
}

RecordStore::Result CopyReadableRecords(SqliteConnection& from, const std::string& newPath) {
  SqliteConnection to;
  RecordStore::Result result = to.Open(newPath);
  if (!result.Failed()) result = to.Execute(kRescueSettings);
  for (const char* direction : {"PRAGMA reverse_unordered_selects=OFF", "PRAGMA reverse_unordered_selects=ON"}) {
    if (!result.Failed()) result = from.Execute(direction);
    if (!result.Failed()) result = CopyUpToDamage(from, to);
  }
  return result.Failed() ? result : to.Execute("COMMIT");
}

}  // namespace quenvar
