// A UDP socket over IPv4, in the manner of a socket control: it is set up, activated, and calls a handler for each
// datagram that arrives.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace quenvar {

/// The error number of a local address that another program has already taken. All other error numbers of the socket
/// layer are those of the operating system.
inline constexpr int kErrorAddressInUse = 25049;

class UdpPort {
 public:
  /// `address` is dotted decimal IPv4 text. `message` stays as it is until the handler returns, also when the handler
  /// lets events run.
  using DataArrived = std::function<void(std::string_view message, const std::string& address, std::int32_t port)>;

  virtual ~UdpPort() = default;

  virtual void SetDataArrived(DataArrived handler) = 0;
  /// Closes the port. A handler may do so; the datagrams that it has not seen yet are dropped.
  virtual void Deactivate() = 0;
  /// 0 means any free port.
  virtual void SetLocalPort(std::uint16_t port) = 0;
  virtual void SetAcceptData(bool accept) = 0;
  /// Binds the local port on all interfaces. 0, or the error number: kErrorAddressInUse where the port is taken.
  virtual int Activate() = 0;
  virtual bool Active() const = 0;
  /// The port that is bound, also where any free one was asked for; 0 while the port is not active.
  virtual std::uint16_t BoundPort() const = 0;
  /// The address of this host that the datagram at hand was sent to, in host byte order; 0 where the system answers
  /// from the right one by itself. Holds until the handler lets events run.
  virtual std::uint32_t ArrivedAt() const = 0;

  virtual const std::string& RemoteHost() const = 0;
  virtual std::int32_t RemotePort() const = 0;
  /// The address of a host (base/ipv4_text.h). Any other text makes Send fail; a name is never looked up.
  virtual void SetRemoteHost(const std::string& address) = 0;
  virtual void SetRemotePort(std::int32_t port) = 0;
  /// The address of this host that the next datagrams leave from, as ArrivedAt gives it: a host has more than one, and
  /// a client takes an answer only from the one that it has asked. 0 leaves the choice to the system.
  virtual void SetSource(std::uint32_t address) = 0;
  /// Sends one datagram to the remote host and port. Within a handler it may leave a little later, with those after it,
  /// but in order. False when it is known that it could not be sent.
  virtual bool Send(std::string_view message) = 0;
};

/// Makes ports beside those that are there from the start. They live as long as this does, active or not.
class UdpPorts {
 public:
  virtual ~UdpPorts() = default;
  virtual UdpPort& Add() = 0;
};

}  // namespace quenvar
