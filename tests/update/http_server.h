// A small HTTP server on loopback, in the thread and message loop of the test.
#pragma once

#include <QTcpServer>
#include <QTcpSocket>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace quenvar {

class HttpServer {
 public:
  /// Answers one request. `line`: its first line, without the line end. One who writes nothing is silent.
  using Answer = std::function<void(QTcpSocket& client, const std::string& line)>;

  HttpServer();

  /// A path without an answer of its own is answered with 404. A request to a proxy has the whole URL as its path.
  void On(const std::string& path, Answer answer) { answers_[path] = std::move(answer); }
  std::string Url(const std::string& path) const;
  std::uint16_t Port() const { return server_.serverPort(); }
  /// The first lines of all requests so far.
  const std::vector<std::string>& Lines() const { return lines_; }
  /// The connections that are open still.
  int Connections() const;

 private:
  void Read(QTcpSocket& client);

  std::map<std::string, Answer> answers_;
  std::vector<std::string> lines_;
  QTcpServer server_;
};

/// A whole answer with its length. `status`: "200 OK" and the like, and more header lines after CR LF.
std::string Response(const std::string& body, const std::string& status = "200 OK");

/// Writes all of it at once and leaves the connection open.
HttpServer::Answer Reply(const std::string& bytes);
/// Closes after it has written.
HttpServer::Answer ReplyAndClose(const std::string& bytes);
/// One byte after the other, so many milliseconds apart.
HttpServer::Answer Trickle(const std::string& bytes, int milliseconds);
/// `piece` over and over after `start`, as fast as the client takes it and until it closes.
HttpServer::Answer Endless(const std::string& start, const std::string& piece);

}  // namespace quenvar
