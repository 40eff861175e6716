// Datagrams in batches: one system call moves many of them, which costs less than one for each, and wakes the other
// side less often.
#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace quenvar {

/// Received datagrams that wait for their turn.
class UdpInbox {
 public:
  struct Datagram {
    std::string_view message;
    sockaddr_in sender;
    std::uint32_t localAddress;  ///< that it was sent to, in network byte order; 0 where the socket does not tell
  };

  UdpInbox();

  /// Takes what has arrived at `socket`, when nothing is left here. False when there is nothing.
  bool Fill(int socket);
  bool Empty() const { return next_ == count_; }
  /// Drops those that wait. The one that was taken last stays as it is.
  void Clear() { next_ = count_; }
  /// The next one; stays valid until Fill is called after it.
  Datagram Take();

 private:
  static constexpr std::size_t kSize = 32;
  static constexpr std::size_t kLargestDatagram = 65536;

  std::unique_ptr<char[]> bytes_;
  std::array<mmsghdr, kSize> headers_{};
  std::array<iovec, kSize> contents_;
  std::array<sockaddr_in, kSize> senders_;
  struct alignas(cmsghdr) Control {
    char bytes[CMSG_SPACE(sizeof(in_pktinfo))];
  };
  std::array<Control, kSize> controls_;
  std::size_t count_ = 0;
  std::size_t next_ = 0;
};

/// Datagrams that are ready to leave.
class UdpOutbox {
 public:
  /// `source` is the address of this host that it leaves from, in network byte order; 0 leaves that to the system.
  void Add(const sockaddr_in& to, std::uint32_t source, std::string_view message);
  bool Full() const { return count_ == kSize || bytes_.size() >= kMostBytes; }
  /// Sends them all. One that cannot be sent is given up; false when there was one.
  bool Flush(int socket);

 private:
  static constexpr std::size_t kSize = 64;
  static constexpr std::size_t kMostBytes = 256 * 1024;

  struct Item {
    sockaddr_in to;
    std::uint32_t source;
    std::size_t begin;
    std::size_t size;
  };
  struct alignas(cmsghdr) Control {
    char bytes[CMSG_SPACE(sizeof(in_pktinfo))];
  };

  std::string bytes_;
  std::array<Item, kSize> items_;
  std::size_t count_ = 0;
};

}  // namespace quenvar
