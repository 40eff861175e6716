// The running process: its version, whether it is the only one, and standard error.
#pragma once

#include <cstdint>
#include <string>

namespace quenvar {

struct Version {
  int major;
  int minor;
  int revision;
};

class Process {
 public:
  virtual ~Process() = default;

  virtual Version ProgramVersion() = 0;
  /// True when another copy of the program runs for this user. Otherwise this copy is the one until it ends.
  virtual bool PreviousInstance() = 0;
  /// Ends the program for an error that nothing handles: closes all sockets and releases the single-instance lock, so
  /// that a new copy can take over at once, reports number and description on standard error and in a box, and exits
  /// with status 1. Nothing is saved. Does not return.
  [[noreturn]] virtual void EndWithRunTimeError(int number, const std::string& description) = 0;
  /// Writes a line to standard error.
  virtual void Report(const std::string& line) = 0;
  /// Seeds the random-number generator behind Random from the system's entropy.
  virtual void Randomize() = 0;
  /// A number at least 0 and below 1.
  virtual double Random() = 0;
  /// Sixteen bits that nobody can foresee, from the system's own random source.
  virtual std::uint16_t SecretNumber() = 0;
};

}  // namespace quenvar
