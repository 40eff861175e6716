#pragma once

#include <QPlainTextEdit>

#include "engine/log/event_log.h"
#include "ui/parts/refresh_timer.h"

namespace quenvar {

/// The box that shows the event log, as long as it can be seen. A reader who has scrolled back or has selected
/// something keeps what he reads, whatever comes; new lines follow when he is back at the end.
class LogBox : public QPlainTextEdit, public LogView {
 public:
  explicit LogBox(QWidget* parent);

  void LogChanged() override;
  /// Brings the newest lines into view.
  void ScrollToEnd();

 protected:
  void showEvent(QShowEvent* event) override;

 private:
  bool IsBeingRead() const;
  void RequestMissing();
  void Refresh();
  void ShowLog();

  bool missing_ = false;  ///< the log has lines that the box does not show yet
  RefreshTimer refresh_;
};

}  // namespace quenvar
