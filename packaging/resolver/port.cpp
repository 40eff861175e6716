#include "packaging/resolver/port.h"

#include <arpa/inet.h>
#include <dirent.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include "base/ipv4_text.h"
#include "packaging/resolver/say.h"

namespace quenvar {

namespace fs = std::filesystem;

namespace {

constexpr const char* kPort = ":0035";
constexpr const char* kListening = "0A";
constexpr const char* kAnyIpv6 = "00000000000000000000000000000000";

std::string LinkTarget(const fs::path& path) {
  std::error_code error;
  return fs::read_symlink(path, error).string();
}

// The address in the kernel's table, in the byte order of the machine; a socket of all IPv6 addresses has all of IPv4
// too.
std::string AddressOf(const std::string& digits) {
  if (digits == kAnyIpv6) return "0.0.0.0";
  return digits.size() == 8 ? Ipv4Text(ntohl(static_cast<std::uint32_t>(std::stoul(digits, nullptr, 16)))) : "";
}

// The address of each socket on port 53, by the number of the socket.
std::map<std::string, std::string> SocketsOnPort() {
  std::map<std::string, std::string> sockets;
  for (const char* const table : {"udp", "udp6", "tcp", "tcp6"}) {
    std::ifstream file(std::string("/proc/net/") + table);
    for (std::string line; std::getline(file, line);) {
      std::istringstream words(line);
      std::string slot, local, remote, state, queues, timer, retransmits, uid, timeout, inode;
      words >> slot >> local >> remote >> state >> queues >> timer >> retransmits >> uid >> timeout >> inode;
      if (!local.ends_with(kPort) || (table[0] == 't' && state != kListening)) continue;
      if (const std::string address = AddressOf(local.substr(0, local.find(':'))); !address.empty())
        sockets.emplace("socket:[" + inode + "]", address);
    }
  }
  return sockets;
}

pid_t ParentOf(const std::string& process) {
  std::ifstream file("/proc/" + process + "/status");
  for (std::string word; file >> word;)
    if (pid_t parent = 0; word == "PPid:" && file >> parent) return parent;
  return 0;
}

std::string ProgramOf(const std::string& process) {
  const std::string path = LinkTarget("/proc/" + process + "/exe");
  return path.substr(0, path.find(" (deleted)"));  // of a program that was upgraded while it ran
}

void DescribeHolder(const std::string& process, PortHolder& holder) {
  struct stat state {};
  if (stat(("/proc/" + process).c_str(), &state) == 0) holder.uid = state.st_uid;
  holder.process = std::stoi(process);
  holder.program = ProgramOf(process);
  holder.parent = ProgramOf(std::to_string(ParentOf(process)));
}

void FindHolders(const std::string& process, std::map<std::string, PortHolder>& holders) {
  std::error_code error;
  for (const auto& entry : fs::directory_iterator("/proc/" + process + "/fd", error))
    if (const auto found = holders.find(LinkTarget(entry.path())); found != holders.end())
      DescribeHolder(process, found->second);
}

// A query of one question of type A (RFC 1035, section 4).
std::string Query(const std::string& name) {
  std::string query("Qr\1\0\0\1\0\0\0\0\0\0", 12);
  std::istringstream labels(name);
  for (std::string label; std::getline(labels, label, '.');)
    if (!label.empty()) query += static_cast<char>(label.size() & 63) + label;
  return query + std::string("\0\0\1\0\1", 5);
}

// The identifier is not looked at: by its plain rules Quenvar answers with that of another query.
bool IsAnswer(const char* message, ssize_t size) {
  const int code = size >= 12 ? message[3] & 15 : -1;
  return size >= 12 && (message[2] & 0x80) != 0 && (code == 0 || code == 3);
}

bool AskOnce(std::uint32_t address, const std::string& query, int milliseconds) {
  const int opened = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  const sockaddr_in server{AF_INET, htons(53), {htonl(address)}, {}};
  char message[1500];
  bool answered = false;
  if (connect(opened, reinterpret_cast<const sockaddr*>(&server), sizeof server) == 0 &&
      send(opened, query.data(), query.size(), 0) > 0) {
    pollfd waiting{opened, POLLIN, 0};
    if (poll(&waiting, 1, milliseconds) == 1) answered = IsAnswer(message, recv(opened, message, sizeof message, 0));
  }
  close(opened);
  return answered;
}

}  // namespace

std::vector<PortHolder> PortHolders() {
  std::map<std::string, PortHolder> byNumber;
  for (const auto& [number, address] : SocketsOnPort()) byNumber[number].address = address;
  std::error_code error;
  if (!byNumber.empty())
    for (const auto& entry : fs::directory_iterator("/proc", error))
      if (const std::string name = entry.path().filename(); name.find_first_not_of("0123456789") == std::string::npos)
        FindHolders(name, byNumber);
  std::vector<PortHolder> holders;
  for (auto& [number, holder] : byNumber) holders.push_back(std::move(holder));
  return holders;
}

bool IsHeldAt(const std::string& address) {
  for (const auto& [number, held] : SocketsOnPort())
    if (held == address) return true;
  return false;
}

bool WaitForAnswer(const std::string& address, const std::string& name, std::chrono::milliseconds limit,
                   bool interruptible) {
  const auto end = std::chrono::steady_clock::now() + limit;
  const std::uint32_t server = ReadHostAddress(address).value_or(INADDR_LOOPBACK);
  const std::string query = Query(name);
  do {
    if (AskOnce(server, query, 1000)) return true;
    usleep(100'000);
  } while (!(interruptible && Interrupted()) && std::chrono::steady_clock::now() < end);
  return false;
}

}  // namespace quenvar
