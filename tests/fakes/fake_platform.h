// The outside world of a test: every interface of platform/ in memory, recording what the logic asks of it.
#pragma once

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "base/text.h"
#include "platform/clock.h"
#include "platform/desktop.h"
#include "platform/event_loop.h"
#include "platform/files.h"
#include "platform/message_box.h"
#include "platform/network.h"
#include "platform/platform.h"
#include "platform/process.h"
#include "platform/profile.h"
#include "platform/timer.h"
#include "platform/udp_port.h"
#include "settings/address.h"
#include "tests/fakes/fake_tcp.h"

namespace quenvar {

/// What happened, in order, across all fakes.
using Trace = std::vector<std::string>;
inline Trace trace;

struct FakeClock : Clock {
  std::int32_t MillisecondTick() override { return now; }
  const std::string& TimeOfDay() override { return time; }
  std::int64_t UnixSecond() override { return second; }

  std::int32_t now = 0;
  std::string time = "12:00:00";
  std::int64_t second = 1700000000;
};

struct FakeDesktop : Desktop {
  void AskProxyServer(std::function<void(const std::string& setting)> answer) override { answer(proxy); }
  void Notify(const std::string& text) override { notices.push_back(text); }
  bool StartProgram(const std::string& path) override {
    started.push_back(path);
    return std::filesystem::exists(path);
  }

  std::string proxy;
  std::vector<std::string> started, notices;
};

struct FakeEventLoop : EventLoop {
  void RunPendingEvents() override {
    ++runs;
    Yield();
  }
  void Yield() override {
    if (std::function<void()> due = std::exchange(onNextYield, nullptr)) due();
  }
  void Quit(int status) override {
    trace.push_back("quit " + std::to_string(status));
    quit = true;
  }

  std::function<void()> onNextYield;
  int runs = 0;
  bool quit = false;
};

struct FakeFiles : Files {
  std::string ProgramDirectory() override { return "/program"; }
  char Separator() override { return '/'; }
  std::vector<std::string> List(const std::string& directory) override {
    std::vector<std::string> names;
    for (const auto& [path, content] : files)
      if (path.starts_with(directory)) names.push_back(path.substr(directory.size()));
    return names;
  }
  std::optional<std::string> Read(const std::string& path) override {
    const auto file = files.find(path);
    return file == files.end() ? std::nullopt : std::optional(file->second);
  }
  std::string InstalledFile(const std::string& name) override { return "/program/" + name; }
  bool MayReplace(const std::string&) override { return true; }
  bool Delete(const std::string& path) override { return files.erase(path) == 1; }

  std::map<std::string, std::string> files;
};

struct ShownBox {
  std::string title;
  std::string text;
  BoxIcon icon;
  BoxButtons buttons;
};

struct FakeBoxes : MessageBoxes {
  BoxAnswer Show(const std::string& text, const std::string& title, BoxIcon icon, BoxButtons buttons) override {
    trace.push_back("box " + title);
    shown.push_back({title, text, icon, buttons});
    if (whileOpen) whileOpen();
    return answer;
  }
  void Withdraw(const std::string&) override {}

  std::vector<ShownBox> shown;
  std::function<void()> whileOpen;
  BoxAnswer answer = BoxAnswer::Ok;
};

struct FakeNetwork : Network {
  StartResult Start(std::uint16_t) override { return started; }
  int Stop() override { return stopError; }
  std::string HostName() override { return hostName; }
  std::vector<std::uint32_t> HostAddresses(const std::string&) override { return addresses; }

  StartResult started{0, 0x0101};
  int stopError = 0;
  std::string hostName = "host";
  std::vector<std::uint32_t> addresses{0x0A000001};
};

struct FakeProcess : Process {
  Version ProgramVersion() override { return {2, 0, 7}; }
  bool PreviousInstance() override { return false; }
  void EndWithRunTimeError(int number, const std::string&) override { throw number; }
  void Report(const std::string& line) override { reports.push_back(line); }
  void Randomize() override {}
  std::uint16_t SecretNumber() override {
    const auto number = static_cast<std::uint16_t>(random() >> 8);
    if (onSecretNumber) onSecretNumber(number);
    return number;
  }
  /// Five draws make a continuation key: where these are scarce, one of 1024 in turn.
  double Random() override {
    if (!scarceKeys) return std::generate_canonical<double, 32>(random);
    const unsigned draw = draws++;
    return (draw / 5 >> draw % 5 * 2) % 4 / 4.0;
  }

  std::minstd_rand random;
  bool scarceKeys = false;
  unsigned draws = 0;
  std::function<void(std::uint16_t)> onSecretNumber;
  std::vector<std::string> reports;
};

struct FakeProfile : Profile {
  std::string GetString(const std::string& section, const std::string& key, const std::string& missing,
                        std::size_t bufferSize) override {
    const auto value = values.find({section, key});
    return (value == values.end() ? missing : value->second).substr(0, bufferSize - 1);
  }
  void BeginSave() override {
    if (groups++ == 0) trace.push_back("save");
  }
  void WriteString(const std::string& section, const std::string& key, const std::string& value) override {
    if (groups == 0) return;  // what is written outside of a save is lost
    written.push_back(section + "/" + key + "=" + value);
    if (!broken) values[{section, key}] = value;
  }
  bool CommitSave() override {
    --groups;
    return !broken;
  }

  std::map<std::pair<std::string, std::string>, std::string> values;
  std::vector<std::string> written;
  bool broken = false;
  int groups = 0;
};

struct FakeTimer : Timer {
  void SetIntervalMilliseconds(int milliseconds) override { interval = milliseconds; }
  void Restart() override { running = true; }
  void Stop() override { running = false; }

  int interval = 0;
  bool running = false;
};

struct SentDatagram {
  std::string address;
  std::int32_t port;
  std::string message;
  bool operator==(const SentDatagram&) const = default;
};

struct FakeUdpPort : UdpPort {
  void SetDataArrived(DataArrived newHandler) override { handler = std::move(newHandler); }
  void Deactivate() override { active = false; }
  void SetLocalPort(std::uint16_t newPort) override { localPort = newPort; }
  void SetAcceptData(bool) override {}
  int Activate() override {
    active = bindError == 0;
    return bindError;
  }
  bool Active() const override { return active; }
  std::uint16_t BoundPort() const override { return localPort; }
  std::uint32_t ArrivedAt() const override { return 0; }
  const std::string& RemoteHost() const override { return host; }
  std::int32_t RemotePort() const override { return port; }
  void SetRemoteHost(const std::string& address) override { host = address; }
  void SetRemotePort(std::int32_t newPort) override { port = newPort; }
  void SetSource(std::uint32_t) override {}
  bool Send(std::string_view message) override {
    sent.push_back({host, port, std::string(message)});
    if (onSend) onSend(sent.back());
    return true;
  }

  std::uint16_t localPort = 1;
  bool active = false;
  int bindError = 0;
  std::string host;
  std::int32_t port = 0;
  std::vector<SentDatagram> sent;
  DataArrived handler;
  std::function<void(const SentDatagram&)> onSend;
};

/// Ports that queries leave from under identifiers of their own.
struct FakeUdpPorts : UdpPorts {
  UdpPort& Add() override {
    ports.push_back(std::make_unique<FakeUdpPort>());
    FakeUdpPort& port = *ports.back();
    port.localPort = static_cast<std::uint16_t>(40000 + ports.size());
    port.onSend = [this, &port](const SentDatagram& query) {
      Asked& last = asked[query.message.substr(0, 2)];
      if (last.port != &port) last = {&port, {}};
      last.servers.push_back(query.address);
    };
    return port;
  }

  /// Whether the server was the one, or one of those, that were sent this identifier last.
  bool WasAsked(const std::string& identifier, const std::string& server) {
    const auto& servers = asked[identifier].servers;
    return std::any_of(servers.begin(), servers.end(),
                       [&](const std::string& address) { return IsSameAddress(address, server); });
  }
  /// An answer arrives at the port that its identifier was last sent from; at `otherwise` where there is none.
  void Arrive(std::string_view answer, const std::string& server, std::int32_t port,
              const UdpPort::DataArrived& otherwise) {
    const FakeUdpPort* const to = asked[std::string(answer.substr(0, 2))].port;
    to == nullptr ? otherwise(answer, server, port) : to->handler(answer, server, port);
  }

  struct Asked {
    FakeUdpPort* port = nullptr;
    std::vector<std::string> servers;
  };
  std::vector<std::unique_ptr<FakeUdpPort>> ports;
  std::map<std::string, Asked> asked;
};

/// A test's outside world. While it lives, the logic runs against it.
struct FakePlatform {
  FakePlatform() {
    trace.clear();
    platform.clock = &clock;
    platform.desktop = &desktop;
    platform.events = &events;
    platform.files = &files;
    platform.boxes = &boxes;
    platform.network = &network;
    platform.process = &process;
    platform.profile = &profile;
    platform.Timer1 = &timer;
    platform.IPDaemon = &tcpListener;
    platform.IPPort = &tcpClients;
    platform.UDPPort1 = &upstream;
    platform.UDPPort2 = &downstream;
    platform.ports = &ports;
    platform.portTimer = &portTimer;
    upstream.active = true;
    downstream.active = true;
  }
  ~FakePlatform() { platform = Platform{}; }
  FakePlatform(const FakePlatform&) = delete;
  FakePlatform& operator=(const FakePlatform&) = delete;

  FakeClock clock;
  FakeDesktop desktop;
  FakeEventLoop events;
  FakeFiles files;
  FakeBoxes boxes;
  FakeNetwork network;
  FakeProcess process;
  FakeProfile profile;
  FakeTimer timer;
  FakeTcpListener tcpListener;
  FakeTcpClients tcpClients;
  FakeUdpPort upstream;
  FakeUdpPort downstream;
  FakeUdpPorts ports;
  FakeTimer portTimer;
};

}  // namespace quenvar
