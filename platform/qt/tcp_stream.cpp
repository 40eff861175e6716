#include "platform/qt/tcp_stream.h"

#include <linux/sockios.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

namespace quenvar {

namespace {

constexpr std::size_t kPieceBytes = 64 * 1024;
/// The system doubles it for its own overhead. Left alone it grows the buffers to many MiB for one slow reader.
constexpr int kSystemBufferBytes = 96 * 1024;

void SetOption(int descriptor, int level, int option, int value) {
  setsockopt(descriptor, level, option, &value, sizeof value);
}

bool IsTemporary(int error) { return error == EAGAIN || error == EWOULDBLOCK || error == EINTR; }

}  // namespace

void TcpStream::SetBuffers(int descriptor) {
  SetOption(descriptor, SOL_SOCKET, SO_RCVBUF, kSystemBufferBytes);
  SetOption(descriptor, SOL_SOCKET, SO_SNDBUF, kSystemBufferBytes);
}

void TcpStream::Adopt(int descriptor) {
  descriptor_ = descriptor;
  Watch();
}

bool TcpStream::Open() {
  Close();
  const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (descriptor == -1) return false;
  SetBuffers(descriptor);
  descriptor_ = descriptor;
  return true;
}

int TcpStream::Connect(std::uint32_t address, std::uint16_t port) {
  sockaddr_in remote{};
  remote.sin_family = AF_INET;
  remote.sin_port = htons(port);
  remote.sin_addr.s_addr = htonl(address);
  const int result = connect(descriptor_, reinterpret_cast<const sockaddr*>(&remote), sizeof remote);
  if (result == -1 && errno != EINPROGRESS) return errno;
  connecting_ = true;
  Watch();
  return 0;
}

void TcpStream::Watch() {
  // Small messages in several pieces must not wait for each other's acknowledgements.
  SetOption(descriptor_, IPPROTO_TCP, TCP_NODELAY, 1);
  // A machine that was switched off is noticed in the end.
  SetOption(descriptor_, SOL_SOCKET, SO_KEEPALIVE, 1);
  canRead_ = std::make_unique<QSocketNotifier>(descriptor_, QSocketNotifier::Read);
  canWrite_ = std::make_unique<QSocketNotifier>(descriptor_, QSocketNotifier::Write);
  QObject::connect(canRead_.get(), &QSocketNotifier::activated, canRead_.get(), [this] { CanRead(); });
  QObject::connect(canWrite_.get(), &QSocketNotifier::activated, canWrite_.get(), [this] { CanWrite(); });
  UpdateNotifiers();
}

void TcpStream::Close() {
  canRead_.reset();
  canWrite_.reset();
  if (descriptor_ != -1) close(descriptor_);
  descriptor_ = -1;
  connecting_ = readEnded_ = finishSending_ = false;
  reading_ = true;
  received_ = sent_ = lastMoved_ = 0;
  waiting_ = std::string();
}

void TcpStream::Abort() {
  const linger reset = {1, 0};
  setsockopt(descriptor_, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
  Close();
}

std::size_t TcpStream::Send(std::string_view data) {
  if (descriptor_ == -1) return 0;
  if (waiting_.empty()) {
    // After an error everything waits, and the next attempt, in CanWrite, reports it.
    data.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(SendSome(data), 0)));
  }
  waiting_ += data;
  UpdateNotifiers();
  return waiting_.size();
}

/// Sends what the system takes now and returns how much that is, or -1 with the error in errno.
ssize_t TcpStream::SendSome(std::string_view data) {
  const ssize_t count = send(descriptor_, data.data(), data.size(), MSG_NOSIGNAL);
  if (count == -1) return IsTemporary(errno) ? 0 : -1;
  sent_ += static_cast<std::uint64_t>(count);
  return count;
}

void TcpStream::FinishSending() {
  finishSending_ = true;
  if (waiting_.empty()) shutdown(descriptor_, SHUT_WR);
}

void TcpStream::SetReading(bool reading) {
  reading_ = reading;
  if (canRead_) UpdateNotifiers();
}

bool TcpStream::PeerHasClosed() const {
  pollfd state{descriptor_, POLLRDHUP, 0};
  return poll(&state, 1, 0) == 1 && (state.revents & (POLLRDHUP | POLLHUP | POLLERR)) != 0;
}

/// Bytes in the system's buffer that the other side has not confirmed. The end of what is sent counts as one.
std::uint64_t TcpStream::Unconfirmed() const {
  int bytes = 0;
  return ioctl(descriptor_, SIOCOUTQ, &bytes) == 0 ? static_cast<std::uint64_t>(bytes) : 0;
}

std::uint64_t TcpStream::Moved() const { return received_ + sent_ - Unconfirmed(); }

bool TcpStream::TakeProgress() {
  const std::uint64_t moved = Moved();
  return std::exchange(lastMoved_, moved) != moved;
}

void TcpStream::UpdateNotifiers() {
  canRead_->setEnabled(reading_ && !readEnded_ && !connecting_);
  canWrite_->setEnabled(connecting_ || !waiting_.empty());
}

void TcpStream::CanRead() {
  std::array<char, kPieceBytes> piece;
  const ssize_t count = recv(descriptor_, piece.data(), piece.size(), 0);
  if (count == -1) {
    if (!IsTemporary(errno)) Fail(errno);
    return;
  }
  received_ += static_cast<std::uint64_t>(std::max<ssize_t>(count, 1));
  if (count > 0) return owner_.StreamData({piece.data(), static_cast<std::size_t>(count)});
  readEnded_ = true;
  UpdateNotifiers();
  owner_.StreamEnded(0);
}

void TcpStream::CanWrite() {
  if (connecting_) return ConnectDone();
  const ssize_t count = SendSome(waiting_);
  if (count == -1) return Fail(errno);
  waiting_.erase(0, static_cast<std::size_t>(count));
  if (!waiting_.empty()) return;
  waiting_ = std::string();
  UpdateNotifiers();
  if (finishSending_) shutdown(descriptor_, SHUT_WR);
  owner_.StreamSent();
}

void TcpStream::ConnectDone() {
  int error = 0;
  socklen_t size = sizeof error;
  getsockopt(descriptor_, SOL_SOCKET, SO_ERROR, &error, &size);
  if (error != 0) return Fail(error);
  connecting_ = false;
  ++received_;
  UpdateNotifiers();
  owner_.StreamConnected();
}

void TcpStream::Fail(int error) {
  Close();
  owner_.StreamEnded(error);
}

}  // namespace quenvar
