// The answer cache: whole answer messages by question name, kept on disk without expiry.
//
// A message is longer than a field of the database, so it is kept as a chain of records under 255-byte fields. The
// first record's key is the upper-cased name. A record begins with a byte that says what it is:
//   code 0: the last record; the rest of the message follows,
//   code 1: 249 bytes of the message follow, then the five-byte key of the next record.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "platform/record_store.h"

namespace quenvar {

/// Opens the cache database in the program directory: makes, repairs, compacts or replaces it as needed. A line on
/// standard error says how many names a repair saved. Where all of that fails, a log line says so and the program runs
/// on without a cache. `findUseless`, which may be empty, names the records that compaction leaves out.
void OpenCache(const RecordStore::FindKeys& findUseless = {});

/// Makes an empty database. A failure shows when it is opened.
void CreateCache();

/// Closes the database; look-ups then find nothing and stores do nothing.
void CloseCache();

/// Throws all entries away: deletes the database's file, also while another program has it locked, and makes it anew.
/// No entry of before is given from then on, whenever the program ends. Where the file cannot be deleted, a log line
/// says so and the program runs on without a cache.
void DeleteWholeCache();

/// Asks the user, and throws all entries away when he says so.
void ConfirmAndDeleteCache();

/// The answer stored for a name, found without case. Empty when there is none or its records are broken.
std::string CacheLookup(std::string_view name);

/// Stores or replaces the answer for a name, as a whole or, on failure, not at all. Failures are ignored.
void CacheStore(std::string_view name, std::string_view value);

/// Removes the answer for a name, as a whole or, on failure, not at all.
void CacheRemove(std::string_view name);

/// Removes a record and those that continue it. False when the database refused.
bool CacheDeleteChain(std::string_view key);

/// Writes one record, `piece` being its bytes with the leading code, in place of any chain under that key. False when
/// the database refused.
bool CacheInsertRecord(std::string_view key, std::string_view piece);

/// Deletes every record that is not part of a whole answer: of one whose chain has all its records, each of the form
/// above, and which was stored under the name that it asks for itself. Returns the number of answers left; empty when
/// the database refused.
std::optional<std::size_t> CacheKeepWholeAnswers();

/// A key of five random bytes, none of them 0, under which no answer is stored.
std::string NewContinuationKey();

}  // namespace quenvar
