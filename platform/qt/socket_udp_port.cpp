#include "platform/qt/socket_udp_port.h"

#include <sys/socket.h>
#include <unistd.h>

#include <QSocketNotifier>
#include <algorithm>
#include <cerrno>

#include "base/ipv4_text.h"
#include "platform/posix/bound_socket.h"
#include "platform/qt/qt_event_loop.h"

namespace quenvar {

namespace {

/// After so many inboxes in a row the other events have their turn.
constexpr int kFills = 2;
/// One lost answer holds a pending request for 40 seconds, so bursts wait in the kernel.
constexpr int kBufferBytes = 4 * 1024 * 1024;

int ErrorNumber(int error) { return error == EADDRINUSE ? kErrorAddressInUse : error; }

// The forced size may pass the system's limit, and needs root; the plain one is cut to that limit.
void SetBuffer(int socket, int forcedOption, int option) {
  if (setsockopt(socket, SOL_SOCKET, forcedOption, &kBufferBytes, sizeof kBufferBytes) != 0)
    setsockopt(socket, SOL_SOCKET, option, &kBufferBytes, sizeof kBufferBytes);
}

std::uint16_t PortOf(int socket) {
  sockaddr_in local{};
  socklen_t size = sizeof local;
  getsockname(socket, reinterpret_cast<sockaddr*>(&local), &size);
  return ntohs(local.sin_port);
}

sockaddr_in SocketAddress(std::uint32_t address, std::uint16_t port) {
  sockaddr_in result{};
  result.sin_family = AF_INET;
  result.sin_addr.s_addr = htonl(address);
  result.sin_port = htons(port);
  return result;
}

}  // namespace

SocketUdpPort::SocketUdpPort(QtEventLoop& events) : events_(events) {
  events_.AtEndOfBatch([this] {
    outbox_.Flush(socket_);
    // A handler that lets events run, or waits in a box, lets the rest of its inbox run too: the kernel, which no
    // longer has these datagrams, will not report them.
    if (notifier_ && HoldsDatagrams())
      QMetaObject::invokeMethod(
          notifier_.get(), [this] { Drain(); }, Qt::QueuedConnection);
  });
}

SocketUdpPort::~SocketUdpPort() { Deactivate(); }

void SocketUdpPort::Deactivate() {
  if (socket_ < 0) return;
  notifier_.reset();
  close(socket_);
  socket_ = -1;
  boundPort_ = 0;
  for (const auto& inbox : inboxes_) inbox->Clear();
}

int SocketUdpPort::Activate() {
  Deactivate();
  socket_ = BoundSocket(SOCK_DGRAM, localPort_);
  if (socket_ < 0) return ErrorNumber(errno);
  boundPort_ = PortOf(socket_);
  SetBuffer(socket_, SO_RCVBUFFORCE, SO_RCVBUF);
  SetBuffer(socket_, SO_SNDBUFFORCE, SO_SNDBUF);
  // Clients send to a fixed port only.
  const int wanted = localPort_ != 0 ? 1 : 0;
  setsockopt(socket_, IPPROTO_IP, IP_PKTINFO, &wanted, sizeof wanted);
  if (acceptData_) {
    notifier_ = std::make_unique<QSocketNotifier>(socket_, QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, [this] { Drain(); });
  }
  return 0;
}

void SocketUdpPort::SetRemoteHost(const std::string& address) {
  remoteHost_ = address;
  remoteAddress_ = ReadHostAddress(address);
}

bool SocketUdpPort::Send(std::string_view message) {
  if (socket_ < 0 || !remoteAddress_ || remotePort_ <= 0 || remotePort_ > 0xFFFF) return false;
  const sockaddr_in to = SocketAddress(*remoteAddress_, static_cast<std::uint16_t>(remotePort_));
  outbox_.Add(to, htonl(source_), message);
  return (events_.InBatch() && !outbox_.Full()) || outbox_.Flush(socket_);
}

bool SocketUdpPort::HoldsDatagrams() const {
  return std::any_of(inboxes_.begin(), inboxes_.end(), [](const auto& inbox) { return !inbox->Empty(); });
}

void SocketUdpPort::Drain() {
  const QtEventLoop::Batch batch(events_);
  // What arrived earlier has its turn first: it waits while one of these handlers lets events run.
  for (std::size_t level = 0; level < depth_; ++level) Handle(*inboxes_[level]);
  if (inboxes_.size() == depth_) inboxes_.push_back(std::make_unique<UdpInbox>());
  UdpInbox& inbox = *inboxes_[depth_];
  ++depth_;
  for (int fills = 0; fills < kFills && socket_ >= 0 && inbox.Fill(socket_); ++fills) Handle(inbox);
  --depth_;
}

void SocketUdpPort::Handle(UdpInbox& inbox) {
  while (socket_ >= 0 && !inbox.Empty()) {
    const UdpInbox::Datagram datagram = inbox.Take();
    const sockaddr_in& from = datagram.sender;
    // To an address of its own, the system answers from that same address anyway, and faster when it is not told so.
    arrivedAt_ = datagram.localAddress != from.sin_addr.s_addr ? ntohl(datagram.localAddress) : 0;
    handler_(datagram.message, Ipv4Text(ntohl(from.sin_addr.s_addr)), ntohs(from.sin_port));
  }
}

}  // namespace quenvar
