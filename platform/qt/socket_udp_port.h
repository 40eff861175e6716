#pragma once

#include <netinet/in.h>

#include <memory>
#include <optional>
#include <vector>

#include "platform/posix/udp_batch.h"
#include "platform/udp_port.h"

class QSocketNotifier;

namespace quenvar {

class QtEventLoop;

/// A non-blocking socket of the operating system, watched by Qt's message loop: it costs less than Qt's own datagram
/// class, and it does not share a port that is taken.
class SocketUdpPort final : public UdpPort {
 public:
  explicit SocketUdpPort(QtEventLoop& events);
  ~SocketUdpPort() override;

  void SetDataArrived(DataArrived handler) override { handler_ = std::move(handler); }
  void Deactivate() override;
  void SetLocalPort(std::uint16_t port) override { localPort_ = port; }
  void SetAcceptData(bool accept) override { acceptData_ = accept; }
  int Activate() override;
  bool Active() const override { return socket_ >= 0; }
  std::uint16_t BoundPort() const override { return boundPort_; }
  std::uint32_t ArrivedAt() const override { return arrivedAt_; }

  const std::string& RemoteHost() const override { return remoteHost_; }
  std::int32_t RemotePort() const override { return remotePort_; }
  void SetRemoteHost(const std::string& address) override;
  void SetRemotePort(std::int32_t port) override { remotePort_ = port; }
  void SetSource(std::uint32_t address) override { source_ = address; }
  bool Send(std::string_view message) override;

 private:
  bool HoldsDatagrams() const;
  void Drain();
  void Handle(UdpInbox& inbox);

  QtEventLoop& events_;
  int socket_ = -1;
  std::unique_ptr<QSocketNotifier> notifier_;
  DataArrived handler_;
  std::uint16_t localPort_ = 0;
  std::uint16_t boundPort_ = 0;
  bool acceptData_ = false;

  std::string remoteHost_;
  std::int32_t remotePort_ = 0;
  std::optional<std::uint32_t> remoteAddress_;
  std::uint32_t source_ = 0;
  std::uint32_t arrivedAt_ = 0;

  // One inbox for each level of handlers that let events run, so that a message outlives the ones that arrive
  // meanwhile.
  std::vector<std::unique_ptr<UdpInbox>> inboxes_;
  std::size_t depth_ = 0;
  UdpOutbox outbox_;
};

class SocketUdpPorts final : public UdpPorts {
 public:
  explicit SocketUdpPorts(QtEventLoop& events) : events_(events) {}
  UdpPort& Add() override { return *ports_.emplace_back(std::make_unique<SocketUdpPort>(events_)); }
  void CloseAll() {
    for (const auto& port : ports_) port->Deactivate();
  }

 private:
  QtEventLoop& events_;
  std::vector<std::unique_ptr<SocketUdpPort>> ports_;
};

}  // namespace quenvar
