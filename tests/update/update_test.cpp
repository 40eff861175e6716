// The update check: its dialog and its HTTP client against a real server.
#include <QAccessible>
#include <QApplication>
#include <QDesktopServices>
#include <QNetworkProxy>
#include <QPlainTextEdit>
#include <QTemporaryDir>
#include <QTest>
#include <QTextBrowser>
#include <filesystem>
#include <fstream>

#include "platform/desktop.h"
#include "platform/posix/disk_files.h"
#include "platform/qt/http_client.h"
#include "platform/qt/qt_message_boxes.h"
#include "tests/fakes/application.h"
#include "tests/fakes/service.h"
#include "tests/update/http_server.h"
#include "ui/parts/layout.h"
#include "update/dialog/update_dialog.h"
#include "update/proxy_text.h"

namespace quenvar {
namespace {

TEST(UpdateRules, ProxySettings) {
  const std::tuple<std::string, std::optional<std::string>, std::int32_t> cases[] = {
      {"ftp=10.1.2.3:21;HTTP=10.1.2.3:3128;", "10.1.2.3", 3128},
      {"http=proxy.lan: 80x", "proxy.lan", 80},
      {"https=10.1.2.3:x", "=10.1.2.3", 0},
      {"10.1.2.3:8080", "", 0},
      {"http=10.1.2.3", std::nullopt, -1},
      {"http=" + std::string(32762, '1') + ":80", std::nullopt, -1},
      {"http=10.1.2.3:99999999999", "10.1.2.3", -1},
  };
  for (auto [setting, host, port] : cases) {
    EXPECT_EQ(GetProxyFromRegistryString(setting, "http"), host) << setting.substr(0, 40);
    EXPECT_EQ(GetProxyPortFromRegistryString(setting, "http").value_or(-1), port) << setting.substr(0, 40);
  }
}

const std::string kPath = "/dnsupdateinfo.asp";
const std::string kNotStarted = "Auto-Update: Could not execute program to update Quenvar";

class Update : public Service {
 protected:
  Update() {
    platform.http = &http;
    platform.files = &disk;
    SetAppPath(folder.path().toStdString() + "/");
    SetProgramVersion("2.0.7");
    UpdateServer = server.Url("");
  }

  /// Opens the dialog, and waits until it has its answer.
  void Check(const HttpServer::Answer& answer) {
    server.answers[kPath] = server.answers["/file"] = answer;
    dialog = std::make_unique<Quenvar_UpdateCheck>(nullptr);
    dialog->show();
    EXPECT_TRUE(QTest::qWaitFor([] { return !Checking; }));
  }
  /// Downloads the same answer, as this file.
  void Download(const std::string& name) {
    DownloadUrl = server.Url("/file");
    UpdateFileName = name;
    boxes.shown.clear();
    Press("SSCommand2");
  }
  bool Closed() {
    return QTest::qWaitFor([this] { return !dialog->isVisible() && server.Connections() == 0; });
  }
  void Press(const QString& button) { dialog->findChild<QPushButton*>(button)->click(); }
  std::string Labels() {
    QStringList texts;
    for (const char* name : {"Label1", "status", "Label4", "Label2", "Label3", "Label5"})
      texts << dialog->findChild<QLabel*>(name)->text();
    return texts.join('|').toStdString();
  }
  Trace Boxes() const {
    Trace texts;
    for (const ShownBox& box : boxes.shown) {
      EXPECT_EQ(box.icon, box.buttons == BoxButtons::Ok ? BoxIcon::Information : BoxIcon::Question) << box.text;
      texts.push_back(box.title + ": " + box.text);
    }
    return texts;
  }

  TestApplication<QApplication> application;
  QTemporaryDir folder;
  HttpServer server;
  QtHttpClient http{std::chrono::milliseconds(500)};
  DiskFiles disk{""};
  std::unique_ptr<Quenvar_UpdateCheck> dialog;
};

TEST_F(Update, EveryAnswerEndsInItsTexts) {
  const std::string none = "There is no new version available!|||||";
  const std::string found =
      "New version available|Your version: 2.0.7|Current Version: 2.0.8|Download latest Verion: |";
  const std::pair<std::string, std::string> cases[] = {
      {Response("x\r\n2.0.8\r\n"), found + "|"},
      {Response("x\n92.0.8\n\nage"), found + "age|age"},
      {Response("x\r\n2.0.7\r\nPage"), none},
      {Response("x\r\n2.1\r\nonly the digits count"), none},
      {Response(""), none},
      {Response("", "404 Not Found"),
       "Connection failed|Your version :2.0.7|Could not check for new version.|Please visit our website to check for "
       "the latest version:|http://www.oltrenix.example/download|"},
      {Response("x\r\n2.0.8\r\nPage\r\nD\r\nf\r\nNote\r\n1000\r\n" + std::string(20000, 'n')), found + "Page|Note"},
  };
  for (const auto& [answer, texts] : cases) {
    Check({answer});
    EXPECT_EQ(Labels(), texts);
    EXPECT_EQ(dialog->findChild<QPushButton*>("SSCommand1")->text(), "&Close");
    EXPECT_EQ(dialog->findChild<QPushButton*>("SSCommand2")->isVisible(), texts.starts_with("New"));
    QTest::keyClick(dialog->focusWidget(), Qt::Key_Return);
    EXPECT_EQ(Downloading || !std::exchange(boxes.shown, {}).empty(), texts.starts_with("New"));
    EXPECT_EQ(dialog->isVisible(), Downloading);
  }
  EXPECT_EQ(DownloadUrl + UpdateFileName, "Df");
  EXPECT_EQ(UpdateFileSize, 1000);
  EXPECT_EQ(dialog->findChild<QPlainTextEdit*>()->toPlainText().size(), 16384) << "more takes too long to draw";
  EXPECT_EQ(dialog->height(), Pixels(5000));
}

// Every answer is tried as the information about an update, and as the update itself.
TEST_F(Update, OnlyAWholeAnswerCounts) {
  const std::string body = "x\r\n2.0.8\r\n" + std::string(50, '.');
  const std::string longBody = body + std::string(5 << 20, '.');
  const std::string cut = Response(body).substr(0, Response(body).size() - 1);
  const std::string redirect = "302 Found\r\nLocation: ";
  const std::string ok = "HTTP/1.1 200 OK\r\n";
  std::string longHead = ok;
  while (longHead.size() < 1 << 20) longHead += "A: b\r\n";
  enum Result { kNothing, kChecked, kStored, kBoth };
  const std::pair<HttpServer::Answer, Result> cases[] = {
      {{Response(body)}, kBoth},
      {{Response(body), false, 300}, kBoth},
      {{Response("not this", redirect + "/other")}, kBoth},
      {{Response("", redirect + kPath)}, kNothing},
      {{Response("", redirect + "file:///etc/passwd")}, kNothing},
      {{Response("", "302 Found")}, kNothing},
      {{Response(body, "404 Not Found")}, kNothing},
      {{""}, kNothing},
      {{"HTTP/1.1 200", true}, kNothing},
      {{cut}, kNothing},
      {{cut, true}, kNothing},
      {{longHead}, kNothing},
      {{ok + "\r\n" + body, true}, kChecked},
      {{ok + "Content-Encoding: gzip\r\n\r\n" + body, true}, kNothing},
      {{Response(longBody)}, kStored},
      {{ok + "\r\n" + longBody}, kNothing},
  };
  server.answers["/other"] = {Response(body)};
  for (const auto& [answer, result] : cases) {
    SCOPED_TRACE(answer.bytes.substr(0, 80));
    Check(answer);
    EXPECT_TRUE(Labels().starts_with((result & kChecked) != 0 ? "New version available|" : "Connection failed|"));
    const std::string file = AppPath + "setup.exe";
    std::ofstream(file) << "old";
    Download("setup.exe");
    EXPECT_TRUE(Closed());
    EXPECT_EQ(std::exchange(desktop.started, {}), Trace{file});
    if ((result & kStored) != 0) {
      EXPECT_TRUE(boxes.shown.empty() && disk.Read(file) == (result == kBoth ? body : longBody));
      continue;
    }
    ASSERT_EQ(boxes.shown.size(), 2u);
    EXPECT_TRUE(Boxes()[0].starts_with("Auto-Update: Sorry, can not Auto-Update Quenvar. Please update manualy: "));
    EXPECT_EQ(Boxes()[1], kNotStarted);
    EXPECT_TRUE(disk.List(AppPath).empty());
  }
}

TEST_F(Update, ANameThatIsNoPlainOneTouchesNothing) {
  std::filesystem::create_directory(AppPath + "folder");
  std::ofstream(AppPath + "DNSCACHE.MDB") << "cache";
  for (const std::string name : {"", ".", "..", "../up", "a\\b", "c:x", "folder", "DNSCACHE.MDB", "temp.mdb-wal",
                                 "dnsip.dat", "quenvar.hlp", "caf\xe9", "\x1f"}) {
    Check({Response("x")});
    Download(name);
    EXPECT_TRUE(Closed()) << name;
    EXPECT_EQ(Boxes(), Trace{kNotStarted}) << name;
  }
  EXPECT_TRUE(desktop.started.empty());
  EXPECT_EQ(disk.List(AppPath), Trace{"DNSCACHE.MDB"});
}

TEST_F(Update, TheLinkIsReachedByTabAndOpenedByKeysAndSaysWhereItLeads) {
  const QUrl address("http://www.oltrenix.example/download");
  QTextBrowser browser;
  QDesktopServices::setUrlHandler("http", &browser, "setSource");
  Check({});
  EXPECT_TRUE(QTest::qWaitForWindowActive(dialog.get()));
  auto* const link = dialog->findChild<QLabel*>("Label3");
  const QImage unfocused = link->grab().toImage();
  for (int tabs = 0; tabs < 9 && !link->hasFocus(); ++tabs) QTest::keyClick(dialog->focusWidget(), Qt::Key_Tab);
  EXPECT_FALSE(link->grab().toImage() == unfocused);
  for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Space}) {
    browser.setSource({});
    QTest::keyClick(dialog->focusWidget(), key);
    EXPECT_TRUE(browser.source() == address) << key;
  }
  QDesktopServices::unsetUrlHandler("http");
  QAccessibleInterface* const spoken = QAccessible::queryAccessibleInterface(link);
  EXPECT_EQ(spoken->role(), QAccessible::Link);
  EXPECT_EQ(spoken->text(QAccessible::Name), link->text());
  EXPECT_EQ(spoken->text(QAccessible::Value), address.toString());
}

TEST_F(Update, CancellingADownloadAsks) {
  Check({Response(std::string(100, 'x'))});
  server.answers["/file"].pause = 20;
  UpdateFileSize = 200;
  Download("setup.exe");
  const auto* const bar = static_cast<ShareBar*>(dialog->findChild<QFrame*>("DProgress"));
  EXPECT_TRUE(QTest::qWaitFor([bar] { return bar->WholePercent() > 1; }));
  EXPECT_TRUE(QTest::qWaitFor([this] { return server.lines.back() == "GET /file HTTP/1.0"; }));
  boxes.answer = BoxAnswer::Cancel;
  Press("SSCommand1");
  EXPECT_EQ(Boxes(), Trace{"Cancel update: Your are downloading the update of Quenvar. Sure you want to cancel?"});
  EXPECT_TRUE(dialog->isVisible() && Downloading);
  boxes.answer = BoxAnswer::Ok;
  Press("SSCommand1");
  dialog.reset();
  QTest::qWait(50);
  EXPECT_TRUE(disk.List(AppPath).empty() && desktop.started.empty());
  server.answers[kPath].pause = 500;
  dialog = std::make_unique<Quenvar_UpdateCheck>(nullptr);
  dialog->show();
  EXPECT_TRUE(QTest::qWaitFor([this] { return Labels().starts_with("Please wait...|Checking for update...|"); }));
  QTest::keyClick(dialog.get(), Qt::Key_Escape);
  EXPECT_TRUE(Closed());
}

TEST_F(Update, TheQuestionEndsWithTheDownload) {
  static QtMessageBoxes real;
  platform.boxes = &real;
  for (const bool fails : {false, true}) {
    Check({fails ? "" : Response("x"), false, 50});
    Download("setup.exe");
    QTimer look;
    QObject::connect(&look, &QTimer::timeout, [] {
      const QWidget* const box = QApplication::activeModalWidget();
      const bool isQuestion = box != nullptr && box->windowTitle() == "Cancel update";
      EXPECT_TRUE(Downloading || !isQuestion);
      if (box != nullptr && !(isQuestion && Downloading)) box->findChild<QPushButton*>()->click();
    });
    look.start(10);
    Press("SSCommand1");
    EXPECT_FALSE(dialog->isVisible());
  }
}

// The server plays the proxy: a name that nobody knows reaches it only in a request for a proxy.
TEST_F(Update, OnlyAWebAddressIsAskedAndOnlyAProxyWithANumber) {
  for (const char* url :
       {"", "ftp://127.0.0.1", "file:///etc", "http://", "http://127.0.0.1:1", "http://update.invalid"}) {
    UpdateServer = url;
    Check({});
    EXPECT_TRUE(Labels().starts_with("Connection failed|")) << url;
  }
  QNetworkProxy::setApplicationProxy({QNetworkProxy::HttpProxy, "127.0.0.1", server.Port()});
  const std::string port = std::to_string(server.Port());
  for (const std::string& proxy : {"http=127.0.0.1:" + port, "http=localhost:" + port, "http=127.0.0.1:9" + port}) {
    desktop.proxy = proxy;
    Check({""});
  }
  EXPECT_EQ(server.lines, Trace{"GET http://update.invalid/dnsupdateinfo.asp HTTP/1.0"});
  QNetworkProxy::setApplicationProxy(QNetworkProxy::NoProxy);
}

}  // namespace
}  // namespace quenvar
