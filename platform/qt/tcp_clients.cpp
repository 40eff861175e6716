#include "platform/qt/tcp_clients.h"

#include <QTimer>
#include <cerrno>
#include <cstring>
#include <optional>

#include "base/ipv4_text.h"
#include "platform/qt/standstill.h"

namespace quenvar {

/// Between Connect and its end, `started_` is set; the end is always reported from the message loop, by `endSoon_`
/// where no socket event reports it.
class SocketTcpClients::Instance final : private TcpStreamOwner {
 public:
  Instance(SocketTcpClients& clients, std::int16_t index) : clients_(clients), index_(index) {
    endSoon_.setSingleShot(true);
    QObject::connect(&endSoon_, &QTimer::timeout, &endSoon_, [this] { End(endError_); });
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
    const std::optional<std::uint32_t> address = ReadHostAddress(remoteHost_);
    if (!address) return AwaitNobody();
    if (stream_.IsOpen()) endError_ = stream_.Connect(*address, remotePort_);
    if (endError_ != 0 || !stream_.IsOpen()) return EndSoon();
    if (finishing_) standstill_.Start();
  }

  void Finish() {
    finishing_ = true;
    if (connected_) stream_.FinishSending();
    if (!started_) return;
    stream_.IsOpen() ? standstill_.Start() : EndSoon();
  }

  void Abort() {
    stream_.Abort();
    if (started_) EndSoon();
  }

  /// A server that is not read, because its client is slow, cannot be blamed for a standstill.
  bool HasMoved() { return stream_.TakeProgress() || !stream_.Reading(); }

  void Reset() {
    endSoon_.stop();
    standstill_.Stop();
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

  /// Nothing is sent to an address that is nobody's. That is no refusal: the instance stays until its client leaves.
  void AwaitNobody() {
    stream_.Close();
    if (finishing_) EndSoon();
  }

  void EndSoon() {
    stream_.Close();
    endSoon_.start(0);
  }

  /// A client that only closed its sending side looks the same as one that is gone, so the time of a standstill also is
  /// the time that an answer may take.
  void GiveUp() {
    if (!stream_.AllTaken()) stream_.Abort();
    End(ETIMEDOUT);
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
  QTimer endSoon_;
  Standstill standstill_{[this] { return HasMoved(); }, [this] { GiveUp(); }};
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

bool SocketTcpClients::HasMoved(std::int16_t index) { return At(index).HasMoved(); }

std::uint64_t SocketTcpClients::Moved(std::int16_t index) { return At(index).Stream().Moved(); }

void SocketTcpClients::CloseAll() {
  for (const auto& instance : instances_) instance->Reset();
}

}  // namespace quenvar
