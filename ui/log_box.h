#pragma once

#include <QPlainTextEdit>

#include "engine/event_log.h"
#include "ui/refresh_timer.h"

namespace quenvar {

/// The box that shows the event log, as long as it can be seen.
class LogBox : public QPlainTextEdit, public LogView {
 public:
  explicit LogBox(QWidget* parent);

  void LogChanged() override;
  /// Brings the newest lines into view.
  void ScrollToEnd();

 protected:
  void showEvent(QShowEvent* event) override;

 private:
  void ShowLog();

  RefreshTimer refresh_;
};

}  // namespace quenvar
