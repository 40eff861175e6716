// TCP sockets that nobody connects to.
#pragma once

#include "platform/tcp.h"

namespace quenvar {

struct FakeTcpListener : TcpListener {
  void SetHandlers(const Handlers&) override {}
  void SetLocalPort(std::uint16_t) override {}
  int Activate() override { return 0; }
  std::size_t Send(std::int16_t, std::string_view) override { return 0; }
  void SetReading(std::int16_t, bool) override {}
  void Release(std::int16_t) override {}
  void Finish(std::int16_t) override {}
  void Close(std::int16_t) override {}
  std::uint64_t Moved(std::int16_t) override { return 0; }
  void CloseAll() override {}
};

struct FakeTcpClients : TcpClients {
  void SetHandlers(const Handlers&) override {}
  void Create(std::int16_t) override {}
  void Prepare(std::int16_t) override {}
  void SetRemoteHost(std::int16_t, const std::string&) override {}
  void SetRemotePort(std::int16_t, std::int32_t) override {}
  void Connect(std::int16_t) override {}
  void Disconnect(std::int16_t, bool) override {}
  std::size_t Send(std::int16_t, std::string_view) override { return 0; }
  void SetReading(std::int16_t, bool) override {}
  bool HasMoved(std::int16_t) override { return true; }
  std::uint64_t Moved(std::int16_t) override { return 0; }
  void CloseAll() override {}
};

}  // namespace quenvar
