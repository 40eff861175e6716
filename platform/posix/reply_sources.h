#pragma once

#include <array>
#include <cstdint>

namespace quenvar {

/// Which of this host's addresses each client has asked, so that its answer leaves from there: a client drops an answer
/// that comes from another address. Holds the last few thousand clients; one that was pushed out counts as unknown.
/// All numbers are in network byte order.
class ReplySources {
 public:
  void Remember(std::uint32_t client, std::uint16_t port, std::uint32_t localAddress) {
    // To an address of its own, the system answers from that same address anyway, and faster when it is not told so.
    clients_[SlotOf(client, port)] = {client, port, localAddress != client ? localAddress : 0};
  }

  /// The local address, or 0 where the system chooses the right one or the client is unknown.
  std::uint32_t Find(std::uint32_t client, std::uint16_t port) const {
    const Client& known = clients_[SlotOf(client, port)];
    return known.address == client && known.port == port ? known.localAddress : 0;
  }

 private:
  struct Client {
    std::uint32_t address;
    std::uint16_t port;
    std::uint32_t localAddress;
  };
  static constexpr std::size_t kSlots = 4096;

  static std::size_t SlotOf(std::uint32_t client, std::uint16_t port) {
    // Multiplicative hashing: the upper bits of the product depend on all bits of client and port.
    return (std::uint64_t{client} << 16 | port) * 0x9E3779B97F4A7C15 >> 52;
  }

  std::array<Client, kSlots> clients_{};
};

}  // namespace quenvar
