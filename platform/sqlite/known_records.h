// What is known of the records that were looked for lately, so that the database need not be asked again: an answer is
// looked for when its query comes and once more when it is refreshed, and a fresh one several times before it is there.
#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace quenvar {

class KnownRecords {
 public:
  struct Value {
    std::string bytes;
    bool exists = false;
  };
  using Record = std::pair<const std::string, Value>;

  /// Null when nothing is known of the key.
  Record* Find(std::string_view key) {
    const auto found = records_.find(key);
    return found == records_.end() ? nullptr : &*found;
  }

  /// Makes room first, which ends what others point to.
  Record* Add(std::string_view key, Value value) {
    if (records_.size() == kMost) records_.clear();
    return &*records_.insert_or_assign(std::string(key), std::move(value)).first;
  }

  void Clear() { records_.clear(); }

 private:
  /// Some four MiB when all are long.
  static constexpr std::size_t kMost = 8192;

  struct Hash : std::hash<std::string_view> {
    using is_transparent = void;
  };
  std::unordered_map<std::string, Value, Hash, std::equal_to<>> records_;
};

}  // namespace quenvar
