// The user who runs Quenvar. What belongs to him is only ever read or written by a child process that has become him.
#pragma once

#include <sys/types.h>

#include <functional>
#include <optional>
#include <string>

namespace quenvar {

struct Account {
  uid_t uid;
  gid_t gid;
  std::string name;
  std::string home;
};

/// The ordinary user with this number; empty for root, for a number without an account, and for one whose home is not
/// his own directory.
std::optional<Account> FindAccount(const std::string& uidText);

/// Gives up root for good, with the user's groups, home and an otherwise fixed environment. False when that failed.
bool BecomeForGood(const Account& account);

/// Runs `task` in a child process that has become the user. Returns the result of the task, 0 to 254, or another number
/// when the child could not be started, has crashed, or has not ended within half a minute.
int RunAs(const Account& account, const std::function<int()>& task);

/// XDG_RUNTIME_DIR of the user while he is logged in, else empty.
std::string RuntimeDirectory(const Account& account);

/// The fixed environment of everything that is started here.
void SetFixedEnvironment();

}  // namespace quenvar
