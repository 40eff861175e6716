#pragma once

#include <QCheckBox>
#include <QMainWindow>

#include "engine/main_window_view.h"
#include "settings/options.h"
#include "ui/log_box.h"
#include "ui/page_control.h"
#include "ui/statistics_frame.h"

namespace quenvar {

/// The program's only regular window: four pages and a menu bar. Closing it hides it.
class Quenvar_Mainform : public QMainWindow, public MainWindowView, public OptionsView {
 public:
  Quenvar_Mainform();

  LogView* Log() { return Text5; }
  StatisticsView* Statistics() { return Frame1; }

  bool SetFontName(const std::string& name) override;
  void ShowWindow() override;
  void HideWindow() override;
  void SelectFirstTab() override;
  void UnloadOtherWindows() override;
  void ShowOptions(bool check2, bool check3) override;

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  void AddMenus();
  void AddSystemPage();
  void AddServerPage();
  void AddLogPage();
  void AddAboutPage();
  void TurnTo(int page);

  PageControl* SSTab1;
  StatisticsFrame* Frame1 = nullptr;
  QCheckBox* Check2Box = nullptr;
  QCheckBox* Check3Box = nullptr;
  LogBox* Text5 = nullptr;
};

}  // namespace quenvar
