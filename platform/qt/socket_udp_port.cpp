#include "platform/qt/socket_udp_port.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <QSocketNotifier>
#include <cerrno>
#include <cstring>

#include "platform/posix/ipv4_text.h"
#include "platform/qt/qt_event_loop.h"

namespace quenvar {

namespace {

constexpr std::size_t kLargestDatagram = 65536;
/// After so many datagrams in a row the other events have their turn.
constexpr int kBatch = 64;
/// One lost answer holds a pending request for 40 seconds, so bursts wait in the kernel.
constexpr int kBufferBytes = 4 * 1024 * 1024;
/// How long a datagram may wait for room in the send buffer before it is given up.
constexpr int kSendPatienceMilliseconds = 20;

int ErrorNumber(int error) { return error == EADDRINUSE ? kErrorAddressInUse : error; }

// The forced size may pass the system's limit, and needs root; the plain one is cut to that limit.
void SetBuffer(int socket, int forcedOption, int option) {
  if (setsockopt(socket, SOL_SOCKET, forcedOption, &kBufferBytes, sizeof kBufferBytes) != 0)
    setsockopt(socket, SOL_SOCKET, option, &kBufferBytes, sizeof kBufferBytes);
}

sockaddr_in SocketAddress(std::uint32_t address, std::uint16_t port) {
  sockaddr_in result{};
  result.sin_family = AF_INET;
  result.sin_addr.s_addr = htonl(address);
  result.sin_port = htons(port);
  return result;
}

// A datagram with its peer and, where asked for, the address of this host that it is sent to or from.
struct Datagram {
  Datagram(const sockaddr_in& itsPeer, char* bytes, std::size_t size) : peer(itsPeer), content{bytes, size} {
    header.msg_name = &peer;
    header.msg_namelen = sizeof peer;
    header.msg_iov = &content;
    header.msg_iovlen = 1;
    header.msg_control = control;
    header.msg_controllen = sizeof control;
  }
  Datagram(const Datagram&) = delete;
  Datagram& operator=(const Datagram&) = delete;

  // The address that a received datagram was sent to; 0 where the socket does not ask for it.
  std::uint32_t LocalAddress() {
    const cmsghdr* const item = CMSG_FIRSTHDR(&header);
    if (item == nullptr || item->cmsg_level != IPPROTO_IP || item->cmsg_type != IP_PKTINFO) return 0;
    in_pktinfo info;
    std::memcpy(&info, CMSG_DATA(item), sizeof info);
    return info.ipi_spec_dst.s_addr;
  }

  // The address to send from.
  void SetSource(std::uint32_t localAddress) {
    cmsghdr* const item = CMSG_FIRSTHDR(&header);
    item->cmsg_level = IPPROTO_IP;
    item->cmsg_type = IP_PKTINFO;
    item->cmsg_len = CMSG_LEN(sizeof(in_pktinfo));
    in_pktinfo info{};
    info.ipi_spec_dst.s_addr = localAddress;
    std::memcpy(CMSG_DATA(item), &info, sizeof info);
  }

  sockaddr_in peer;
  iovec content;
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(in_pktinfo))];
  msghdr header{};
};

bool WaitForRoom(int socket) {
  pollfd room{socket, POLLOUT, 0};
  return poll(&room, 1, kSendPatienceMilliseconds) == 1;
}

}  // namespace

SocketUdpPort::SocketUdpPort(QtEventLoop& events) : events_(events) {}

SocketUdpPort::~SocketUdpPort() { Deactivate(); }

void SocketUdpPort::Deactivate() {
  if (socket_ < 0) return;
  notifier_.reset();
  close(socket_);
  socket_ = -1;
}

int SocketUdpPort::Activate() {
  Deactivate();
  const int opened = socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (opened < 0) return ErrorNumber(errno);
  SetBuffer(opened, SO_RCVBUFFORCE, SO_RCVBUF);
  SetBuffer(opened, SO_SNDBUFFORCE, SO_SNDBUF);
  // Without SO_REUSEADDR: with it, a port that another program holds would go unnoticed.
  const sockaddr_in local = SocketAddress(INADDR_ANY, localPort_);
  if (bind(opened, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0) {
    const int error = ErrorNumber(errno);
    close(opened);
    return error;
  }
  socket_ = opened;
  replySources_ = localPort_ != 0 ? std::make_unique<ReplySources>() : nullptr;
  const int wanted = replySources_ ? 1 : 0;
  setsockopt(socket_, IPPROTO_IP, IP_PKTINFO, &wanted, sizeof wanted);
  if (acceptData_) {
    notifier_ = std::make_unique<QSocketNotifier>(socket_, QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, [this] { Drain(); });
  }
  return 0;
}

void SocketUdpPort::SetRemoteHost(const std::string& address) {
  remoteHost_ = address;
  remoteAddress_ = ReadIpv4(address);
}

bool SocketUdpPort::Send(std::string_view message) {
  if (socket_ < 0 || !remoteAddress_ || remotePort_ <= 0 || remotePort_ > 0xFFFF) return false;
  const sockaddr_in to = SocketAddress(*remoteAddress_, static_cast<std::uint16_t>(remotePort_));
  if (SendOnce(to, message)) return true;
  return (errno == EAGAIN || errno == ENOBUFS) && WaitForRoom(socket_) && SendOnce(to, message);
}

bool SocketUdpPort::SendOnce(const sockaddr_in& to, std::string_view message) const {
  const std::uint32_t source = replySources_ ? replySources_->Find(to.sin_addr.s_addr, to.sin_port) : 0;
  if (source == 0)
    return sendto(socket_, message.data(), message.size(), 0, reinterpret_cast<const sockaddr*>(&to), sizeof to) >= 0;
  Datagram datagram(to, const_cast<char*>(message.data()), message.size());
  datagram.SetSource(source);
  return sendmsg(socket_, &datagram.header, 0) >= 0;
}

void SocketUdpPort::Drain() {
  events_.Fresh();
  if (buffers_.size() == depth_) buffers_.push_back(std::make_unique_for_overwrite<char[]>(kLargestDatagram));
  ++depth_;
  for (int count = 0; count < kBatch && ReceiveOne(); ++count) {
  }
  --depth_;
}

// False when nothing more is there to be received.
bool SocketUdpPort::ReceiveOne() {
  if (socket_ < 0) return false;
  char* const buffer = buffers_[depth_ - 1].get();
  Datagram datagram({}, buffer, kLargestDatagram);
  const ssize_t size = recvmsg(socket_, &datagram.header, 0);
  if (size < 0) return errno != EAGAIN && errno != EBADF;
  const sockaddr_in& from = datagram.peer;
  if (replySources_) replySources_->Remember(from.sin_addr.s_addr, from.sin_port, datagram.LocalAddress());
  handler_(std::string_view(buffer, static_cast<std::size_t>(size)), Ipv4Text(ntohl(from.sin_addr.s_addr)),
           ntohs(from.sin_port));
  return true;
}

}  // namespace quenvar
