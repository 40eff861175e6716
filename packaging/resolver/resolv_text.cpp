#include <sstream>

#include "packaging/resolver/writer.h"

namespace quenvar::resolver {

namespace {

constexpr std::size_t kMostServers = 3;

// The first word of a line, and the second one.
std::pair<std::string, std::string> Words(const std::string& line) {
  std::istringstream words(line);
  std::pair<std::string, std::string> found;
  words >> found.first >> found.second;
  return found;
}

}  // namespace

std::vector<std::string> NameserverTexts(const std::string& content) {
  std::vector<std::string> servers;
  std::istringstream lines(content);
  for (std::string line; std::getline(lines, line);)
    if (const auto [key, server] = Words(line); key == "nameserver" && !server.empty()) servers.push_back(server);
  return servers;
}

std::string WithNameservers(const std::string& content, const std::vector<std::string>& servers) {
  std::string changed = "# By quenvar-resolver; \"quenvar-resolver off\" puts the file back as it was.\n";
  for (std::size_t index = 0; index < std::min(servers.size(), kMostServers); ++index)
    changed += "nameserver " + servers[index] + "\n";
  std::istringstream lines(content);
  for (std::string line; std::getline(lines, line);)
    if (Words(line).first != "nameserver") changed += line + "\n";
  return changed;
}

}  // namespace quenvar::resolver
