// A small HTTP server on loopback, in the thread and message loop of the test.
#pragma once

#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>
#include <map>
#include <string>
#include <vector>

namespace quenvar {

/// A whole answer with its length. `status`: "200 OK" and the like, and more header lines after CR LF.
inline std::string Response(const std::string& body, const std::string& status = "200 OK") {
  return "HTTP/1.1 " + status + "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

class HttpServer {
 public:
  struct Answer {
    std::string bytes = Response("", "404 Not Found");  ///< none: silent
    bool closes = false;                                ///< else the connection stays open
    int pause = 0;                                      ///< milliseconds before each of its two halves
  };

  HttpServer() {
    server_.listen(QHostAddress::LocalHost);
    QObject::connect(&server_, &QTcpServer::newConnection, [this] {
      QTcpSocket* const client = server_.nextPendingConnection();
      QObject::connect(client, &QTcpSocket::readyRead, client, [this, client] { Read(*client); });
      QObject::connect(client, &QTcpSocket::disconnected, client, &QObject::deleteLater);
    });
  }

  std::string Url(const std::string& path) const { return "http://127.0.0.1:" + std::to_string(Port()) + path; }
  std::uint16_t Port() const { return server_.serverPort(); }
  /// The connections that are open still.
  int Connections() const { return static_cast<int>(server_.findChildren<QTcpSocket*>().size()); }

  /// By path. A request to a proxy has the whole URL as its path.
  std::map<std::string, Answer> answers;
  /// The first lines of all requests so far.
  std::vector<std::string> lines;

 private:
  void Read(QTcpSocket& client) {
    if (!client.peek(65536).contains("\r\n\r\n")) return;
    const std::string line = lines.emplace_back(client.readAll().split('\r').first().toStdString());
    const std::size_t start = line.find(' ') + 1;
    const Answer& answer = answers[line.substr(start, line.rfind(' ') - start)];
    const QByteArray bytes = QByteArray::fromStdString(answer.bytes);
    QTimer::singleShot(answer.pause, &client, [&client, half = bytes.left(bytes.size() / 2)] { client.write(half); });
    QTimer::singleShot(2 * answer.pause, &client, [&client, bytes, closes = answer.closes] {
      client.write(bytes.mid(bytes.size() / 2));
      if (closes) client.disconnectFromHost();
    });
  }

  QTcpServer server_;
};

}  // namespace quenvar
