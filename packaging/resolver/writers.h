// Who writes /etc/resolv.conf, and what has to be changed so that the machine asks 127.0.0.1.
#pragma once

#include <string>
#include <vector>

#include "packaging/resolver/change.h"

namespace quenvar {

inline constexpr const char* kResolvConf = "/etc/resolv.conf";

struct Plan {
  std::string writer;                  ///< in words
  std::string refusal;                 ///< why nothing can be changed; empty when something can
  std::vector<std::string> servers;    ///< the name servers in use, as they are written
  std::vector<std::string> questions;  ///< what may go wrong and has to be agreed to
  std::vector<std::string> limits;     ///< what cannot be had with this writer
  std::vector<Change> freeing;         ///< takes other programs off port 53, in this order
  std::vector<Change> switching;       ///< puts 127.0.0.1 in front, once Quenvar answers
};

/// Looks only; changes nothing.
Plan MakePlan(const Account& account);

/// The text that programs read as /etc/resolv.conf now.
std::string ResolvConfText();

}  // namespace quenvar
