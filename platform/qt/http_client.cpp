#include "platform/qt/http_client.h"

#include <QNetworkProxy>
#include <QSaveFile>
#include <QSslSocket>
#include <QTimer>
#include <QUrl>
#include <utility>

#include "platform/qt/http_head.h"
#include "platform/qt/screen_text.h"

namespace quenvar {

namespace {

constexpr qint64 kPieceBytes = 64 * 1024;
constexpr qint64 kHeadLimitBytes = kPieceBytes;
constexpr qint64 kBodyLimitBytes = 1024 * 1024;
constexpr qint64 kFileLimitBytes = 1024 * kBodyLimitBytes;
/// A description may be the server's own words.
constexpr qsizetype kDescriptionCharacters = 200;
constexpr char kNotWritten[] = "The file cannot be written";
constexpr int kMaxRedirects = 10;
constexpr int kHttpPort = 80;
constexpr int kHttpsPort = 443;

bool IsEncrypted(const QUrl& url) { return url.scheme() == "https"; }
bool IsWebAddress(const QUrl& url) { return (IsEncrypted(url) || url.scheme() == "http") && !url.host().isEmpty(); }
quint16 Port(const QUrl& url) { return static_cast<quint16>(url.port(IsEncrypted(url) ? kHttpsPort : kHttpPort)); }

QByteArray Authority(const QUrl& url) {
  return url.adjusted(QUrl::RemoveUserInfo).authority(QUrl::FullyEncoded).toLatin1();
}

}  // namespace

struct QtHttpClient::Transfer {
  QUrl url;
  int redirects = 0;
  bool tunnelAsked = false;  ///< the next head is the proxy's
  bool sent = false;
  QByteArray head;
  bool inBody = false;
  qint64 bodyBytes = kToTheEnd;
  qint64 bytes = 0;
  QTimer silence;
  std::unique_ptr<QSslSocket> socket;
  std::unique_ptr<QSaveFile> file;  ///< where the body goes, if not to the events; takes back what is not committed
};

void QtHttpClient::Get() {
  transfer_ = std::make_shared<Transfer>();
  QTimer& silence = transfer_->silence;
  silence.setSingleShot(true);
  silence.setInterval(silence_);
  QObject::connect(&silence, &QTimer::timeout, [this] { Fail("The server did not answer in time"); });
  QString problem = OpenFile();
  if (problem.isEmpty()) problem = Open(QUrl(ToScreen(url_)));
  if (!problem.isEmpty()) QTimer::singleShot(0, &silence, [this, problem] { Fail(problem); });
}

/// Returns why the file cannot be written, or nothing.
QString QtHttpClient::OpenFile() {
  if (localFile_.empty()) return {};
  transfer_->file = std::make_unique<QSaveFile>(QString::fromStdString(localFile_));
  return transfer_->file->open(QIODevice::WriteOnly) ? QString() : transfer_->file->errorString();
}

/// Connects to the server, or to the proxy. Returns why that cannot be, or nothing.
QString QtHttpClient::Open(const QUrl& url) {
  if (!IsWebAddress(url)) return "Not a web address: " + url.toString();
  if (!proxyServer_.empty() && !std::in_range<quint16>(proxyPort_)) return "The proxy has no such port";
  transfer_->url = url;
  if (url.path().isEmpty()) transfer_->url.setPath("/");
  transfer_->socket = std::make_unique<QSslSocket>();
  AddHandlers();
  QSslSocket& socket = *transfer_->socket;
  socket.setReadBufferSize(kPieceBytes);
  socket.setProxy(QNetworkProxy::NoProxy);
  socket.setPeerVerifyName(url.host());
  if (proxyServer_.empty())
    socket.connectToHost(url.host(), Port(url));
  else
    socket.connectToHost(ToScreen(proxyServer_), static_cast<quint16>(proxyPort_));
  transfer_->silence.start();
  return {};
}

// The queue keeps events out of the calls and forgets those of a socket that is gone, which may be at any time then.
void QtHttpClient::AddHandlers() {
  QSslSocket* const socket = transfer_->socket.get();
  const auto queued = Qt::QueuedConnection;
  QObject::connect(
      socket, &QSslSocket::connected, socket, [this] { ConnectionMade(); }, queued);
  QObject::connect(
      socket, &QSslSocket::encrypted, socket, [this] { SendRequest(); }, queued);
  QObject::connect(
      socket, &QSslSocket::readyRead, socket, [this] { Receive(); }, queued);
  QObject::connect(
      socket, &QSslSocket::errorOccurred, socket, [this] { ConnectionLost(); }, queued);
}

void QtHttpClient::ConnectionMade() {
  const QUrl& url = transfer_->url;
  if (!IsEncrypted(url)) return SendRequest();
  transfer_->tunnelAsked = !proxyServer_.empty();
  if (!transfer_->tunnelAsked) return transfer_->socket->startClientEncryption();
  QUrl server = url;
  server.setPort(Port(url));
  transfer_->socket->write("CONNECT " + Authority(server) + " HTTP/1.1\r\nHost: " + Authority(server) + "\r\n\r\n");
}

// In the older version of the protocol a body comes as it is, not in chunks.
void QtHttpClient::SendRequest() {
  const QUrl& url = transfer_->url;
  QUrl::FormattingOptions cut = QUrl::RemoveFragment | QUrl::RemoveUserInfo;
  const bool forProxy = !proxyServer_.empty() && !IsEncrypted(url);
  if (!forProxy) cut |= QUrl::RemoveScheme | QUrl::RemoveAuthority;
  transfer_->socket->write("GET " + url.toEncoded(cut) + " HTTP/1.0\r\nHost: " + Authority(url) + "\r\n\r\n");
  transfer_->silence.start();
  if (!std::exchange(transfer_->sent, true)) events_.connected(0, "");
}

void QtHttpClient::Receive() { transfer_->inBody ? ReceiveBody() : ReceiveHead(); }

void QtHttpClient::ReceiveHead() {
  QSslSocket& socket = *transfer_->socket;
  QByteArray& head = transfer_->head;
  while (socket.canReadLine() && head.size() < kHeadLimitBytes) {
    const QByteArray line = socket.readLine();
    if (line.trimmed().isEmpty()) return TakeHead(ReadHttpHead(std::exchange(head, {})));
    head += line;
  }
  if (head.size() + socket.bytesAvailable() >= kHeadLimitBytes) Fail("The answer's headers are too long");
}

void QtHttpClient::TakeHead(const HttpHead& head) {
  const int kind = head.status / 100;
  const bool fromProxy = std::exchange(transfer_->tunnelAsked, false);
  if (fromProxy && kind == 2) return Encrypt();
  if (!fromProxy && kind == 3 && !head.location.isEmpty()) return Redirect(head);
  if (kind != 2) return Fail("The server answered " + QString::fromLatin1(head.statusText), head.status);
  if (head.isCoded) return Fail("The answer is packed");
  // Without its length, a file that was cut off looks whole; without a limit, one may fill the disk.
  const bool sized = head.bodyBytes != kToTheEnd && head.bodyBytes <= kFileLimitBytes;
  if (transfer_->file && !sized) return Fail("The file has no length, or is too long");
  transfer_->inBody = true;
  transfer_->bodyBytes = head.bodyBytes;
  ReceiveBody();
}

// What is here already has come in the open, and would be taken for what comes in secret.
void QtHttpClient::Encrypt() {
  if (transfer_->socket->bytesAvailable() > 0) return Fail("The proxy said too much");
  transfer_->socket->startClientEncryption();
}

// What was asked for in secret is not to come in the open.
void QtHttpClient::Redirect(const HttpHead& head) {
  const QUrl from = transfer_->url;
  const QUrl to = from.resolved(QUrl::fromEncoded(head.location));
  const bool allowed = ++transfer_->redirects <= kMaxRedirects && (IsEncrypted(to) || !IsEncrypted(from));
  const QString problem = allowed ? Open(to) : "Redirected too often, or to where it is not safe";
  if (!problem.isEmpty()) Fail(problem, head.status);
}

void QtHttpClient::ReceiveBody() {
  const std::weak_ptr<Transfer> current = transfer_;
  QByteArray piece = transfer_->socket->readAll();
  if (transfer_->bodyBytes != kToTheEnd) piece.truncate(transfer_->bodyBytes - transfer_->bytes);
  if (!piece.isEmpty()) Deliver(piece);
  if (!current.expired() && transfer_->bytes == transfer_->bodyBytes) Complete();
}

void QtHttpClient::Deliver(const QByteArray& piece) {
  transfer_->silence.start();
  transfer_->bytes += piece.size();
  if (QSaveFile* const file = transfer_->file.get()) {
    if (file->write(piece) != piece.size()) return Fail(kNotWritten);
    return events_.transfer(transfer_->bytes, {});
  }
  if (transfer_->bytes > kBodyLimitBytes) return Fail("The answer is too long");
  events_.transfer(transfer_->bytes, {piece.data(), static_cast<std::size_t>(piece.size())});
}

void QtHttpClient::ConnectionLost() {
  const QSslSocket& socket = *transfer_->socket;
  if (socket.error() != QSslSocket::RemoteHostClosedError) return Fail(socket.errorString());
  if (!transfer_->inBody || transfer_->bodyBytes != kToTheEnd)
    return Fail("The server closed the connection too early");
  Complete();
}

void QtHttpClient::Complete() {
  QSaveFile* const file = transfer_->file.get();
  if (file && !file->commit()) return Fail(kNotWritten);
  End([this] { events_.endOfTransfer(); });
}

void QtHttpClient::Fail(const QString& description, int code) {
  End([&] { events_.error(code, FromScreen(description.left(kDescriptionCharacters))); });
}

// A handler that shows a message box lets other events in: by then there is nothing left that could raise one.
void QtHttpClient::End(const std::function<void()>& raiseOutcome) {
  const std::weak_ptr<Transfer> current = transfer_;
  transfer_->silence.stop();
  transfer_->socket.reset();
  transfer_->file.reset();
  raiseOutcome();
  if (current.expired()) return;
  Abort();
  events_.disconnected();
}

}  // namespace quenvar
