// One TCP connection in the message loop: a non-blocking socket with what waits to be sent on it.
//
// The toolkit's own TCP socket is not used: it closes both directions as soon as the other side has closed one, so a
// client that shuts down its sending side after the query would never see its answer.
#pragma once

#include <sys/types.h>

#include <QSocketNotifier>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace quenvar {

/// Learns what happens on a stream. In each of these calls the stream may be closed, and destroyed in all but Data.
class TcpStreamOwner {
 public:
  virtual void StreamConnected() {}
  virtual void StreamData(std::string_view data) = 0;
  /// Nothing waits any more that Send has left waiting.
  virtual void StreamSent() = 0;
  /// 0: the other side has closed its sending side, and sending goes on. Otherwise the error number of a stream that is
  /// of no more use; it comes at most once, and nothing follows it.
  virtual void StreamEnded(int error) = 0;

 protected:
  ~TcpStreamOwner() = default;
};

class TcpStream {
 public:
  explicit TcpStream(TcpStreamOwner& owner) : owner_(owner) {}
  ~TcpStream() { Close(); }
  TcpStream(const TcpStream&) = delete;
  TcpStream& operator=(const TcpStream&) = delete;

  /// Bounds what the system buffers for a socket in each direction. For a listening socket this is to be done before it
  /// listens, and goes over to its connections.
  static void SetBuffers(int descriptor);

  /// Takes over a connected socket.
  void Adopt(int descriptor);
  /// Makes a socket for Connect. False when there is no descriptor left.
  bool Open();
  /// Starts to connect; both numbers are in host byte order. 0 or the error number; the outcome arrives as
  /// StreamConnected or StreamEnded.
  int Connect(std::uint32_t address, std::uint16_t port);
  /// Without any further call of the owner.
  void Close();
  /// The same as a reset, so that the other side does not take what it got for the whole.
  void Abort();
  bool IsOpen() const { return descriptor_ != -1; }

  /// Returns how many bytes wait now. An error is reported as StreamEnded later on.
  std::size_t Send(std::string_view data);
  std::size_t Waiting() const { return waiting_.size(); }
  /// The other side has confirmed all that was sent, and its end where that is finished.
  bool AllTaken() const { return Untaken() == 0; }
  /// The bytes of which that is not so yet.
  std::uint64_t Untaken() const { return waiting_.size() + Unconfirmed(); }
  /// Closes the sending side of a connected stream as soon as nothing waits.
  void FinishSending();
  void SetReading(bool reading);
  bool Reading() const { return reading_; }

  /// The other side has closed its sending side or the connection, which may stand behind bytes not read yet.
  bool PeerHasClosed() const;
  /// Closes the stream and reports the error to the owner.
  void Fail(int error);

  /// True when bytes have come in since the last call, or the other side has confirmed some that were sent: what only
  /// the system's buffers have taken does not count.
  bool TakeProgress();
  /// A number that changes whenever TakeProgress would be true.
  std::uint64_t Moved() const;

 private:
  void Watch();
  void CanRead();
  void CanWrite();
  void ConnectDone();
  void UpdateNotifiers();
  ssize_t SendSome(std::string_view data);
  std::uint64_t Unconfirmed() const;

  TcpStreamOwner& owner_;
  int descriptor_ = -1;
  bool connecting_ = false;
  bool reading_ = true;
  bool readEnded_ = false;
  bool finishSending_ = false;
  std::uint64_t received_ = 0;  // the beginning and the end count too
  std::uint64_t sent_ = 0;
  std::uint64_t lastMoved_ = 0;
  std::string waiting_;
  std::unique_ptr<QSocketNotifier> canRead_;
  std::unique_ptr<QSocketNotifier> canWrite_;
};

}  // namespace quenvar
