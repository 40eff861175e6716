// A connection to a SQLite file and its prepared statements, closed by going out of scope.
#pragma once

#include <sqlite3.h>

#include <memory>
#include <string>
#include <string_view>

#include "platform/record_store.h"

namespace quenvar {

struct FinalizeStatement {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using SqliteStatement = std::unique_ptr<sqlite3_stmt, FinalizeStatement>;

// The bytes need to stay where they are until the statement has run.
bool BindText(const SqliteStatement& statement, int position, std::string_view text);
bool BindBlob(const SqliteStatement& statement, int position, std::string_view bytes);

/// The bytes of a column, valid until the next step.
std::string_view ColumnBytes(const SqliteStatement& statement, int column);

/// Runs a statement that gives no rows.
bool Run(const SqliteStatement& statement);

class SqliteConnection {
 public:
  using Result = RecordStore::Result;

  SqliteConnection() = default;
  ~SqliteConnection() { Close(); }
  SqliteConnection(const SqliteConnection&) = delete;
  SqliteConnection& operator=(const SqliteConnection&) = delete;

  /// Opens an existing file that is a database and not empty.
  Result Open(const std::string& path);
  /// Opens a file, a new and empty one where none exists.
  Result Create(const std::string& path);
  /// All statements must be finalized before.
  void Close();

  Result Execute(const char* sql);
  /// The first column of the first row as text; empty when there is none.
  std::string Query(const char* sql);
  /// Null on failure, which is then in LastFailure.
  SqliteStatement Prepare(const char* sql);

  /// The failure of the latest call on this connection.
  Result LastFailure() const;
  sqlite3* Handle() const { return connection_; }

 private:
  Result Connect(const std::string& path, int flags);

  sqlite3* connection_ = nullptr;
};

}  // namespace quenvar
