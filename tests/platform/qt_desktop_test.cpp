#include "platform/qt/qt_desktop.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QTemporaryDir>
#include <QTest>
#include <filesystem>
#include <fstream>

#include "tests/fakes/application.h"

namespace quenvar {
namespace {

namespace fs = std::filesystem;

class QtDesktopTest : public testing::Test {
 protected:
  TestApplication<QCoreApplication> application;
  QtDesktop desktop;
};

TEST_F(QtDesktopTest, TheProxyOfTheDesktopComesFromTheMessageLoop) {
  for (const auto& [set, expected] : {std::pair("http://10.1.2.3:8080", "http=10.1.2.3:8080;https=10.1.2.4:3128"),
                                      std::pair("direct://", "https=10.1.2.4:3128")}) {
    qputenv("http_proxy", set);
    qputenv("https_proxy", "http://10.1.2.4:3128");
    std::string answer = "none";
    desktop.AskProxyServer([](const std::string&) { ADD_FAILURE() << "replaced by the next"; });
    desktop.AskProxyServer([&](const std::string& setting) { answer = setting; });
    EXPECT_EQ(answer, "none");
    EXPECT_TRUE(QTest::qWaitFor([&] { return answer != "none"; }));
    EXPECT_EQ(answer, expected);
  }
}

TEST_F(QtDesktopTest, OnlyAPlainFileIsStarted) {
  const QTemporaryDir temporary;
  const fs::path folder = temporary.path().toStdString();
  std::ofstream(folder / "program") << "#!/bin/sh\npwd > here.part && mv here.part here\n";
  std::ofstream(folder / "text") << "no program\n";
  fs::permissions(folder / "program", fs::perms(0640));
  fs::create_symlink(folder / "program", folder / "link");
  for (const char* name : {"", "missing", "text", "link"}) EXPECT_FALSE(desktop.StartProgram(folder / name)) << name;
  EXPECT_TRUE(desktop.StartProgram(folder / "program"));
  EXPECT_EQ(fs::status(folder / "program").permissions(), fs::perms(0750));
  EXPECT_TRUE(QTest::qWaitFor([&] { return fs::exists(folder / "here"); })) << "not started in its folder";
}

}  // namespace
}  // namespace quenvar
