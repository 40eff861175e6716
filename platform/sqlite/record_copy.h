// The table of the cache in a SQLite file, and copies of it in a new file: a whole copy, and one of what can still be
// read of a damaged file.
//
// The table is one tree, ordered by its keys. Files of before have a table in the order of writing and an index named
// IPIndex beside it; they are read and written as they are, and their copies have the one tree.
#pragma once

#include <string>

#include "platform/sqlite/sqlite_connection.h"

namespace quenvar {

/// Makes a new file with an empty table, which only its owner may read. Fails where the file is there already.
RecordStore::Result CreateDatabase(const std::string& path);

/// False for the table of before, whether or not its index is there: its fields are in the other order.
bool IsOneTree(SqliteConnection& connection);

/// Copies the records of a sound file, all but those with the keys `useless`, and its stamp into the file with the
/// empty table under `newPath`. What breaks off leaves no usable copy.
RecordStore::Result CopyRecords(SqliteConnection& from, const std::string& newPath, const RecordStore::Keys& useless);

/// The same with those records of a damaged file that can still be read, from one end or the other, and that a look-up
/// of their key does not contradict. Fails where not even the table can be found, and when they could not be written.
RecordStore::Result CopyReadableRecords(SqliteConnection& from, const std::string& newPath);

}  // namespace quenvar
