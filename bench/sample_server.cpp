// A name server for trying things out: it answers every question with the same address, after a fixed time. Questions
// over TCP are answered at once, one connection after the other.
//
//   sample_server ADDRESS... [--port N] [--delay MILLISECONDS] [--answer ADDRESS] [--silent | --echo]
//
// The addresses are where it listens. A silent server receives and says nothing. An echo sends back at once what it
// gets.
#include <getopt.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <thread>
#include <vector>

#include "dns_wire.h"

namespace {

using Time = std::chrono::steady_clock;

struct Options {
  std::uint16_t port = 53;
  std::chrono::milliseconds delay{0};
  const char* answer = "192.0.2.1";
  bool silent = false;
  bool echo = false;
};

struct Reply {
  Time::time_point due;
  int fd;
  sockaddr_in client;
  std::string bytes;
};

Options ReadOptions(int argc, char** argv) {
  static const option kNames[] = {
      {"port", required_argument, nullptr, 'p'},   {"delay", required_argument, nullptr, 'd'},
      {"answer", required_argument, nullptr, 'a'}, {"silent", no_argument, nullptr, 's'},
      {"echo", no_argument, nullptr, 'e'},         {}};
  Options options;
  for (int c; (c = getopt_long(argc, argv, "", kNames, nullptr)) != -1;) {
    if (c == 'p') options.port = static_cast<std::uint16_t>(std::atoi(optarg));
    if (c == 'd') options.delay = std::chrono::milliseconds(std::atoi(optarg));
    if (c == 'a') options.answer = optarg;
    if (c == 's') options.silent = true;
    if (c == 'e') options.echo = true;
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

void Send(int fd, const std::string& bytes, const sockaddr_in& client) {
  sendto(fd, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&client), sizeof client);
}

void SendDue(std::deque<Reply>& replies) {
  for (; !replies.empty() && replies.front().due <= Time::now(); replies.pop_front()) {
    Send(replies.front().fd, replies.front().bytes, replies.front().client);
  }
}

void Receive(int fd, const Options& options, const in_addr& answer, std::deque<Reply>& replies) {
  static char buffer[65536];
  for (;;) {
    sockaddr_in client;
    socklen_t length = sizeof client;
    const ssize_t size = recvfrom(fd, buffer, sizeof buffer, 0, reinterpret_cast<sockaddr*>(&client), &length);
    if (size < 0) return;
    const std::string query(buffer, static_cast<std::size_t>(size));
    if (options.echo)
      Send(fd, query, client);
    else if (!options.silent)
      replies.push_back({Time::now() + options.delay, fd, client, bench::AnswerTo(query, answer)});
  }
}

/// A message over TCP stands behind its length in two bytes (RFC 1035, section 4.2.2).
bool AnswerOne(int connection, const in_addr& answer) {
  unsigned char length[2];
  if (recv(connection, length, sizeof length, MSG_WAITALL) != sizeof length) return false;
  std::string query(static_cast<std::size_t>(length[0] * 256 + length[1]), '\0');
  if (recv(connection, query.data(), query.size(), MSG_WAITALL) != static_cast<ssize_t>(query.size())) return false;
  std::string reply = bench::AnswerTo(query, answer);
  reply.insert(0, {static_cast<char>(reply.size() >> 8), static_cast<char>(reply.size() & 0xFF)});
  return send(connection, reply.data(), reply.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(reply.size());
}

void AnswerOverTcp(sockaddr_in local, in_addr answer) {
  const int listener = socket(AF_INET, SOCK_STREAM, 0);
  const int on = 1;
  setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  if (bind(listener, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0 || listen(listener, SOMAXCONN) != 0)
    return std::perror("sample_server");
  for (;;) {
    const int connection = accept(listener, nullptr, nullptr);
    while (AnswerOne(connection, answer)) continue;
    close(connection);
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
  if (optind == argc) {
    std::fprintf(stderr,
                 "usage: sample_server ADDRESS... [--port N] [--delay MS] [--answer ADDRESS] [--silent | --echo]\n");
    return 2;
  }
  const in_addr answer = bench::AddressOrExit(options.answer, 0).sin_addr;
  std::vector<pollfd> arrivals;
  for (; optind < argc; ++optind) {
    const sockaddr_in local = bench::AddressOrExit(argv[optind], options.port);
    arrivals.push_back({OpenSocket(local), POLLIN, 0});
    if (!options.silent && !options.echo) std::thread(AnswerOverTcp, local, answer).detach();
  }
  std::deque<Reply> replies;
  for (;;) {
    poll(arrivals.data(), arrivals.size(), MillisecondsUntilDue(replies));
    for (const pollfd& arrival : arrivals)
      if (arrival.revents != 0) Receive(arrival.fd, options, answer, replies);
    SendDue(replies);
  }
}
