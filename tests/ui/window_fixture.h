// The main window as it is after a start, on a screen that no one sees, with the service behind it.
#pragma once

#include <QAction>
#include <QApplication>
#include <QLabel>
#include <QTest>

#include "tests/fakes/application.h"
#include "tests/fakes/fake_record_store.h"
#include "tests/fakes/service.h"
#include "ui/correction_dialog.h"
#include "ui/main_window.h"
#include "ui/parts/hints.h"
#include "ui/parts/layout.h"

namespace quenvar {

class WindowTest : public Service {
 protected:
  WindowTest() {
    platform.records = &records;
    ConnectWindow(form, dialog);
    FocusRow = -1;
    EXPECT_TRUE(form.SetFontName("Tahoma"));
    form.Servers()->MakeTabelle();
    MakeListView();
    form.TabUpdate();
    ShowWindowAtStart();
    EXPECT_TRUE(QTest::qWaitForWindowActive(&form));
  }
  ~WindowTest() override {
    static struct : LogView, StatisticsView, OptionsView {
    } nobody;
    logView = &nobody;
    statisticsView = &nobody;
    optionsView = &nobody;
  }

  void AddServer(int row, const std::string& address, const std::string& description = "", std::int16_t winning = 0) {
    SetServer(static_cast<std::size_t>(row), address, description, winning);
    serverTable->SetCheckBox(row, true);
  }
  template <class Control = QWidget>
  Control* Find(const QString& name) {
    return form.findChild<Control*>(name);
  }
  void Click(QWidget* control) { QTest::mouseClick(control, Qt::LeftButton); }
  void Turn(int page) { pages->setCurrentIndex(page); }

  FakeRecordStore records;
  TestApplication<QApplication> application;
  OwnLook look;
  Quenvar_Mainform form{look};
  Quenvar_Correct dialog{&form};
  QTabBar* pages = form.findChild<QTabBar*>();
  QPlainTextEdit* log = form.findChild<QPlainTextEdit*>();
};

}  // namespace quenvar
