#pragma once

#include <QTimer>
#include <map>
#include <memory>

#include "platform/qt/tcp_stream.h"
#include "platform/tcp.h"

namespace quenvar {

/// Keeps the clients' connections as sockets of the operating system, watched by Qt's message loop.
class SocketTcpListener : public TcpListener {
 public:
  SocketTcpListener();
  ~SocketTcpListener() override;

  void SetHandlers(const Handlers& handlers) override { handlers_ = handlers; }
  void SetLocalPort(std::uint16_t port) override { localPort_ = port; }
  int Activate() override;
  std::size_t Send(std::int16_t connection, std::string_view data) override;
  void SetReading(std::int16_t connection, bool reading) override;
  void Release(std::int16_t connection) override;
  void Finish(std::int16_t connection) override;
  void Close(std::int16_t connection) override;
  std::uint64_t Moved(std::int16_t connection) override;
  void CloseAll() override;

 private:
  class Connection;

  int Listen();
  void AcceptOne();
  void Open(int descriptor);
  void Pause();
  bool MakeRoom();
  std::int16_t FreeId();
  Connection* Find(std::int16_t connection);

  Handlers handlers_;
  std::uint16_t localPort_ = 0;
  int descriptor_ = -1;
  int nesting_ = 0;
  std::int16_t lastId_ = 0;
  std::unique_ptr<QSocketNotifier> canAccept_;
  QTimer resume_;
  std::map<std::int16_t, std::unique_ptr<Connection>> connections_;
};

}  // namespace quenvar
