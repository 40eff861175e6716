#include "lab.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <system_error>

namespace quenvar::lab {
namespace fs = std::filesystem;

namespace {

std::array<int, 3> namespaces;

// As an ordinary user the process becomes root of a user namespace of its own, which may do all the rest.
void MakeNamespaces() {
  constexpr int kMountsAndHostName = CLONE_NEWNS | CLONE_NEWUTS;
  const std::string user = "0 " + std::to_string(getuid()) + " 1";
  const std::string group = "0 " + std::to_string(getgid()) + " 1";
  if (unshare(kMountsAndHostName) != 0) {
    Require(unshare(CLONE_NEWUSER | kMountsAndHostName) == 0, "a user namespace");
    WriteFile("/proc/self/uid_map", user);
    WriteFile("/proc/self/setgroups", "deny");
    WriteFile("/proc/self/gid_map", group);
  }
  for (int& network : namespaces) {
    Require(unshare(CLONE_NEWNET) == 0, "a network namespace");
    network = open("/proc/self/ns/net", O_RDONLY | O_CLOEXEC);
  }
}

void MountFileSystem() {
  Require(mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0, "private mounts");
  Require(mount("lab", kDirectory.c_str(), "tmpfs", 0, nullptr) == 0, "a file system in memory");
  Require(sethostname("unresolvable", 12) == 0, "a host name");
}

// The machine's resolver is the first name server, and no file knows the name of the host: whatever would be looked up
// at start is seen upstream.
void MakeFiles() {
  const char* program = std::getenv("QUENVAR_PROGRAM");
  fs::copy_file(program == nullptr ? "QUENVAR_PROGRAM is not set" : program, kDirectory / "quenvar");
  WriteFile(kDirectory / "resolv.conf", "nameserver " + ServerAt(1) + "\n");
  WriteFile(kDirectory / "hosts", "127.0.0.1 localhost\n");
  for (const fs::path name : {"resolv.conf", "hosts"})
    mount((kDirectory / name).c_str(), ("/etc" / name).c_str(), nullptr, MS_BIND, nullptr);
}

void Ip(Place place, const std::string& commands) {
  Enter(place);
  WriteFile(kDirectory / "cable", commands);
  Require(std::system("ip -batch /mnt/cable") == 0, commands);
}

// Both ends carry the same hardware address and do without ARP: the first datagram to a server does not wait for one,
// so that datagrams arrive in the order in which they were sent. The length fits the largest datagram in one piece.
void LayCable() {
  const std::string up = " up address 02:00:00:00:00:53 mtu 65535 arp off\n";
  const std::string upstream = "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(namespaces[1]);
  std::string addresses = "address add " + kStranger + "/24 dev up0\n";
  for (int server = 1; server <= 10; ++server) addresses += "address add " + ServerAt(server) + "/24 dev up0\n";
  Ip(Place::Home, "link set lo up\nlink add home0 type veth peer name up0 netns " + upstream + "\nlink set home0" + up +
                      "address add 10.53.0.100/24 dev home0\n");
  Ip(Place::Upstream, "link set lo up\nlink set up0" + up + addresses);
  Enter(Place::Home);
}

class Lab : public testing::Environment {
  void SetUp() override {
    try {
      MakeNamespaces();
      MountFileSystem();
    } catch (const std::system_error& refusal) {
      GTEST_SKIP() << "[  SKIPPED ] Not tried: " << refusal.what() << "\n";
    }
    MakeFiles();
    LayCable();
  }
};

const testing::Environment* const lab = testing::AddGlobalTestEnvironment(new Lab);

}  // namespace

void Require(bool done, const std::string& what) {
  if (!done) throw std::system_error(errno, std::generic_category(), "cannot have " + what);
}

void Enter(Place place) {
  Require(setns(namespaces[static_cast<std::size_t>(place)], CLONE_NEWNET) == 0, "another network namespace");
}

std::string ServerAt(int number) { return "10.53.0." + std::to_string(number); }

std::string ReadFile(const fs::path& path) {
  std::ostringstream content;
  content << std::ifstream(path, std::ios::binary).rdbuf();
  return content.str();
}

void WriteFile(const fs::path& path, const std::string& content) { std::ofstream(path, std::ios::binary) << content; }

std::string Output(const std::string& command) {
  const bool done = std::system((command + " >/mnt/output 2>/dev/null").c_str()) == 0;
  return done ? ReadFile(kDirectory / "output") : "";
}

}  // namespace quenvar::lab
