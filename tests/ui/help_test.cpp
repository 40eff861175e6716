#include <gtest/gtest.h>

#include <QApplication>
#include <QDialog>
#include <QDir>
#include <QTemporaryDir>
#include <QTest>
#include <QTextBrowser>
#include <QToolBar>
#include <filesystem>

#include "base/program.h"
#include "tests/fakes/application.h"
#include "ui/parts/context_help.h"
#include "ui/parts/help_viewer.h"

namespace quenvar {
namespace {

class Help : public testing::Test {
 protected:
  Help() { SetHelpFile(QUENVAR_HELP_FILE); }

  // Asks for help in a window: the page that the viewer then shows.
  std::string Ask(QWidget& asker, int topic) {
    SetHelpTopic(&asker, topic);
    asker.show();
    asker.activateWindow();
    EXPECT_TRUE(QTest::qWaitFor([&] { return QApplication::activeWindow() == &asker; }));
    ContextHelp();
    viewer = static_cast<HelpViewer*>(asker.findChild<QMainWindow*>());
    return Page();
  }
  // What the viewer says when a page is not there names the file.
  std::string Page() {
    const auto* const shown = viewer->findChild<QTextBrowser*>();
    const bool complains = shown->toPlainText().contains(QString::fromStdString(HelpFile));
    return complains ? "complaint" : shown->source().fileName().toStdString();
  }

  TestApplication<QApplication> application;
  QWidget window;
  HelpViewer* viewer = nullptr;
};

TEST_F(Help, EveryTopicHasItsPage) {
  const std::pair<int, const char*> topics[] = {
      {1014, "update.html"}, {10, "tray.html"}, {0, "contents.html"}, {9, "contents.html"}};
  for (const auto& [topic, page] : topics) EXPECT_EQ(Ask(window, topic), page) << topic;
  EXPECT_EQ(window.findChildren<QMainWindow*>().size(), 1);
}

TEST_F(Help, WhatIsNoHelpFileIsNamed) {
  const QTemporaryDir directory;
  SetHelpFile(directory.filePath("Quenvar.hlp").toStdString());
  EXPECT_EQ(Ask(window, 1017), "complaint") << "missing";
  std::filesystem::copy_file(QUENVAR_HELP_FILE, HelpFile);
  for (const std::uintmax_t size : {std::filesystem::file_size(HelpFile) / 2, std::uintmax_t{0}}) {
    std::filesystem::resize_file(HelpFile, size);
    EXPECT_EQ(Ask(window, 1017), "complaint") << size;
  }
  EXPECT_EQ(QDir(directory.path()).count(), 3U) << "nothing is left beside it";
}

TEST_F(Help, ServesAModalDialogAndComesBackAfterIt) {
  Ask(window, 1017);
  {
    QDialog dialog(&window);
    dialog.setModal(true);
    Ask(dialog, 1004);
    auto* const bar = viewer->findChild<QToolBar*>();
    const QPoint contents = bar->pos() + bar->actionGeometry(bar->actions().last()).center();
    QTest::mouseClick(viewer->windowHandle(), Qt::LeftButton, {}, contents);
    EXPECT_EQ(Page(), "contents.html");
    QTest::keyClick(viewer->windowHandle(), Qt::Key_Left, Qt::AltModifier);
    EXPECT_EQ(Page(), "server.html");
    QTest::keyClick(viewer->windowHandle(), Qt::Key_Escape);
    EXPECT_TRUE(viewer->isHidden() && dialog.isVisible());
  }
  EXPECT_EQ(Ask(window, 1012), "log.html");
}

}  // namespace
}  // namespace quenvar
