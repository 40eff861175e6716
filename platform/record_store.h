// A database engine as far as the answer cache needs one: a file with one table of keyed records, one unique index, and
// a cursor. Keys and values are bytes, at most 255 each; a longer one is refused.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>

namespace quenvar {

class RecordStore {
 public:
  /// Success, or what went wrong in the numbers and words of the engine.
  struct Result {
    int number = 0;
    std::string description;
    /// The surroundings are at fault, such as a full disk or another program's lock, and not the file.
    bool surroundings = false;
    bool Failed() const { return number != 0; }
  };

  using Keys = std::unordered_set<std::string>;
  using FindKeys = std::function<Keys()>;

  virtual ~RecordStore() = default;

  // Files. Where another program has the file locked, all of these but DeleteFile fail after a moment.

  /// Makes a new file with an empty table, which only its owner may read. Fails where the file is there already.
  virtual Result Create(const std::string& path) = 0;
  /// Finds out whether the structure of the file can be relied on. Fails for a damaged file and for one that is no
  /// database, which are left as they are.
  virtual Result Check(const std::string& path) = 0;
  /// Replaces a closed and damaged file by a new one, built under `workPath`, with the records that can still be read:
  /// the table is read from both ends, and what a look-up of the key contradicts is left out. `sift` is called while
  /// these records are the open table, to delete what is of no use, and says whether it succeeded. Otherwise as
  /// Compact.
  virtual Result Repair(const std::string& path, const std::string& workPath, const std::function<bool()>& sift) = 0;
  /// Replaces a closed file by a compacted copy, built under `workPath`, where anything in the way is deleted first.
  /// The file keeps its owner and permissions. On failure it is as it was and nothing is left under `workPath`.
  /// `findUseless`, which may be empty, is called while its records are the open table, and names those that the copy
  /// goes without; it must not write.
  virtual Result Compact(const std::string& path, const std::string& workPath, const FindKeys& findUseless) = 0;
  /// Opens an existing file. A file without content is no database.
  virtual Result Open(const std::string& path) = 0;
  /// Opens the table in the open file.
  virtual Result OpenTable() = 0;
  /// Allowed also while nothing is open.
  virtual void Close() = 0;
  /// Deletes a file with everything that belongs to it, also while it is open here, or open or locked in another
  /// program; what is still open has to be closed. No record of it can be read after that, whenever the program ends.
  /// Fails when the file could be neither deleted nor emptied.
  virtual Result DeleteFile(const std::string& path) = 0;

  // Records of the open table. All of these fail while no table is open, and change nothing when they fail.

  /// Calls `visit` with each record, in any order; it may Seek, but not write. False when not all could be read.
  virtual bool ForEach(const std::function<void(std::string_view key, std::string_view value)>& visit) = 0;
  /// The smallest key that is greater than `key`, byte by byte. Empty after the last one, and when it could not be
  /// read.
  virtual std::optional<std::string> KeyAfter(std::string_view key) = 0;
  /// Makes the record with exactly this key the current one. Its value stays valid until the next Seek.
  virtual std::optional<std::string_view> Seek(std::string_view key) = 0;
  /// Fails where the key exists.
  virtual bool Insert(std::string_view key, std::string_view value) = 0;
  /// Replaces the value of the current record.
  virtual bool Update(std::string_view value) = 0;
  /// Deletes the current record.
  virtual bool Delete() = 0;

  /// The bytes of all pages of the file that hold records; the largest number when it cannot be told. Pages that
  /// deleted records have left empty do not count: they are used again before the file grows.
  virtual std::uint64_t UsedBytes() = 0;
  /// A number that is kept in the file beside the records and goes into its compacted copies; 0 in a new file.
  virtual std::int32_t Stamp() = 0;
  virtual bool SetStamp(std::int32_t stamp) = 0;

  /// Begins a transaction. What is written until Commit gets into the file as a whole or not at all.
  virtual bool Begin() = 0;
  /// Ends the transaction. What it wrote can be read at once and gets into the file within a second, together with the
  /// transactions around it. False when that failed, and all of these are lost.
  virtual bool Commit() = 0;
  /// Drops the transaction, and with it those before it that are not in the file yet.
  virtual void Rollback() = 0;
};

}  // namespace quenvar
