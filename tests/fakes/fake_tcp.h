// TCP sockets without a network: they note what they are told, and the test raises their events.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "platform/tcp.h"

namespace quenvar {

struct FakeTcpListener : TcpListener {
  void SetHandlers(const Handlers& given) override { handlers = given; }
  void SetLocalPort(std::uint16_t) override {}
  int Activate() override { return 0; }
  std::size_t Send(std::int16_t connection, std::string_view data) override {
    sent[connection] += data;
    return 0;
  }
  void SetReading(std::int16_t, bool) override {}
  void Release(std::int16_t) override {}
  void Finish(std::int16_t) override {}
  void Close(std::int16_t) override {}
  std::uint64_t Moved(std::int16_t) override { return 0; }
  void CloseAll() override {}

  Handlers handlers;
  std::map<std::int16_t, std::string> sent;
};

struct FakeTcpClients : TcpClients {
  void SetHandlers(const Handlers& given) override { handlers = given; }
  void Create(std::int16_t index) override { Note("create", index); }
  void Prepare(std::int16_t index) override { Note("prepare", index); }
  void SetRemoteHost(std::int16_t index, const std::string& address) override { Note("host " + address, index); }
  void SetRemotePort(std::int16_t index, std::int32_t port) override { Note("port " + std::to_string(port), index); }
  void Connect(std::int16_t index) override { Note("connect", index); }
  void Disconnect(std::int16_t index, bool awaitAnswers) override { Note(awaitAnswers ? "finish" : "abort", index); }
  std::size_t Send(std::int16_t index, std::string_view data) override {
    Note("send " + std::string(data), index);
    return 0;
  }
  void SetReading(std::int16_t, bool) override {}
  bool HasMoved(std::int16_t) override { return true; }
  std::uint64_t Moved(std::int16_t) override { return 0; }
  void CloseAll() override {}

  void Note(const std::string& call, std::int16_t index) { calls.push_back(std::to_string(index) + " " + call); }
  /// The calls since the last time, each as "index call".
  std::vector<std::string> TakeCalls() { return std::exchange(calls, {}); }

  Handlers handlers;
  std::vector<std::string> calls;
};

}  // namespace quenvar
