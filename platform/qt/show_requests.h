#pragma once

#include <QSocketNotifier>
#include <memory>
#include <string>

namespace quenvar {

/// What a copy of the program that is started a second time asks of the first: to show its window. The request is one
/// datagram, so neither copy ever waits for the other, and there is no connection to be used up. It holds the token
/// that the desktop gave the second copy for coming to the front (XDG Activation), or nothing.
class ShowRequests {
 public:
  /// `path` of the socket in the file system: at most 107 bytes, otherwise no request ever comes.
  ShowRequests(std::string path, void (*onRequest)(const std::string& token));
  ~ShowRequests() { Release(); }
  ShowRequests(const ShowRequests&) = delete;
  ShowRequests& operator=(const ShowRequests&) = delete;

  /// Only for the one copy that may run: takes the path over from the copy before, which leaves its socket there.
  void Listen();
  /// Sends a request to the copy that listens. False when there is none that takes it.
  bool Send(const std::string& token) const;
  /// No request is taken any more.
  void Release();

 private:
  void OnDatagram();

  const std::string path_;
  void (*const onRequest_)(const std::string& token);
  int socket_ = -1;
  std::unique_ptr<QSocketNotifier> notifier_;
};

}  // namespace quenvar
