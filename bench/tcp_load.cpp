// Asks a name server over TCP, one query at a time, and measures what comes back.
//
//   tcp_load ADDRESS [--queries N] [--per-connection N] [--pid PID]
//
// It opens a new connection after so many queries. The line that it prints is that of measuring.h.
#include <getopt.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "dns_wire.h"
#include "measuring.h"

namespace {

struct Options {
  int queries = 1000;
  int perConnection = 1;
  int pid = 0;
};

Options ReadOptions(int argc, char** argv) {
  static const option kNames[] = {{"queries", required_argument, nullptr, 'q'},
                                  {"per-connection", required_argument, nullptr, 'c'},
                                  {"pid", required_argument, nullptr, 'p'},
                                  {}};
  Options options;
  for (int c; (c = getopt_long(argc, argv, "", kNames, nullptr)) != -1;) {
    if (c == 'q') options.queries = std::atoi(optarg);
    if (c == 'c') options.perConnection = std::max(std::atoi(optarg), 1);
    if (c == 'p') options.pid = std::atoi(optarg);
    if (c == '?') std::exit(2);
  }
  return options;
}

int Connect(const sockaddr_in& server) {
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  const timeval patience = {2, 0};
  setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  if (connect(fd, reinterpret_cast<const sockaddr*>(&server), sizeof server) == 0) return fd;
  close(fd);
  return -1;
}

/// A message over TCP stands behind its length in two bytes (RFC 1035, section 4.2.2).
bool Exchange(int connection, std::string message) {
  message.insert(0, {static_cast<char>(message.size() >> 8), static_cast<char>(message.size() & 0xFF)});
  if (send(connection, message.data(), message.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(message.size()))
    return false;
  unsigned char answer[65536];
  if (recv(connection, answer, 2, MSG_WAITALL) != 2) return false;
  const ssize_t size = answer[0] * 256 + answer[1];
  return recv(connection, answer, static_cast<std::size_t>(size), MSG_WAITALL) == size;
}

bench::Measured Run(const sockaddr_in& server, const Options& options) {
  bench::Measured measured;
  const double cpuBefore = bench::CpuSeconds(options.pid);
  const double start = bench::Now();
  int connection = -1;
  for (int i = 0; i < options.queries; ++i) {
    const double sentAt = bench::Now();
    if (i % options.perConnection == 0) {
      close(connection);
      connection = Connect(server);
    }
    if (Exchange(connection, bench::Query(static_cast<std::uint16_t>(i), "tcp-" + std::to_string(i))))
      measured.latencySeconds.push_back(bench::Now() - sentAt);
  }
  measured.seconds = bench::Now() - start;
  measured.cpuSeconds = bench::CpuSeconds(options.pid) - cpuBefore;
  close(connection);
  return measured;
}

}  // namespace

int main(int argc, char** argv) {
  const Options options = ReadOptions(argc, argv);
  if (optind + 1 != argc) {
    std::fprintf(stderr, "usage: tcp_load ADDRESS [--queries N] [--per-connection N] [--pid PID]\n");
    return 2;
  }
  bench::Print(Run(bench::AddressOrExit(argv[optind], 53), options), options.queries, options.pid);
}
