#include "platform/qt/show_requests.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <utility>

namespace quenvar {

namespace {

/// Requests that have piled up are one. More than these wait for the next turn of the message loop.
constexpr int kMaxDatagrams = 16;
constexpr std::size_t kLongestToken = 512;

int Socket() { return socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0); }

// A path that is too long is cut off, and then has no room for its end.
sockaddr_un Address(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path);
  return address;
}

bool Fits(const sockaddr_un& address) { return address.sun_path[sizeof address.sun_path - 1] == '\0'; }

}  // namespace

ShowRequests::ShowRequests(std::string path, void (*onRequest)(const std::string& token))
    : path_(std::move(path)), onRequest_(onRequest) {}

void ShowRequests::Listen() {
  const sockaddr_un address = Address(path_);
  socket_ = Socket();
  unlink(path_.c_str());
  fchmod(socket_, S_IRUSR | S_IWUSR);
  if (!Fits(address) || bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
    return Release();
  notifier_ = std::make_unique<QSocketNotifier>(socket_, QSocketNotifier::Read);
  QObject::connect(notifier_.get(), &QSocketNotifier::activated, [this] { OnDatagram(); });
}

bool ShowRequests::Send(const std::string& token) const {
  const sockaddr_un address = Address(path_);
  const int sender = Socket();
  const bool sent = Fits(address) && sendto(sender, token.data(), token.size(), 0,
                                            reinterpret_cast<const sockaddr*>(&address), sizeof address) != -1;
  close(sender);
  return sent;
}

void ShowRequests::Release() {
  notifier_.reset();
  if (socket_ != -1) close(std::exchange(socket_, -1));
}

void ShowRequests::OnDatagram() {
  std::string newest;
  char token[kLongestToken];
  for (int count = 0; count < kMaxDatagrams; ++count) {
    const ssize_t size = recv(socket_, token, sizeof token, 0);
    if (size < 0) break;
    newest.assign(token, static_cast<std::size_t>(size));
  }
  onRequest_(newest);
}

}  // namespace quenvar
