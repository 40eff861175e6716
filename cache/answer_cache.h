// The answer cache: whole answer messages by question name, kept on disk without expiry.
#pragma once

#include <string>
#include <string_view>

namespace quenvar {

/// Opens the cache database in the program directory: makes, repairs, compacts or replaces it as needed. Where all of
/// that fails, a log line says so and the program runs on without a cache.
void OpenCache();

/// The answer stored for a name, found without case. Empty when there is none or its records are broken.
std::string CacheLookup(std::string_view name);

/// Stores or replaces the answer for a name. Failures are ignored.
void CacheStore(std::string_view name, std::string_view value);

/// Throws all entries away: closes the database, deletes its file and makes it anew.
void DeleteWholeCache();

}  // namespace quenvar
