#pragma once

#include <QCheckBox>
#include <QMainWindow>
#include <QPointer>
#include <memory>
#include <optional>

#include "engine/program/main_window_view.h"
#include "settings/options.h"
#include "ui/context_buttons.h"
#include "ui/log_box.h"
#include "ui/parts/own_look.h"
#include "ui/parts/page_control.h"
#include "ui/server_table.h"
#include "ui/statistics_frame.h"

namespace quenvar {

/// The program's only regular window: four pages, a bar of buttons, a status line and a menu bar. Closing it hides it.
class Quenvar_Mainform : public QMainWindow, public MainWindowView, public OptionsView {
 public:
  explicit Quenvar_Mainform(OwnLook& look);

  LogView* Log() { return Text5; }
  StatisticsView* Statistics() { return Frame1; }
  ServerTableView* Servers() { return tabelle; }

  bool SetFontName(const std::string& name) override;
  void ShowWindow() override;
  void HideWindow() override;
  void SelectFirstTab() override;
  void TabUpdate() override;
  void ClearStatusLine() override;
  void UnloadOtherWindows() override;
  void ShowOptions(bool check2, bool check3) override;

 protected:
  void closeEvent(QCloseEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  bool event(QEvent* event) override;

 private:
  void AddMenus();
  void AddSystemPage();
  void AddServerPage();
  void AddLogPage();
  void AddAboutPage();
  void AddBottom();
  void TurnTo(int page);
  void ShowServerPage();

  OwnLook& look_;
  // Where the window and the keyboard were when the window was hidden.
  std::optional<QPoint> place_;
  QPointer<QWidget> focus_;
  std::unique_ptr<ContextButtonBar> buttons_;
  PageControl* SSTab1;
  StatisticsFrame* Frame1 = nullptr;
  ServerTable* tabelle = nullptr;
  QCheckBox* Check2Box = nullptr;
  QCheckBox* Check3Box = nullptr;
  LogBox* Text5 = nullptr;
};

/// From now on the service shows itself in this window, and asks in this dialog.
void ConnectWindow(Quenvar_Mainform& window, CorrectionDialog& correction);

}  // namespace quenvar
