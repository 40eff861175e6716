// TCP over IPv4 in the manner of socket controls: a listener that holds the clients' connections under ids, and an
// indexed family of sockets that connect to servers. No procedure here raises an event before it has returned.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace quenvar {

/// Clients' connections. An id is at least 1, and no other connection gets it before this one is closed and released.
class TcpListener {
 public:
  struct Handlers {
    /// A client, by its dotted decimal address and port, asks for a connection.
    void (*connectionRequest)(const std::string& address, std::int32_t port) = nullptr;
    /// The connection exists. It may report data and its end while the handler lets events run.
    void (*connected)(std::int16_t connection, int status, const std::string& description) = nullptr;
    /// `data`, at most 64 KiB, stays as it is until the handler returns, also when the handler lets events run.
    void (*dataIn)(std::int16_t connection, std::string_view data) = nullptr;
    /// With status 0 the client has closed its sending side, and what is sent to it still arrives. With an error number
    /// of the operating system the connection is gone; that may follow on status 0.
    void (*disconnected)(std::int16_t connection, int status, const std::string& description) = nullptr;
    /// No byte given to Send waits any more. Only after a Send that left some waiting.
    void (*allSent)(std::int16_t connection) = nullptr;
    /// Asked now and then while a client that is not read has closed its sending side: whether what it has sent before
    /// still gets on. When it does not for some seconds, the connection is gone.
    bool (*hasMoved)(std::int16_t connection) = nullptr;
    /// Descriptors run out. True when connections were closed so that the next one can be accepted.
    bool (*makeRoom)() = nullptr;
  };

  virtual ~TcpListener() = default;

  virtual void SetHandlers(const Handlers& handlers) = 0;
  virtual void SetLocalPort(std::uint16_t port) = 0;
  /// Listens on the local port of all interfaces. 0, or the error number: kErrorAddressInUse (platform/udp_port.h)
  /// where the port is taken.
  virtual int Activate() = 0;

  /// Sends all of `data` as the client takes it, and returns how many bytes are still waiting on this side. What is
  /// sent to a connection that is gone is lost, and nothing waits.
  virtual std::size_t Send(std::int16_t connection, std::string_view data) = 0;
  /// Stops and resumes dataIn. While it is stopped, the client cannot send more than the system's buffers take.
  virtual void SetReading(std::int16_t connection, bool reading) = 0;
  /// Says that nothing will be sent to the connection any more. It goes on until the client closes it; when the client
  /// has closed its sending side already, it is closed as soon as nothing waits.
  virtual void Release(std::int16_t connection) = 0;
  /// Closes the connection in an orderly way when all that waits has been sent. What the client sends meanwhile is
  /// dropped, and no event of it comes any more.
  virtual void Finish(std::int16_t connection) = 0;
  /// Closes the connection at once, without any event.
  virtual void Close(std::int16_t connection) = 0;
  /// A number that changes whenever bytes have come from the client, or it has confirmed some.
  virtual std::uint64_t Moved(std::int16_t connection) = 0;
  /// Closes the port and every connection, without any event.
  virtual void CloseAll() = 0;
};

/// Connections to servers, one for each instance. Instance 0 exists from the start.
class TcpClients {
 public:
  struct Handlers {
    void (*connected)(std::int16_t index, int status, const std::string& description) = nullptr;
    /// As TcpListener's.
    void (*dataIn)(std::int16_t index, std::string_view data) = nullptr;
    /// Exactly one for every Connect: the attempt has failed, the server has closed its sending side and all of its
    /// data was reported, or the connection is gone. The instance can be prepared again.
    void (*disconnected)(std::int16_t index, int status, const std::string& description) = nullptr;
    /// As TcpListener's.
    void (*allSent)(std::int16_t index) = nullptr;
  };

  virtual ~TcpClients() = default;

  virtual void SetHandlers(const Handlers& handlers) = 0;
  /// Makes the next instance, which is number `index`.
  virtual void Create(std::int16_t index) = 0;

  /// Sets an unconnected instance up for one Connect.
  virtual void Prepare(std::int16_t index) = 0;
  /// The address of a host (base/ipv4_text.h). With any other text nothing is sent, and the instance stays as it is
  /// until Disconnect; a name is never looked up.
  virtual void SetRemoteHost(std::int16_t index, const std::string& address) = 0;
  virtual void SetRemotePort(std::int16_t index, std::int32_t port) = 0;
  /// Starts to connect. The outcome arrives as connected or disconnected.
  virtual void Connect(std::int16_t index) = 0;
  /// Ends the connection, also one that is only prepared or on its way. With `awaitAnswers` what was sent still reaches
  /// the server, and what it answers is reported until it closes too or nothing has moved for some seconds. The
  /// server sees a reset where it has not taken everything by then, and without `awaitAnswers`.
  virtual void Disconnect(std::int16_t index, bool awaitAnswers) = 0;
  /// As TcpListener's, for a connected instance.
  virtual std::size_t Send(std::int16_t index, std::string_view data) = 0;
  virtual void SetReading(std::int16_t index, bool reading) = 0;
  /// True when the server has taken or sent bytes since the last call, and while it is not read.
  virtual bool HasMoved(std::int16_t index) = 0;
  /// As TcpListener's.
  virtual std::uint64_t Moved(std::int16_t index) = 0;
  /// Closes every connection, without any event.
  virtual void CloseAll() = 0;
};

}  // namespace quenvar
