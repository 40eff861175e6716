// The client of the update check against a real server on loopback.
#include "platform/qt/http_client.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QNetworkProxy>
#include <QTemporaryDir>
#include <QTest>
#include <filesystem>

#include "tests/fakes/application.h"
#include "tests/update/http_server.h"

namespace quenvar {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMiB = 1 << 20;
const std::string kWhole = "connected transfer end disconnected ";
const std::string kCut = "connected transfer error disconnected ";
const std::string kFailed = "connected error disconnected ";
const std::string kNeverSent = "error disconnected ";

// What the handlers, which are plain procedures, have seen, and what is done in one of them.
std::string events;
std::string body;
std::string awaited;
std::function<void()> act;

// Pieces come as the network cuts them: one event stands for all.
void Seen(const std::string& event, std::string_view text = {}) {
  body += text;
  if (!events.ends_with(event + " ")) events += event + " ";
  if (std::exchange(awaited, event == awaited ? "" : awaited) == event) act();
}

class HttpClientTest : public testing::Test {
 protected:
  HttpClientTest() { NewClient(); }

  void NewClient() {
    client = std::make_unique<QtHttpClient>(std::chrono::seconds(1));
    client->SetEvents({.connected = [](int, const std::string&) { Seen("connected"); },
                       .transfer = [](std::int64_t, std::string_view text) { Seen("transfer", text); },
                       .endOfTransfer = [] { Seen("end"); },
                       .error = [](int, const std::string&) { Seen("error"); },
                       .disconnected = [] { Seen("disconnected"); }});
  }
  void Start(const std::string& url, const std::string& path) {
    events = body = "";
    client->SetUrl(url);
    client->SetLocalFile(path);
    client->Get();
    EXPECT_EQ(events, "") << "from inside of the call";
  }
  /// The events of a whole request.
  std::string Get(const std::string& url, const std::string& path = "") {
    Start(url, path);
    EXPECT_TRUE(QTest::qWaitFor([] { return events.ends_with("disconnected "); }));
    return events;
  }
  void ExpectNothingLeft() {
    EXPECT_TRUE(QTest::qWaitFor([this] { return server.Connections() == 0; }));
    EXPECT_TRUE(fs::is_empty(folder.path().toStdString()));
  }

  TestApplication<QCoreApplication> application;
  QTemporaryDir folder;
  const std::string localFile = folder.filePath("program").toStdString();
  HttpServer server;
  std::unique_ptr<QtHttpClient> client;
};

TEST_F(HttpClientTest, AWholeBodyComesAndAnythingElseIsAnErrorAndLeavesNoFile) {
  const std::string long200(200, 'x');
  const std::string cut = Response("body").substr(0, Response("body").size() - 1);
  const std::string redirect = "302 Found\r\nLocation: ";
  const struct {
    HttpServer::Answer answer;
    std::string events, body;
  } kCases[] = {{Reply(Response("body")), kWhole, "body"},
                {Trickle(Response(long200), 6), kWhole, long200},
                {Reply(Response("not this", redirect + "/other")), kWhole, "other"},
                {Reply(Response("", redirect + "/")), kFailed, ""},
                {Reply(Response("", redirect + "file:///etc/passwd")), kFailed, ""},
                {Reply(Response("", "302 Found")), kFailed, ""},
                {Reply(Response("not this", "404 Not Found")), kFailed, ""},
                {Endless("HTTP/1.1 500 No\r\n\r\n", "x"), kFailed, ""},
                {Reply(""), kFailed, ""},
                {ReplyAndClose("HTTP/1.1 200"), kFailed, ""},
                {Reply(cut), kCut, "bod"},
                {ReplyAndClose(cut), kCut, "bod"},
                {Endless("HTTP/1.1 200 OK\r\n", "A: b\r\n"), kFailed, ""}};
  server.On("/other", Reply(Response("other")));
  for (const auto& expected : kCases) {
    SCOPED_TRACE(&expected - kCases);
    server.On("/", expected.answer);
    EXPECT_EQ(Get(server.Url("/")), expected.events);
    EXPECT_EQ(body, expected.body);
    EXPECT_EQ(Get(server.Url("/"), localFile), expected.events);
    EXPECT_EQ(body, "");
    std::error_code noFile;
    EXPECT_EQ(fs::file_size(localFile, noFile), expected.events == kWhole ? expected.body.size() : std::uintmax_t(-1));
    fs::remove(localFile);
    ExpectNothingLeft();
  }
}

TEST_F(HttpClientTest, ABodyIsLimitedUnlessItGoesIntoAFile) {
  server.On("/5MiB", Reply(Response(std::string(5 * kMiB, 'x'))));
  server.On("/endless", Endless("HTTP/1.1 200 OK\r\n\r\n", std::string(65536, 'x')));
  for (const char* path : {"/5MiB", "/endless"}) {
    EXPECT_EQ(Get(server.Url(path)), kCut) << path;
    EXPECT_LE(body.size(), kMiB);
  }
  EXPECT_EQ(Get(server.Url("/5MiB"), localFile), kWhole);
  EXPECT_EQ(fs::file_size(localFile), 5 * kMiB);
}

TEST_F(HttpClientTest, WhatCannotWorkIsNotSent) {
  for (const char* url :
       {"", "/", "ftp://127.0.0.1/", "file:///etc/passwd", "data:,x", "http://", "http://127.0.0.1:1/"})
    EXPECT_EQ(Get(url), kNeverSent) << url;
  for (const std::string& path : {folder.path().toStdString(), localFile + "/x", std::string("/proc/x")})
    EXPECT_EQ(Get(server.Url("/"), path), kNeverSent) << path;
  EXPECT_EQ(server.Lines().size(), 0);
  ExpectNothingLeft();
}

TEST_F(HttpClientTest, AHandlerMayEndItAllOrAskAgain) {
  server.On("/", Reply(Response("body")));
  server.On("/cut", ReplyAndClose("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nbody"));
  const std::function<void()> kActs[] = {[this] { client->Abort(); }, [this] { client.reset(); },
                                         [this] { Start(server.Url("/"), ""); }};
  const std::string kCases[][2] = {
      {"connected", "/"}, {"transfer", "/"}, {"end", "/"}, {"disconnected", "/"}, {"error", "/cut"}};
  for (const auto& [last, path] : kCases) {
    for (const auto& what : kActs) {
      SCOPED_TRACE(last + std::to_string(&what - kActs));
      NewClient();
      awaited = last;
      act = what;
      Start(server.Url(path), localFile);
      EXPECT_TRUE(QTest::qWaitFor([] { return awaited.empty(); }));
      const bool again = &what == &kActs[2];
      EXPECT_EQ(QTest::qWaitFor([] { return events == kWhole && body == "body"; }, again ? 5000 : 100), again);
      EXPECT_TRUE(again || events.ends_with(last + " ")) << events;
      EXPECT_EQ(fs::remove(localFile), last == "end" || last == "disconnected");
      ExpectNothingLeft();
    }
  }
}

// The server plays the proxy: a name that nobody knows reaches it only in a request for a proxy.
TEST_F(HttpClientTest, OnlyTheProxyThatIsSetIsUsed) {
  const std::string url = "http://update.invalid/info";
  server.On(url, Reply(Response("by proxy")));
  QNetworkProxy::setApplicationProxy({QNetworkProxy::HttpProxy, "127.0.0.1", server.Port()});
  EXPECT_EQ(Get(url), kNeverSent);
  client->SetProxyServer("127.0.0.1");
  client->SetProxyPort(server.Port() + 65536);
  EXPECT_EQ(Get(url), kNeverSent);
  EXPECT_EQ(server.Lines().size(), 0);
  client->SetProxyPort(server.Port());
  EXPECT_EQ(Get(url), kWhole);
  EXPECT_EQ(server.Lines(), std::vector<std::string>{"GET " + url + " HTTP/1.0"});
  QNetworkProxy::setApplicationProxy(QNetworkProxy::NoProxy);
}

}  // namespace
}  // namespace quenvar
