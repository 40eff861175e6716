#include "platform/qt/tcp_listener.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <utility>

#include "base/ipv4_text.h"
#include "platform/posix/bound_socket.h"
#include "platform/qt/standstill.h"
#include "platform/udp_port.h"

namespace quenvar {

namespace {

constexpr int kResumeMilliseconds = 250;
/// How often the system looks whether a silent client is still there.
constexpr int kKeepAliveSeconds = 60;
/// For so many seconds a client may take nothing of an answer whose name server has closed already. Standstill adds
/// ten.
constexpr int kStillSecondsWithinAnswer = 110;
/// A client that has stood still for so long makes room when descriptors run out.
constexpr int kStillSecondsForRoom = 2;
/// Descriptors that clients never get, so that files can still be opened and each client gets its name server.
constexpr rlim_t kKeptDescriptors = 16;
/// A handler may let events run and so be called inside of itself. One deep call that is held up, by an open box for
/// instance, must not stop others; a burst of clients must not nest without bound.
constexpr int kMaxNesting = 4;

/// A client takes two descriptors, its own and that of its name server. The lowest free numbers are the next ones to be
/// given out, so the second of them tells how near the limit is.
bool DescriptorsLeft(int descriptor) {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  const int first = dup(descriptor);
  const int second = dup(descriptor);
  if (first != -1) close(first);
  if (second == -1) return false;
  close(second);
  return static_cast<rlim_t>(second) + kKeptDescriptors < limit.rlim_cur;
}

/// The client has left while it waited to be accepted, and has sent nothing before.
bool HasLeft(int descriptor) {
  char byte;
  const ssize_t count = recv(descriptor, &byte, 1, MSG_PEEK | MSG_DONTWAIT);
  return count == 0 || (count == -1 && errno != EAGAIN && errno != EWOULDBLOCK);
}

}  // namespace

/// Lives until its client has closed it and it is released, so that its id belongs to nobody else before.
class SocketTcpListener::Connection final : private TcpStreamOwner {
 public:
  Connection(SocketTcpListener& listener, std::int16_t id, int descriptor) : listener_(listener), id_(id) {
    stream_.Adopt(descriptor);
  }

  TcpStream& Stream() { return stream_; }

  void SetReading(bool reading) {
    stream_.SetReading(reading);
    reading || clientClosed_ ? standstill_.Stop() : standstill_.Start();
  }

  void Release() {
    released_ = true;
    SetReading(true);
    RemoveWhenDone();
  }

  /// The client's end is waited for: what it has sent and nobody has read would make the system reset the connection,
  /// and an answer on its way be lost.
  void Finish() {
    finishing_ = released_ = true;
    if (stream_.IsOpen()) stream_.FinishSending();
    stream_.SetReading(true);
    standstill_.Start();
    RemoveWhenDone();
  }

  /// For how many seconds the end of this client has been waited for without any progress.
  int StillSeconds() const { return finishing_ ? stillSeconds_ : 0; }

 private:
  /// What the client still sends is dropped, and is no progress.
  bool TakesOrMayTake() {
    const std::uint64_t untaken = stream_.Untaken();
    stillSeconds_ = std::exchange(untaken_, untaken) == untaken ? stillSeconds_ + 1 : 0;
    return stillSeconds_ == 0 || (untaken != 0 && stillSeconds_ < kStillSecondsWithinAnswer);
  }

  /// An answer that was not taken whole ends with a reset, so that the client does not take it for the whole.
  void GiveUp() {
    if (finishing_ && !stream_.AllTaken()) stream_.Abort();
    stream_.Fail(ECONNRESET);
  }

  /// The end of a client comes in behind what it has sent, so it is looked for while that is not read. One that has not
  /// closed may wait for its name server as long as it likes.
  bool MayGoOn() {
    if (finishing_) return TakesOrMayTake();
    return !stream_.PeerHasClosed() || listener_.handlers_.hasMoved(id_);
  }

  void StreamData(std::string_view data) override {
    if (!finishing_) listener_.handlers_.dataIn(id_, data);
  }

  void StreamSent() override {
    if (!finishing_) listener_.handlers_.allSent(id_);
    RemoveWhenDone();
  }

  void StreamEnded(int error) override {
    clientClosed_ = true;
    if (!finishing_) listener_.handlers_.disconnected(id_, error, error == 0 ? "" : std::strerror(error));
    RemoveWhenDone();
  }

  void RemoveWhenDone() {
    if (released_ && clientClosed_ && stream_.Waiting() == 0) listener_.connections_.erase(id_);
  }

  SocketTcpListener& listener_;
  const std::int16_t id_;
  bool released_ = false;
  bool finishing_ = false;
  bool clientClosed_ = false;
  int stillSeconds_ = 0;
  std::uint64_t untaken_ = 0;
  Standstill standstill_{[this] { return MayGoOn(); }, [this] { GiveUp(); }};
  TcpStream stream_{*this};
};

SocketTcpListener::SocketTcpListener() {
  resume_.setSingleShot(true);
  resume_.setInterval(kResumeMilliseconds);
  QObject::connect(&resume_, &QTimer::timeout, &resume_, [this] { canAccept_->setEnabled(true); });
}

SocketTcpListener::~SocketTcpListener() { CloseAll(); }

int SocketTcpListener::Activate() {
  CloseAll();
  const int error = Listen();
  if (error != 0) {
    CloseAll();
    return error == EADDRINUSE ? kErrorAddressInUse : error;
  }
  canAccept_ = std::make_unique<QSocketNotifier>(descriptor_, QSocketNotifier::Read);
  QObject::connect(canAccept_.get(), &QSocketNotifier::activated, canAccept_.get(), [this] { AcceptOne(); });
  return 0;
}

int SocketTcpListener::Listen() {
  descriptor_ = BoundSocket(SOCK_STREAM, localPort_);
  if (descriptor_ == -1) return errno;
  TcpStream::SetBuffers(descriptor_);
  // Goes over to the connections. The end of a client that is not read may be held back in the client's own system,
  // where it cannot be seen. That system forgets the connection after some minutes, and its answer to the next look
  // says so.
  setsockopt(descriptor_, IPPROTO_TCP, TCP_KEEPIDLE, &kKeepAliveSeconds, sizeof kKeepAliveSeconds);
  return listen(descriptor_, SOMAXCONN) == -1 ? errno : 0;
}

void SocketTcpListener::AcceptOne() {
  if (FreeId() == 0) return Pause();
  if (!DescriptorsLeft(descriptor_)) {
    // Where there is room now, the client is still waiting at the next look.
    if (!MakeRoom() && !handlers_.makeRoom()) Pause();
    return;
  }
  sockaddr_in remote{};
  socklen_t size = sizeof remote;
  const int client = accept4(descriptor_, reinterpret_cast<sockaddr*>(&remote), &size, SOCK_NONBLOCK | SOCK_CLOEXEC);
  if (client == -1) {
    const bool temporary = errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR || errno == ECONNABORTED;
    if (!temporary) Pause();
    return;
  }
  handlers_.connectionRequest(Ipv4Text(ntohl(remote.sin_addr.s_addr)), ntohs(remote.sin_port));
  if (HasLeft(client)) {
    close(client);
    return;
  }
  Open(client);
}

// One that only has to end goes first.
bool SocketTcpListener::MakeRoom() {
  const auto stillest = std::ranges::max_element(
      connections_, {}, [](const auto& connection) { return connection.second->StillSeconds(); });
  if (stillest == connections_.end() || stillest->second->StillSeconds() < kStillSecondsForRoom) return false;
  stillest->second->Stream().Abort();
  connections_.erase(stillest);
  return true;
}

void SocketTcpListener::Open(int descriptor) {
  const std::int16_t id = FreeId();
  lastId_ = id;
  connections_[id] = std::make_unique<Connection>(*this, id, descriptor);
  canAccept_->setEnabled(++nesting_ < kMaxNesting);
  handlers_.connected(id, 0, "OK");
  --nesting_;
  if (canAccept_ && !resume_.isActive()) canAccept_->setEnabled(true);
}

/// Accepting again at once would fail again at once, and load the processor with nothing else.
void SocketTcpListener::Pause() {
  canAccept_->setEnabled(false);
  resume_.start();
}

/// The next id in turn, so that one just given back is the last to be used again; 0 when there is none.
std::int16_t SocketTcpListener::FreeId() {
  constexpr std::int16_t kMaxId = std::numeric_limits<std::int16_t>::max();
  if (connections_.size() == static_cast<std::size_t>(kMaxId)) return 0;
  std::int16_t id = lastId_;
  do {
    id = static_cast<std::int16_t>(id == kMaxId ? 1 : id + 1);
  } while (connections_.contains(id));
  return id;
}

SocketTcpListener::Connection* SocketTcpListener::Find(std::int16_t connection) {
  const auto found = connections_.find(connection);
  return found == connections_.end() ? nullptr : found->second.get();
}

std::size_t SocketTcpListener::Send(std::int16_t connection, std::string_view data) {
  Connection* const found = Find(connection);
  return found ? found->Stream().Send(data) : 0;
}

void SocketTcpListener::SetReading(std::int16_t connection, bool reading) {
  if (Connection* const found = Find(connection)) found->SetReading(reading);
}

void SocketTcpListener::Release(std::int16_t connection) {
  if (Connection* const found = Find(connection)) found->Release();
}

void SocketTcpListener::Finish(std::int16_t connection) {
  if (Connection* const found = Find(connection)) found->Finish();
}

void SocketTcpListener::Close(std::int16_t connection) { connections_.erase(connection); }

std::uint64_t SocketTcpListener::Moved(std::int16_t connection) {
  Connection* const found = Find(connection);
  return found ? found->Stream().Moved() : 0;
}

void SocketTcpListener::CloseAll() {
  resume_.stop();
  canAccept_.reset();
  if (descriptor_ != -1) close(descriptor_);
  descriptor_ = -1;
  connections_.clear();
}

}  // namespace quenvar
