// Asks a name server for fresh names and measures what comes back.
//
//   load_generator ADDRESS [--queries N] [--outstanding N] [--rate QUERIES_PER_SECOND] [--names N] [--pid PID]
//
// With --names it asks for the same N names over and over, in every run, each with an identifier of its own, so that an
// answer is recognised also when it was stored for an earlier query. Without a rate it asks as fast as answers come,
// with at most `outstanding` queries under way. The kernel's time of arrival ends a query's wait, so that it does not
// matter who else wants the core then. With --pid it reads the CPU time of that process before and after, so
// it must run where that process can be seen. It prints one line (measuring.h).
#include <getopt.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "dns_wire.h"
#include "measuring.h"

namespace {

constexpr double kGiveUpSeconds = 2;
/// From one known name to the next: a prime, so that all have their turn, and far enough that none is found beside the
/// one before.
constexpr std::int64_t kStride = 65537;

struct Options {
  int queries = 20000;
  int outstanding = 100;
  double rate = 0;
  int names = 0;
  int pid = 0;
};

using bench::CpuSeconds;
using bench::Measured;
using bench::Now;
using bench::WallClock;

Options ReadOptions(int argc, char** argv) {
  static const option kNames[] = {
      {"queries", required_argument, nullptr, 'q'}, {"outstanding", required_argument, nullptr, 'o'},
      {"rate", required_argument, nullptr, 'r'},    {"names", required_argument, nullptr, 'n'},
      {"pid", required_argument, nullptr, 'p'},     {}};
  Options options;
  for (int c; (c = getopt_long(argc, argv, "", kNames, nullptr)) != -1;) {
    if (c == 'q') options.queries = std::atoi(optarg);
    if (c == 'o') options.outstanding = std::clamp(std::atoi(optarg), 1, 65535);
    if (c == 'r') options.rate = std::atof(optarg);
    if (c == 'n') options.names = std::max(std::atoi(optarg), 0);
    if (c == 'p') options.pid = std::atoi(optarg);
    if (c == '?') std::exit(2);
  }
  return options;
}

int OpenSocket(const sockaddr_in& server) {
  const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK, 0);
  const int bufferBytes = 4 << 20;
  setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &bufferBytes, sizeof bufferBytes);
  const int on = 1;
  setsockopt(fd, SOL_SOCKET, SO_TIMESTAMPNS, &on, sizeof on);
  if (connect(fd, reinterpret_cast<const sockaddr*>(&server), sizeof server) == 0) return fd;
  std::perror("load_generator");
  std::exit(1);
}

// Empties what has arrived at the socket, datagram by datagram.
class Arrivals {
 public:
  explicit Arrivals(int fd) : fd_(fd) {}

  /// Seconds on the wall clock at which the next datagram arrived; NaN when there is none.
  double Next() {
    msghdr header = {};
    header.msg_iov = &data_;
    header.msg_iovlen = 1;
    header.msg_control = control_;
    header.msg_controllen = sizeof control_;
    if (recvmsg(fd_, &header, 0) < 2) return std::nan("");
    const cmsghdr* const stamp = CMSG_FIRSTHDR(&header);
    return stamp != nullptr ? bench::Seconds(*reinterpret_cast<const timespec*>(CMSG_DATA(stamp))) : std::nan("");
  }

  std::size_t Identifier() const { return static_cast<std::size_t>(message_[0] * 256 + message_[1]); }

 private:
  int fd_;
  unsigned char message_[65536];
  alignas(cmsghdr) char control_[CMSG_SPACE(sizeof(timespec))];
  iovec data_ = {message_, sizeof message_};
};

class Generator {
 public:
  Generator(int fd, const Options& options) : fd_(fd), options_(options) {}

  Measured Run() {
    const double cpuBefore = CpuSeconds(options_.pid);
    const double start = lastAnswer_ = Now();
    while (answered_ < options_.queries && Now() - lastAnswer_ < kGiveUpSeconds) {
      while (MaySend(start)) Ask();
      WaitForAnswer(start);
      Collect();
    }
    measured_.seconds = lastAnswer_ - start;
    measured_.cpuSeconds = CpuSeconds(options_.pid) - cpuBefore;
    return measured_;
  }

 private:
  double NextSendTime(double start) const { return options_.rate > 0 ? start + sent_ / options_.rate : start; }

  bool MaySend(double start) const {
    return sent_ < options_.queries && sent_ - answered_ < options_.outstanding && NextSendTime(start) <= Now();
  }

  void Ask() {
    // The process number keeps the fresh names of one run apart from those of the run before.
    static const std::string run = options_.names > 0 ? "known-" : "bench-" + std::to_string(getpid()) + "-";
    const int number = options_.names > 0 ? static_cast<int>(sent_ * kStride % options_.names) : sent_;
    const auto identifier = static_cast<std::uint16_t>(number);
    const std::string query = bench::Query(identifier, run + std::to_string(number));
    ++sent_;
    sentAt_[identifier] = WallClock();
    if (send(fd_, query.data(), query.size(), 0) < 0) std::perror("load_generator");
  }

  void WaitForAnswer(double start) {
    pollfd arrival = {fd_, POLLIN, 0};
    const bool paced = options_.rate > 0 && sent_ < options_.queries;
    const double wait = paced ? std::max(0.0, NextSendTime(start) - Now()) : kGiveUpSeconds;
    const timespec limit = {static_cast<time_t>(wait), static_cast<long>(1e9 * (wait - std::floor(wait)))};
    ppoll(&arrival, 1, &limit, nullptr);
  }

  void Collect() {
    for (double arrival; !std::isnan(arrival = arrivals_.Next());) {
      double& sentAt = sentAt_[arrivals_.Identifier()];
      if (sentAt == 0) continue;
      measured_.latencySeconds.push_back(arrival - sentAt);
      sentAt = 0;
      lastAnswer_ = Now();
      ++answered_;
    }
  }

  int fd_;
  Arrivals arrivals_{fd_};
  Options options_;
  Measured measured_;
  std::vector<double> sentAt_ = std::vector<double>(65536);
  double lastAnswer_ = 0;
  int sent_ = 0;
  int answered_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
  const Options options = ReadOptions(argc, argv);
  if (optind + 1 != argc) {
    std::fprintf(stderr,
                 "usage: load_generator ADDRESS [--queries N] [--outstanding N] [--rate N] [--names N] [--pid PID]\n");
    return 2;
  }
  bench::Print(Generator(OpenSocket(bench::AddressOrExit(argv[optind], 53)), options).Run(), options.queries,
               options.pid);
}
