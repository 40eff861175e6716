// Who holds port 53 of this machine, and whether a name server answers there.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

namespace quenvar {

/// A program with a socket on port 53, UDP or TCP.
struct PortHolder {
  std::string address;  ///< dotted decimal text
  pid_t process = 0;    ///< 0 when it is not known
  uid_t uid = 0;
  std::string program;  ///< path of its executable; empty when it is not known
  std::string parent;   ///< that of the process that has started it
};

/// All that keep Quenvar from opening port 53 of all IPv4 addresses, or are Quenvar itself.
std::vector<PortHolder> PortHolders();

/// Something listens on exactly this address.
bool IsHeldAt(const std::string& address);

/// Asks the name server at this address for a name until it has given an answer, found or not found. False when the
/// time is over or, while `interruptible`, an interruption has come.
bool WaitForAnswer(const std::string& address, const std::string& name, std::chrono::milliseconds limit,
                   bool interruptible);

}  // namespace quenvar
