// What is known of the records that were looked for lately, so that the database need not be asked again: an answer is
// looked for when its query comes and once more when it is refreshed, and a fresh one several times before it is there.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>

namespace quenvar {

class KnownRecords {
 public:
  struct Record {
    std::int64_t row = 0;
    std::string value;
    bool exists = false;
  };

  /// Null when nothing is known of the key.
  Record* Find(std::string_view key) {
    const auto found = records_.find(key);
    return found == records_.end() ? nullptr : &found->second;
  }

  /// Makes room first, which ends what others point to.
  Record* Add(std::string_view key, Record record) {
    if (records_.size() == kMost) records_.clear();
    return &(records_[std::string(key)] = std::move(record));
  }

  void Clear() { records_.clear(); }

 private:
  /// Some four MiB when all are long.
  static constexpr std::size_t kMost = 8192;

  struct Hash : std::hash<std::string_view> {
    using is_transparent = void;
  };
  std::unordered_map<std::string, Record, Hash, std::equal_to<>> records_;
};

}  // namespace quenvar
