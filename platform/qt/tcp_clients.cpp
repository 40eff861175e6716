#include "platform/qt/tcp_clients.h"

#include <QTimer>
#include <cerrno>
#include <cstring>

namespace quenvar {

namespace {

/// How long a server may leave a connection without a byte in any direction after its client has closed. A client that
/// only closed its sending side looks the same as one that is gone, so this also is the time that an answer may take.
constexpr int kSilenceMilliseconds = 10'000;

}  // namespace

/// Between Connect and its end, `started_` is set; the end is always reported from the message loop, by `timer_` where
/// no socket event reports it.
class SocketTcpClients::Instance final : private TcpStreamOwner {
 public:
  Instance(SocketTcpClients& clients, std::int16_t index) : clients_(clients), index_(index) {
    timer_.setSingleShot(true);
    QObject::connect(&timer_, &QTimer::timeout, &timer_, [this] { TimeIsUp(); });
  }

  TcpStream& Stream() { return stream_; }
  void SetRemoteHost(const std::string& address) { remoteHost_ = address; }
  void SetRemotePort(std::int32_t port) { remotePort_ = static_cast<std::uint16_t>(port); }

  void Prepare() {
    Reset();
    // The descriptor is taken before any event can run that takes one too.
    if (!stream_.Open()) endError_ = errno;
  }

  void Connect() {
    if (started_) return;
    started_ = true;
    if (stream_.IsOpen()) endError_ = stream_.Connect(remoteHost_, remotePort_);
    if (endError_ != 0 || !stream_.IsOpen()) return EndSoon();
    if (finishing_) timer_.start(kSilenceMilliseconds);
  }

  void Finish() {
    finishing_ = true;
    if (connected_) stream_.FinishSending();
    if (started_ && stream_.IsOpen()) timer_.start(kSilenceMilliseconds);
  }

  void Abort() {
    stream_.Close();
    if (started_) EndSoon();
  }

  void Reset() {
    timer_.stop();
    stream_.Close();
    started_ = connected_ = finishing_ = false;
    endError_ = 0;
  }

 private:
  void StreamConnected() override {
    connected_ = true;
    clients_.handlers_.connected(index_, 0, "OK");
    if (finishing_ && stream_.IsOpen()) stream_.FinishSending();
  }

  void StreamData(std::string_view data) override { clients_.handlers_.dataIn(index_, data); }
  void StreamSent() override { clients_.handlers_.allSent(index_); }
  void StreamEnded(int error) override { End(error); }

  void EndSoon() {
    stream_.Close();
    timer_.start(0);
  }

  void TimeIsUp() {
    // A server that is not read, because its client is slow, cannot be blamed for silence.
    const bool lives = stream_.IsOpen() && (stream_.TakeProgress() || !stream_.Reading());
    if (lives) return timer_.start(kSilenceMilliseconds);
    End(endError_);
  }

  void End(int error) {
    Reset();
    clients_.handlers_.disconnected(index_, error, error == 0 ? "" : std::strerror(error));
  }

  SocketTcpClients& clients_;
  const std::int16_t index_;
  std::string remoteHost_;
  std::uint16_t remotePort_ = 0;
  bool started_ = false;
  bool connected_ = false;
  bool finishing_ = false;
  int endError_ = 0;
  QTimer timer_;
  TcpStream stream_{*this};
};

SocketTcpClients::SocketTcpClients() { Create(0); }

SocketTcpClients::~SocketTcpClients() = default;

void SocketTcpClients::Create(std::int16_t index) { instances_.push_back(std::make_unique<Instance>(*this, index)); }

void SocketTcpClients::Prepare(std::int16_t index) { At(index).Prepare(); }

void SocketTcpClients::SetRemoteHost(std::int16_t index, const std::string& address) {
  At(index).SetRemoteHost(address);
}

void SocketTcpClients::SetRemotePort(std::int16_t index, std::int32_t port) { At(index).SetRemotePort(port); }

void SocketTcpClients::Connect(std::int16_t index) { At(index).Connect(); }

void SocketTcpClients::Disconnect(std::int16_t index, bool awaitAnswers) {
  awaitAnswers ? At(index).Finish() : At(index).Abort();
}

std::size_t SocketTcpClients::Send(std::int16_t index, std::string_view data) { return At(index).Stream().Send(data); }

void SocketTcpClients::SetReading(std::int16_t index, bool reading) { At(index).Stream().SetReading(reading); }

void SocketTcpClients::CloseAll() {
  for (const auto& instance : instances_) instance->Reset();
}

}  // namespace quenvar
