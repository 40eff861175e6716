#include "packaging/resolver/port.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

namespace quenvar::resolver {

namespace fs = std::filesystem;

namespace {

constexpr int kAnswerMilliseconds = 2000;

// Adds the inode numbers of the sockets with the local port 53 in a table such as /proc/net/udp: those that listen, or
// are not connected.
void AddSockets(const char* table, std::set<std::string>& inodes) {
  std::ifstream lines(table);
  std::string line;
  while (std::getline(lines, line)) {
    std::istringstream fields(line);
    std::string slot, local, remote, state, queues, timer, retransmit, user, timeout, inode;
    fields >> slot >> local >> remote >> state >> queues >> timer >> retransmit >> user >> timeout >> inode;
    const bool waits = state == "0A" || state == "07";  // TCP_LISTEN; an unconnected datagram socket
    if (local.ends_with(":0035") && waits) inodes.insert("socket:[" + inode + "]");
  }
}

bool HoldsOneOf(const fs::path& process, const std::set<std::string>& inodes) {
  std::error_code error;
  for (fs::directory_iterator file(process / "fd", error), end; !error && file != end; file.increment(error)) {
    std::error_code ignored;
    if (inodes.contains(fs::read_symlink(file->path(), ignored).string())) return true;
  }
  return false;
}

pid_t ParentOf(pid_t process) {
  std::ifstream lines("/proc/" + std::to_string(process) + "/status");
  std::string word;
  pid_t parent = 0;
  while (lines >> word)
    if (word == "PPid:") lines >> parent;
  return parent;
}

Holder Describe(pid_t process) {
  const std::string folder = "/proc/" + std::to_string(process);
  struct stat state {};
  stat(folder.c_str(), &state);
  std::error_code ignored;
  return {process, state.st_uid, NameOf(process), fs::read_symlink(folder + "/exe", ignored), ParentOf(process)};
}

// A query for the IPv4 address of `name` (RFC 1035, section 4.1); empty for what is no name.
std::string Query(const std::string& name, std::uint16_t identifier) {
  std::string query{static_cast<char>(identifier >> 8), static_cast<char>(identifier & 0xff)};
  query += std::string("\1\0\0\1\0\0\0\0\0\0", 10);
  std::istringstream labels(name);
  std::string label;
  while (std::getline(labels, label, '.')) {
    if (label.empty() || label.size() > 63) return "";
    query += static_cast<char>(label.size()) + label;
  }
  return query + std::string("\0\0\1\0\1", 5);
}

}  // namespace

std::string NameOf(pid_t process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/comm");
  std::string name;
  std::getline(file, name);
  return name;
}

std::vector<Holder> HoldersOfPort53() {
  std::set<std::string> inodes;
  for (const char* const table : {"/proc/net/udp", "/proc/net/udp6", "/proc/net/tcp", "/proc/net/tcp6"})
    AddSockets(table, inodes);
  std::vector<Holder> holders;
  std::error_code error;
  for (fs::directory_iterator entry("/proc", error), end; !error && entry != end; entry.increment(error)) {
    const std::string number = entry->path().filename();
    if (number.find_first_not_of("0123456789") != std::string::npos || !HoldsOneOf(entry->path(), inodes)) continue;
    holders.push_back(Describe(std::stoi(number)));
  }
  return holders;
}

// Without MATCHQUESTION, an answer from the cache has another identifier; that it comes is all that counts here.
bool AnswersHere(const std::string& name) {
  std::uint16_t identifier = 0;
  if (getrandom(&identifier, sizeof identifier, 0) != sizeof identifier) return false;
  const std::string query = Query(name, identifier);
  const int socketHere = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  sockaddr_in here{};
  here.sin_family = AF_INET;
  here.sin_port = htons(53);
  here.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  char answer[4096];
  pollfd event = {socketHere, POLLIN, 0};
  const bool answered = socketHere != -1 && !query.empty() &&
                        connect(socketHere, reinterpret_cast<sockaddr*>(&here), sizeof here) == 0 &&
                        send(socketHere, query.data(), query.size(), 0) == static_cast<ssize_t>(query.size()) &&
                        poll(&event, 1, kAnswerMilliseconds) == 1 && recv(socketHere, answer, sizeof answer, 0) > 12;
  if (socketHere != -1) close(socketHere);
  return answered;
}

}  // namespace quenvar::resolver
