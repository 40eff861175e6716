// The text of resolv.conf(5), and what systemd-resolved prints of its links. What stands there may have come over the
// network from anybody.
#pragma once

#include <string>
#include <vector>

namespace quenvar {

/// The addresses in its "nameserver" lines, as they are written.
std::vector<std::string> NameServers(const std::string& text);

/// The words of its last "search" or "domain" line.
std::vector<std::string> SearchDomains(const std::string& text);

/// True for every text that begins with "127.".
bool IsLoopback(const std::string& address);

/// Those of `addresses` that can be rows of Quenvar's list, each one once, at most ten. The own addresses have to be
/// known (engine/own_addresses.h).
std::vector<std::string> UsableServers(const std::vector<std::string>& addresses);

/// The text with a line for 127.0.0.1 in front of its other name servers. Lines for loopback addresses go away.
std::string WithLocalFirst(const std::string& text);

/// The comment line in which a program says that it has written the text; empty where there is none.
std::string GeneratorLine(const std::string& text);

/// A link, or "Global", and what was printed for it.
struct LinkSetting {
  std::string link;
  std::string value;
};

/// Reads lines such as "Link 2 (eth0): no" and "Global: no". Other lines are left out.
std::vector<LinkSetting> LinkSettings(const std::string& output);

/// The text with every byte that is not a printable ASCII character as "?".
std::string Printable(std::string text);

}  // namespace quenvar
