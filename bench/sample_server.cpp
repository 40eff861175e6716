// A name server for trying things out: it answers every question with the same address, after a fixed time.
//
//   sample_server ADDRESS [--port N] [--delay MILLISECONDS] [--answer ADDRESS] [--silent]
//
// ADDRESS is where it listens. A silent server receives and says nothing.
#include <getopt.h>
#include <poll.h>
#include <sys/socket.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <deque>

#include "dns_wire.h"

namespace {

using Time = std::chrono::steady_clock;

struct Options {
  std::uint16_t port = 53;
  std::chrono::milliseconds delay{0};
  const char* answer = "192.0.2.1";
  bool silent = false;
};

struct Reply {
  Time::time_point due;
  sockaddr_in client;
  std::string bytes;
};

Options ReadOptions(int argc, char** argv) {
  static const option kNames[] = {{"port", required_argument, nullptr, 'p'},
                                  {"delay", required_argument, nullptr, 'd'},
                                  {"answer", required_argument, nullptr, 'a'},
                                  {"silent", no_argument, nullptr, 's'},
                                  {}};
  Options options;
  for (int c; (c = getopt_long(argc, argv, "", kNames, nullptr)) != -1;) {
    if (c == 'p') options.port = static_cast<std::uint16_t>(std::atoi(optarg));
    if (c == 'd') options.delay = std::chrono::milliseconds(std::atoi(optarg));
    if (c == 'a') options.answer = optarg;
    if (c == 's') options.silent = true;
    if (c == '?') std::exit(2);
  }
  return options;
}

int OpenSocket(const sockaddr_in& local) {
  const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK, 0);
  const int bufferBytes = 4 << 20;
  setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &bufferBytes, sizeof bufferBytes);
  if (bind(fd, reinterpret_cast<const sockaddr*>(&local), sizeof local) == 0) return fd;
  std::perror("sample_server");
  std::exit(1);
}

void SendDue(int fd, std::deque<Reply>& replies) {
  for (; !replies.empty() && replies.front().due <= Time::now(); replies.pop_front()) {
    const Reply& reply = replies.front();
    sendto(fd, reply.bytes.data(), reply.bytes.size(), 0, reinterpret_cast<const sockaddr*>(&reply.client),
           sizeof reply.client);
  }
}

/// How long poll may wait; rounded up, so that a reply that is almost due does not make it spin.
int MillisecondsUntilDue(const std::deque<Reply>& replies) {
  if (replies.empty()) return -1;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(replies.front().due - Time::now()).count();
  return left < 0 ? 0 : static_cast<int>(left);
}

}  // namespace

int main(int argc, char** argv) {
  const Options options = ReadOptions(argc, argv);
  if (optind + 1 != argc) {
    std::fprintf(stderr, "usage: sample_server ADDRESS [--port N] [--delay MS] [--answer ADDRESS] [--silent]\n");
    return 2;
  }
  const in_addr answer = bench::AddressOrExit(options.answer, 0).sin_addr;
  pollfd arrival = {OpenSocket(bench::AddressOrExit(argv[optind], options.port)), POLLIN, 0};
  std::deque<Reply> replies;
  static char buffer[65536];
  for (;;) {
    poll(&arrival, 1, MillisecondsUntilDue(replies));
    for (;;) {
      sockaddr_in client;
      socklen_t length = sizeof client;
      const ssize_t size =
          recvfrom(arrival.fd, buffer, sizeof buffer, 0, reinterpret_cast<sockaddr*>(&client), &length);
      if (size < 0) break;
      if (options.silent) continue;
      const std::string query(buffer, static_cast<std::size_t>(size));
      replies.push_back({Time::now() + options.delay, client, bench::AnswerTo(query, answer)});
    }
    SendDue(arrival.fd, replies);
  }
}
