#include "packaging/resolver/resolv_conf.h"

#include <algorithm>
#include <sstream>
#include <utility>

#include "base/ipv4_text.h"
#include "base/text.h"
#include "settings/address.h"

namespace quenvar {

namespace {

constexpr std::size_t kMostServers = 10;

std::vector<std::string> Words(const std::string& line) {
  std::istringstream stream(line);
  std::vector<std::string> words;
  for (std::string word; stream >> word;) words.push_back(word);
  return words;
}

std::vector<std::string> Lines(const std::string& text) {
  std::istringstream stream(text);
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

// The address of a "nameserver" line; empty for any other one.
std::string ServerOf(const std::string& line) {
  const auto words = Words(line);
  return words.size() >= 2 && words[0] == "nameserver" ? words[1] : "";
}

bool CanBeServer(const std::string& address) {
  return ReadHostAddress(address) && !IsLoopback(address) && ValidateAddress(address).empty();
}

}  // namespace

std::vector<std::string> NameServers(const std::string& text) {
  std::vector<std::string> servers;
  for (const std::string& line : Lines(text))
    if (const std::string server = ServerOf(line); !server.empty()) servers.push_back(server);
  return servers;
}

std::vector<std::string> SearchDomains(const std::string& text) {
  std::vector<std::string> domains;
  for (const std::string& line : Lines(text)) {
    auto words = Words(line);
    if (words.empty() || (words[0] != "search" && words[0] != "domain")) continue;
    words.erase(words.begin());
    domains = std::move(words);
  }
  return domains;
}

bool IsLoopback(const std::string& address) { return address.starts_with("127."); }

std::vector<std::string> UsableServers(const std::vector<std::string>& addresses) {
  std::vector<std::string> usable;
  for (const std::string& address : addresses) {
    const auto isSame = [&](const std::string& known) { return IsSameAddress(known, address); };
    if (!CanBeServer(address) || std::any_of(usable.begin(), usable.end(), isSame)) continue;
    usable.push_back(address);
    if (usable.size() == kMostServers) break;
  }
  return usable;
}

std::string WithLocalFirst(const std::string& text) {
  const std::string local = "nameserver 127.0.0.1\n";
  std::string changed;
  bool isThere = false;
  for (const std::string& line : Lines(text)) {
    const std::string server = ServerOf(line);
    if (!server.empty() && !std::exchange(isThere, true)) changed += local;
    if (server.empty() || !IsLoopback(server)) changed += line + "\n";
  }
  return isThere ? changed : changed + local;
}

std::string GeneratorLine(const std::string& text) {
  for (const std::string& line : Lines(text)) {
    if (!line.starts_with('#') && !line.starts_with(';')) continue;
    if (UpperCase(line).find("GENERATED") != std::string::npos) return line;
  }
  return "";
}

std::vector<LinkSetting> LinkSettings(const std::string& output) {
  std::vector<LinkSetting> settings;
  for (const std::string& line : Lines(output)) {
    // The name of a link may hold any character but blanks and slashes: what ends it is the last character of a word.
    const bool isLink = line.starts_with("Link ");
    if (!isLink && !line.starts_with("Global:")) continue;
    const std::string ended = line + " ";
    const std::size_t colon = ended.find(isLink ? "): " : ": ");
    if (colon == std::string::npos) continue;
    const std::size_t name = isLink ? ended.find('(') + 1 : 0;
    settings.push_back({ended.substr(name, colon - name), std::string(Trim(ended.substr(colon + (isLink ? 3 : 2))))});
  }
  return settings;
}

std::string Printable(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
  return text;
}

}  // namespace quenvar
