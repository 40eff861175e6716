#include "platform/posix/udp_batch.h"

#include <poll.h>

#include <cerrno>
#include <cstring>

namespace quenvar {

namespace {

/// How long a datagram may wait for room in the send buffer before it is given up.
constexpr int kSendPatienceMilliseconds = 20;

bool WaitForRoom(int socket) {
  pollfd room{socket, POLLOUT, 0};
  return poll(&room, 1, kSendPatienceMilliseconds) == 1;
}

std::uint32_t LocalAddress(msghdr& header) {
  const cmsghdr* const item = CMSG_FIRSTHDR(&header);
  if (item == nullptr || item->cmsg_level != IPPROTO_IP || item->cmsg_type != IP_PKTINFO) return 0;
  in_pktinfo info;
  std::memcpy(&info, CMSG_DATA(item), sizeof info);
  return info.ipi_spec_dst.s_addr;
}

void SetSource(msghdr& header, std::uint32_t localAddress) {
  cmsghdr* const item = CMSG_FIRSTHDR(&header);
  item->cmsg_level = IPPROTO_IP;
  item->cmsg_type = IP_PKTINFO;
  item->cmsg_len = CMSG_LEN(sizeof(in_pktinfo));
  in_pktinfo info{};
  info.ipi_spec_dst.s_addr = localAddress;
  std::memcpy(CMSG_DATA(item), &info, sizeof info);
}

}  // namespace

UdpInbox::UdpInbox() : bytes_(std::make_unique_for_overwrite<char[]>(kSize * kLargestDatagram)) {
  for (std::size_t i = 0; i < kSize; ++i) {
    contents_[i] = {bytes_.get() + i * kLargestDatagram, kLargestDatagram};
    msghdr& header = headers_[i].msg_hdr;
    header.msg_name = &senders_[i];
    header.msg_iov = &contents_[i];
    header.msg_iovlen = 1;
    header.msg_control = &controls_[i];
  }
}

bool UdpInbox::Fill(int socket) {
  for (mmsghdr& item : headers_) {
    item.msg_hdr.msg_namelen = sizeof(sockaddr_in);
    item.msg_hdr.msg_controllen = sizeof(Control);
  }
  next_ = count_ = 0;
  const int count = recvmmsg(socket, headers_.data(), kSize, MSG_DONTWAIT, nullptr);
  if (count > 0) count_ = static_cast<std::size_t>(count);
  return count > 0;
}

UdpInbox::Datagram UdpInbox::Take() {
  const std::size_t i = next_++;
  return {{bytes_.get() + i * kLargestDatagram, headers_[i].msg_len}, senders_[i], LocalAddress(headers_[i].msg_hdr)};
}

void UdpOutbox::Add(const sockaddr_in& to, std::uint32_t source, std::string_view message) {
  items_[count_++] = {to, source, bytes_.size(), message.size()};
  bytes_.append(message);
}

bool UdpOutbox::Flush(int socket) {
  if (count_ == 0) return true;
  std::array<mmsghdr, kSize> headers{};
  std::array<iovec, kSize> contents;
  std::array<Control, kSize> controls;
  for (std::size_t i = 0; i < count_; ++i) {
    Item& item = items_[i];
    msghdr& header = headers[i].msg_hdr;
    contents[i] = {bytes_.data() + item.begin, item.size};
    header.msg_name = &item.to;
    header.msg_namelen = sizeof item.to;
    header.msg_iov = &contents[i];
    header.msg_iovlen = 1;
    if (item.source == 0) continue;
    header.msg_control = &controls[i];
    header.msg_controllen = sizeof controls[i];
    SetSource(header, item.source);
  }
  bool all = true;
  std::size_t waitedFor = kSize;
  for (std::size_t sent = 0; sent < count_;) {
    const int count = sendmmsg(socket, headers.data() + sent, static_cast<unsigned>(count_ - sent), 0);
    if (count > 0) {
      sent += static_cast<std::size_t>(count);
    } else if (waitedFor != sent && (errno == EAGAIN || errno == ENOBUFS) && WaitForRoom(socket)) {
      waitedFor = sent;
    } else {
      ++sent;
      all = false;
    }
  }
  count_ = 0;
  bytes_.clear();
  return all;
}

}  // namespace quenvar
