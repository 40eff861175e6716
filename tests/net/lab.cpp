#include "lab.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <stdexcept>

namespace quenvar::lab {
namespace {

std::array<int, 3> namespaces;

std::string Refused(const std::string& what) { return "the kernel refuses " + what + ": " + std::strerror(errno); }

bool WriteTo(const char* path, const std::string& text) {
  std::ofstream file(path);
  file << text << std::flush;
  return file.good();
}

int OpenCurrentNetwork() { return open("/proc/self/ns/net", O_RDONLY | O_CLOEXEC); }

// As an ordinary user the process becomes root of a user namespace of its own, which may do all the rest.
std::string UnshareRest() {
  constexpr int kRest = CLONE_NEWNS | CLONE_NEWUTS;
  if (unshare(kRest) == 0) return "";
  const std::string uid = std::to_string(getuid());
  const std::string gid = std::to_string(getgid());
  if (unshare(CLONE_NEWUSER | kRest) != 0) return Refused("a user namespace");
  const bool mapped = WriteTo("/proc/self/uid_map", "0 " + uid + " 1") && WriteTo("/proc/self/setgroups", "deny") &&
                      WriteTo("/proc/self/gid_map", "0 " + gid + " 1");
  return mapped ? "" : Refused("to map the user");
}

std::string MakeNetworks() {
  for (int& network : namespaces) {
    if (unshare(CLONE_NEWNET) != 0) return Refused("a network namespace");
    network = OpenCurrentNetwork();
  }
  return "";
}

void Ip(const std::string& commands) {
  FILE* pipe = popen("ip -batch -", "w");
  if (pipe == nullptr) throw std::runtime_error("cannot start ip");
  std::fputs(commands.c_str(), pipe);
  if (pclose(pipe) != 0) throw std::runtime_error("ip failed for:\n" + commands);
}

// Both ends carry the same hardware address and do without ARP: the first datagram to a server does not wait for one,
// so that datagrams arrive in the order in which they were sent. The length fits the largest datagram in one piece.
void LayCable() {
  const std::string end = " address 02:00:00:00:00:53 mtu 65535 arp off";
  const std::string upstream = "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(namespaces[1]);
  {
    Visit visit(Place::Home);
    Ip("link set lo up\nlink add home0 type veth peer name up0 netns " + upstream + "\nlink set home0 up" + end +
       "\naddress add " + kHomeAddress + "/24 dev home0\n");
  }
  std::string commands = "link set lo up\nlink set up0 up" + end + "\n";
  for (int server = 1; server <= 10; ++server) commands += "address add " + ServerAt(server) + "/24 dev up0\n";
  Visit visit(Place::Upstream);
  Ip(commands + "address add " + kStranger + "/24 dev up0\n");
}

// The program's directories lie in memory. The machine's resolver is the first name server, and no file knows the name
// of the host: whatever would be looked up at start is seen upstream.
std::string MakeFiles() {
  const char* source = std::getenv("QUENVAR_PROGRAM");
  std::ifstream program(source == nullptr ? "" : source, std::ios::binary);
  if (!program) throw std::runtime_error("QUENVAR_PROGRAM does not name the program under test");
  if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return Refused("private mounts");
  if (mount("lab", kDirectory, "tmpfs", 0, nullptr) != 0) return Refused("a file system in memory");
  const std::string directory = kDirectory;
  std::ofstream(directory + "/quenvar", std::ios::binary) << program.rdbuf();
  chmod((directory + "/quenvar").c_str(), 0755);
  WriteTo((directory + "/resolv.conf").c_str(), "nameserver " + ServerAt(1) + "\n");
  WriteTo((directory + "/hosts").c_str(), "127.0.0.1 localhost\n");
  for (const char* name : {"resolv.conf", "hosts"})
    mount((directory + "/" + name).c_str(), (std::string("/etc/") + name).c_str(), nullptr, MS_BIND, nullptr);
  return sethostname("unresolvable", 12) == 0 ? "" : Refused("a host name");
}

std::string Prepare() {
  std::string refusal = UnshareRest();
  if (refusal.empty()) refusal = MakeNetworks();
  if (refusal.empty()) refusal = MakeFiles();
  if (refusal.empty()) LayCable();
  return refusal;
}

}  // namespace

std::string ServerAt(int number) { return "10.53.0." + std::to_string(number); }

Visit::Visit(Place place) {
  if (setns(namespaces[static_cast<std::size_t>(place)], CLONE_NEWNET) != 0)
    throw std::runtime_error("cannot enter a network namespace");
}

Visit::~Visit() { setns(namespaces[0], CLONE_NEWNET); }

void LabTest::SetUp() {
  static const std::string refusal = Prepare();
  if (!refusal.empty()) GTEST_SKIP() << "Not tried: " << refusal;
}

}  // namespace quenvar::lab
