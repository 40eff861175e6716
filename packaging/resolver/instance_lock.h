// The lock by which one user's copies of Quenvar know of each other, in the form that QLockFile gives it.
#pragma once

#include <string>

namespace quenvar {

/// Held from the construction on until the end, unless a running copy holds it or the file cannot be made.
class InstanceLock {
 public:
  explicit InstanceLock(const std::string& path);
  ~InstanceLock();
  InstanceLock(const InstanceLock&) = delete;
  InstanceLock& operator=(const InstanceLock&) = delete;

  /// A running copy holds it.
  bool IsHeldByOther() const { return state_ == State::Other; }

 private:
  enum class State { None, Own, Other };

  State Take();

  const std::string path_;
  int file_ = -1;
  State state_ = State::Other;
};

}  // namespace quenvar
