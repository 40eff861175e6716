// The three things that the command can be told to do. Each returns its exit status.
#pragma once

#include "packaging/resolver/account.h"
#include "packaging/resolver/words.h"

namespace quenvar {

/// Points this machine at Quenvar, which the user runs.
int On(const Wishes& wishes, const Account& account);

/// Takes back what `on` has changed.
int Off(const Wishes& wishes);

/// Says what is so. 0 when the machine asks 127.0.0.1 first.
int Status(const Wishes& wishes);

}  // namespace quenvar
