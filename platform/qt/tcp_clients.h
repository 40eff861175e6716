#pragma once

#include <memory>
#include <vector>

#include "platform/qt/tcp_stream.h"
#include "platform/tcp.h"

namespace quenvar {

/// Connections to servers as sockets of the operating system, watched by Qt's message loop.
class SocketTcpClients : public TcpClients {
 public:
  SocketTcpClients();
  ~SocketTcpClients() override;

  void SetHandlers(const Handlers& handlers) override { handlers_ = handlers; }
  void Create(std::int16_t index) override;
  void Prepare(std::int16_t index) override;
  void SetRemoteHost(std::int16_t index, const std::string& address) override;
  void SetRemotePort(std::int16_t index, std::int32_t port) override;
  void Connect(std::int16_t index) override;
  void Disconnect(std::int16_t index, bool awaitAnswers) override;
  std::size_t Send(std::int16_t index, std::string_view data) override;
  void SetReading(std::int16_t index, bool reading) override;
  bool HasMoved(std::int16_t index) override;
  std::uint64_t Moved(std::int16_t index) override;
  void CloseAll() override;

 private:
  class Instance;

  Instance& At(std::int16_t index) { return *instances_[static_cast<std::size_t>(index)]; }

  Handlers handlers_;
  std::vector<std::unique_ptr<Instance>> instances_;
};

}  // namespace quenvar
