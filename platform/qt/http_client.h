#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include "platform/http.h"

class QByteArray;
class QString;
class QUrl;

namespace quenvar {

struct HttpHead;

/// HTTP and HTTPS on Qt's sockets, without cookies, caches, passwords and packed bodies, and only with the proxy that
/// it is given. Each request has connections of its own, which are closed when `disconnected` is raised. The code of an
/// error is the status of the answer, or 0. The client may be destroyed at any time, by the handler of an event too.
///
/// The toolkit's own client is not used: it reads headers for as long as they come, in a thread that it cannot stop and
/// for whose end its destructor waits seconds, in the thread of the DNS service.
class QtHttpClient final : public HttpClient {
 public:
  /// `silence`: how long the server may send nothing, or take for all of its headers.
  explicit QtHttpClient(std::chrono::milliseconds silence = std::chrono::seconds(30)) : silence_(silence) {}
  ~QtHttpClient() override { Abort(); }
  QtHttpClient(const QtHttpClient&) = delete;
  QtHttpClient& operator=(const QtHttpClient&) = delete;

  void SetEvents(const Events& events) override { events_ = events; }
  void SetProxyPort(std::int32_t port) override { proxyPort_ = port; }
  void SetProxyServer(const std::string& server) override { proxyServer_ = server; }
  void SetUrl(const std::string& url) override { url_ = url; }
  void SetLocalFile(const std::string& path) override { localFile_ = path; }
  void Get() override;
  void Abort() override { transfer_.reset(); }

 private:
  struct Transfer;

  QString OpenFile();
  QString Open(const QUrl& url);
  void AddHandlers();
  void ConnectionMade();
  void Encrypt();
  void SendRequest();
  void Receive();
  void ReceiveHead();
  void TakeHead(const HttpHead& head);
  void Redirect(const HttpHead& head);
  void ReceiveBody();
  void Deliver(const QByteArray& piece);
  void ConnectionLost();
  void Complete();
  void Fail(const QString& description, int code = 0);
  void End(const std::function<void()>& raiseOutcome);

  const std::chrono::milliseconds silence_;
  Events events_{};
  std::int32_t proxyPort_ = 0;
  std::string proxyServer_;
  std::string url_;
  std::string localFile_;
  // Gone as soon as the request is over or abandoned, which a handler may do: look at it after an event.
  std::shared_ptr<Transfer> transfer_;
};

}  // namespace quenvar
