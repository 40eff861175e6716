// The cache over a real SQLite file in a directory of the test's own.
#pragma once

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "cache/answer_cache.h"
#include "engine/event_log.h"
#include "platform/sqlite/sqlite_record_store.h"
#include "tests/cache/cache_surroundings.h"

namespace quenvar {

inline std::string NewDirectory() {
  std::string path = (std::filesystem::temp_directory_path() / "quenvar-cache-XXXXXX").string();
  return mkdtemp(path.data());
}

/// A value of `size` bytes with code 0 and codes above 127 in it.
inline std::string ValueOf(std::size_t size, unsigned seed = 0) {
  std::string value(size, '\0');
  for (std::size_t i = 0; i < size; ++i) value[i] = static_cast<char>(i * 37 + seed);
  return value;
}

inline std::string Database() { return AppPath + "DNSCACHE.MDB"; }

inline void WriteFile(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
}

inline std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

class Cache : public testing::Test {
 protected:
  ~Cache() override {
    store.Close();
    std::filesystem::remove_all(directory);
  }

  /// All rows of a query from a program of its own, as far as the file is concerned; what fails is the one row.
  std::vector<std::string> Sql(const std::string& sql) {
    store.Flush();
    sqlite3* connection = nullptr;
    std::vector<std::string> rows;
    sqlite3_open(Database().c_str(), &connection);
    const auto add = [](void* list, int columns, char** values, char**) {
      std::string row;
      for (int i = 0; i < columns; ++i) row += (i ? "|" : "") + std::string(values[i] ? values[i] : "NULL");
      static_cast<std::vector<std::string>*>(list)->push_back(row);
      return 0;
    };
    if (sqlite3_exec(connection, sql.c_str(), add, &rows, nullptr) != SQLITE_OK) rows = {sqlite3_errmsg(connection)};
    sqlite3_close(connection);
    return rows;
  }

  std::string Log() { return std::string(LogText()); }

  std::string directory = NewDirectory();
  SqliteRecordStore store{nullptr, nullptr};
  CacheSurroundings surroundings{directory, store};
};

}  // namespace quenvar
