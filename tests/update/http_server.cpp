#include "tests/update/http_server.h"

#include <QTimer>
#include <memory>

namespace quenvar {

HttpServer::HttpServer() {
  server_.listen(QHostAddress::LocalHost);
  QObject::connect(&server_, &QTcpServer::newConnection, [this] {
    QTcpSocket* const client = server_.nextPendingConnection();
    QObject::connect(client, &QTcpSocket::readyRead, client, [this, client] { Read(*client); });
    QObject::connect(client, &QTcpSocket::disconnected, client, &QObject::deleteLater);
  });
}

std::string HttpServer::Url(const std::string& path) const {
  return "http://127.0.0.1:" + std::to_string(Port()) + path;
}

int HttpServer::Connections() const { return static_cast<int>(server_.findChildren<QTcpSocket*>().size()); }

void HttpServer::Read(QTcpSocket& client) {
  if (!client.peek(65536).contains("\r\n\r\n")) return;
  const std::string line = client.readAll().split('\r').first().toStdString();
  lines_.push_back(line);
  const std::size_t start = line.find(' ') + 1;
  const auto found = answers_.find(line.substr(start, line.rfind(' ') - start));
  (found == answers_.end() ? Reply(Response("", "404 Not Found")) : found->second)(client, line);
}

std::string Response(const std::string& body, const std::string& status) {
  return "HTTP/1.1 " + status + "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

HttpServer::Answer Reply(const std::string& bytes) {
  return [bytes](QTcpSocket& client, const std::string&) { client.write(QByteArray::fromStdString(bytes)); };
}

HttpServer::Answer ReplyAndClose(const std::string& bytes) {
  return [bytes](QTcpSocket& client, const std::string& line) {
    Reply(bytes)(client, line);
    client.disconnectFromHost();
  };
}

HttpServer::Answer Trickle(const std::string& bytes, int milliseconds) {
  return [bytes, milliseconds](QTcpSocket& client, const std::string&) {
    auto* const timer = new QTimer(&client);
    const auto sent = std::make_shared<std::size_t>(0);
    QObject::connect(timer, &QTimer::timeout, &client, [&client, timer, bytes, sent] {
      client.write(&bytes[(*sent)++], 1);
      if (*sent == bytes.size()) timer->stop();
    });
    timer->start(milliseconds);
  };
}

HttpServer::Answer Endless(const std::string& start, const std::string& piece) {
  return [start, piece](QTcpSocket& client, const std::string& line) {
    QObject::connect(&client, &QTcpSocket::bytesWritten, &client, [&client, piece, line] {
      if (client.bytesToWrite() < 65536) Reply(piece)(client, line);
    });
    Reply(start)(client, line);
  };
}

}  // namespace quenvar
