// Who holds port 53 of this machine, and whether a name server answers there.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace quenvar::resolver {

struct Holder {
  pid_t process = 0;
  uid_t user = 0;
  std::string name;     ///< of the program, as the kernel knows it: at most 15 characters
  std::string program;  ///< the path of its executable file
  pid_t parent = 0;
};

/// The processes that hold UDP or TCP port 53 on any address of this machine.
std::vector<Holder> HoldersOfPort53();

/// The name of a process.
std::string NameOf(pid_t process);

/// Whether a query for `name` that is sent to 127.0.0.1 over UDP gets an answer within two seconds.
bool AnswersHere(const std::string& name);

}  // namespace quenvar::resolver
