// The update check: its dialog and its HTTP client against a real server.
#include <QApplication>
#include <QTemporaryDir>
#include <QTest>
#include <filesystem>
#include <fstream>

#include "platform/desktop.h"
#include "platform/posix/disk_files.h"
#include "platform/qt/http_client.h"
#include "tests/fakes/application.h"
#include "tests/fakes/service.h"
#include "tests/update/http_server.h"
#include "ui/layout.h"
#include "update/proxy_text.h"
#include "update/update_dialog.h"

namespace quenvar {
namespace {

TEST(UpdateRules, ProxySettings) {
  const std::tuple<std::string, std::optional<std::string>, std::int32_t> cases[] = {
      {"http=10.1.2.3:8080;ftp=10.1.2.3:21", "10.1.2.3", 8080},
      {"ftp=10.1.2.3:21;HTTP=10.1.2.3:3128", "10.1.2.3", 3128},
      {"http=proxy.lan: 80x", "proxy.lan", 80},
      {"https=10.1.2.3:3128", "=10.1.2.3", 3128},
      {"10.1.2.3:8080", "", 0},
      {"", "", 0},
      {"http=10.1.2.3", std::nullopt, -1},
      {"http", std::nullopt, -1},
      {"http=" + std::string(33000, '1') + ":80", std::nullopt, -1},
      {"http=10.1.2.3:99999999999", "10.1.2.3", -1},
  };
  for (auto [setting, host, port] : cases) {
    EXPECT_EQ(GetProxyFromRegistryString(setting, "http"), host) << setting.substr(0, 40);
    EXPECT_EQ(GetProxyPortFromRegistryString(setting, "http").value_or(-1), port) << setting.substr(0, 40);
  }
}

TEST(UpdateRules, VersionsAreComparedByTheirDigits) {
  for (const auto& [remote, newer] : std::map<std::string, bool>{
           {"2.0.8", true}, {"2.0.7", false}, {"2.1", false}, {"2.0.10", true}, {"v 2-0-8b", true}, {"none", false}})
    EXPECT_EQ(IsNewerVersion(remote, "2.0.7"), newer) << remote;
}

struct FakeDesktop : Desktop {
  void AskProxyServer(std::function<void(const std::string& setting)> answer) override { answer(proxy); }
  bool StartProgram(const std::string& path) override {
    started.push_back(path);
    return std::filesystem::exists(path);
  }

  std::string proxy;
  std::vector<std::string> started;
};

std::string Information(const std::string& version, const std::string& download = "D",
                        const std::string& file = "setup.exe", const std::string& end = "\r\n") {
  std::string text = "x";
  for (const std::string& line :
       {version, std::string("Page"), download, file, std::string("Note"), std::string("1000"), std::string("notes")})
    text += end + line;
  return text;
}

class Update : public Service {
 protected:
  Update() {
    platform.http = &http;
    platform.desktop = &desktop;
    platform.files = &disk;
    AppPath = folder.path().toStdString() + "/";
    ProgramVersion = "2.0.7";
    UpdateServer = server.Url("");
  }

  void Open() {
    dialog = std::make_unique<Quenvar_UpdateCheck>(nullptr);
    dialog->show();
  }
  bool Checked() {
    return QTest::qWaitFor([] { return !Checking; }, 10000);
  }
  void OpenNewVersion(const std::string& file, HttpServer::Answer download) {
    server.On("/dnsupdateinfo.asp", Reply(Response(Information("2.0.8", server.Url("/file"), file))));
    server.On("/file", std::move(download));
    Open();
    ASSERT_TRUE(Checked());
    Press("SSCommand2");
  }
  bool Closed() {
    return QTest::qWaitFor([this] { return !dialog->isVisible(); }, 5000);
  }
  void Press(const QString& button) { dialog->findChild<QPushButton*>(button)->click(); }
  std::string Text(const QString& label) { return dialog->findChild<QLabel*>(label)->text().toStdString(); }
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
  QtHttpClient http{std::chrono::milliseconds(1000)};
  FakeDesktop desktop;
  DiskFiles disk{""};
  std::unique_ptr<Quenvar_UpdateCheck> dialog;
};

TEST_F(Update, EveryAnswerEndsInItsTexts) {
  const Trace none{"There is no new version available!", "", "", ""};
  const Trace failed{"Connection failed", "Your version :2.0.7", "Could not check for new version.",
                     "Please visit our website to check for the latest version:"};
  const auto found = [](const std::string& version) {
    return Trace{"New version available", "Your version: 2.0.7", "Current Version: " + version,
                 "Download latest Verion: "};
  };
  const std::tuple<std::string, HttpServer::Answer, Trace> cases[] = {
      {"new", Reply(Response(Information("2.0.8"))), found("2.0.8")},
      {"same", Reply(Response(Information("2.0.7"))), none},
      {"two lines", Reply(Response("x\r\n2.0.8")), found("2.0.8")},
      {"bare line feeds", Reply(Response(Information("92.0.8", "D", "f", "\n"))), found("2.0.8")},
      {"no line breaks", Reply(Response("nothing")), none},
      {"empty", Reply(Response("")), none},
      {"notes without a break", Reply(Response(Information("2.0.8") + std::string(1000000, 'x'))), found("2.0.8")},
      {"silent", Reply(""), failed},
      {"closes early", ReplyAndClose("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nx"), failed},
      {"404", Reply(Response(Information("2.0.8"), "404 Not Found")), failed},
  };
  for (const auto& [name, answer, texts] : cases) {
    server.On("/dnsupdateinfo.asp", answer);
    Open();
    EXPECT_TRUE(Checked()) << name;
    EXPECT_EQ((Trace{Text("Label1"), Text("status"), Text("Label4"), Text("Label2")}), texts) << name;
    EXPECT_EQ(dialog->findChild<QPushButton*>("SSCommand1")->text(), "&Close");
    EXPECT_EQ(dialog->findChild<QPushButton*>("SSCommand2")->isVisible(), texts[0] == "New version available");
  }
  UpdateServer = "http://127.0.0.1:1";
  Open();
  EXPECT_TRUE(Checked());
  EXPECT_EQ(Text("Label1"), "Connection failed");
}

TEST_F(Update, ReadsTheLinesOfTheAnswer) {
  server.On("/dnsupdateinfo.asp", Reply(Response(Information("2.0.8", "D", "f"))));
  Open();
  ASSERT_TRUE(Checked());
  EXPECT_EQ((Trace{LatestVersion, InfoPageUrl, DownloadUrl, UpdateFileName, UpdateNote, ReleaseNotes}),
            (Trace{"2.0.8", "Page", "D", "f", "Note", "notes"}));
  EXPECT_EQ(UpdateFileSize, 1000);
  EXPECT_EQ(dialog->height(), Pixels(5000));
}

TEST_F(Update, ADownloadIsStoredAndStarted) {
  std::ofstream(AppPath + "setup.exe") << "old";
  OpenNewVersion("setup.exe", Reply(Response(std::string(500, 'x'))));
  EXPECT_TRUE(Closed());
  EXPECT_EQ(desktop.started, Trace{AppPath + "setup.exe"});
  EXPECT_EQ(disk.Read(AppPath + "setup.exe"), std::string(500, 'x'));
  EXPECT_TRUE(boxes.shown.empty());
}

TEST_F(Update, AFailedDownloadLeavesNothingAndSaysSo) {
  OpenNewVersion("setup.exe", ReplyAndClose("HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\nx"));
  EXPECT_TRUE(Closed());
  ASSERT_EQ(boxes.shown.size(), 2u);
  EXPECT_TRUE(Boxes()[0].starts_with("Auto-Update: Sorry, can not Auto-Update Quenvar. Please update manualy: "));
  EXPECT_EQ(Boxes()[1], "Auto-Update: Could not execute program to update Quenvar");
  EXPECT_TRUE(disk.List(AppPath).empty());
}

TEST_F(Update, ANameThatIsNoPlainOneTouchesNothing) {
  std::filesystem::create_directory(AppPath + "folder");
  std::ofstream(AppPath + "DNSCACHE.MDB") << "cache";
  for (const std::string name :
       {"", ".", "..", "../up", "/tmp/x", "a\\b", "c:x", "folder", "DNSCACHE.MDB", "temp.mdb-wal", "caf\xe9"}) {
    boxes.shown.clear();
    OpenNewVersion(name, Reply(Response("x")));
    EXPECT_TRUE(Closed()) << name;
    EXPECT_EQ(Boxes(), Trace{"Auto-Update: Could not execute program to update Quenvar"}) << name;
  }
  EXPECT_TRUE(desktop.started.empty());
  EXPECT_EQ(disk.List(AppPath), Trace{"DNSCACHE.MDB"});
  EXPECT_TRUE(std::filesystem::exists(AppPath + "folder"));
}

TEST_F(Update, CancellingADownloadAsks) {
  OpenNewVersion("setup.exe", Trickle(Response(std::string(500, 'x')), 5));
  boxes.answer = BoxAnswer::Cancel;
  Press("SSCommand1");
  EXPECT_EQ(Boxes(), Trace{"Cancel update: Your are downloading the update of Quenvar. Sure you want to cancel?"});
  EXPECT_TRUE(dialog->isVisible() && Downloading);
  boxes.answer = BoxAnswer::Ok;
  Press("SSCommand1");
  dialog.reset();
  QTest::qWait(50);
  EXPECT_TRUE(disk.List(AppPath).empty() && desktop.started.empty());
}

TEST_F(Update, OnlyAProxyWithANumberIsUsed) {
  const std::string port = std::to_string(server.Port());
  UpdateServer = "http://update.invalid";
  for (const auto& [host, seen] : {std::pair("127.0.0.1", 1u), std::pair("localhost", 0u)}) {
    desktop.proxy = std::string("http=") + host + ":" + port;
    const std::size_t before = server.Lines().size();
    Open();
    EXPECT_TRUE(Checked());
    EXPECT_EQ(server.Lines().size() - before, seen) << host;
  }
  EXPECT_EQ(server.Lines().front(), "GET http://update.invalid/dnsupdateinfo.asp HTTP/1.0");
}

TEST_F(Update, ClosesAtAnyMoment) {
  server.On("/dnsupdateinfo.asp", Trickle(Response(Information("2.0.8")), 1));
  for (int milliseconds = 0; milliseconds < 40; milliseconds += 8) {
    Open();
    QTest::qWait(milliseconds);
    QTest::keyClick(dialog.get(), Qt::Key_Escape);
    EXPECT_FALSE(dialog->isVisible());
    dialog.reset();
  }
  EXPECT_TRUE(QTest::qWaitFor([this] { return server.Connections() == 0; }, 2000));
}

}  // namespace
}  // namespace quenvar
