#include "ui/log_box.h"

#include <QScrollBar>

#include "platform/qt/screen_text.h"
#include "ui/layout.h"

namespace quenvar {

LogBox::LogBox(QWidget* parent) : QPlainTextEdit(parent), refresh_([this] { ShowLog(); }) {
  setReadOnly(true);
  setUndoRedoEnabled(false);
  setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
  setFont(FontOfPoints("Courier New", 9.75));
}

void LogBox::LogChanged() {
  if (isVisible()) refresh_.Request();
}

void LogBox::showEvent(QShowEvent* event) {
  QPlainTextEdit::showEvent(event);
  ShowLog();
  ScrollToEnd();
}

void LogBox::ScrollToEnd() {
  moveCursor(QTextCursor::End);
  verticalScrollBar()->setValue(verticalScrollBar()->maximum());
}

// A reader who has scrolled back stays where he is.
void LogBox::ShowLog() {
  const int position = verticalScrollBar()->value();
  const bool atEnd = position == verticalScrollBar()->maximum();
  setPlainText(ToScreen(LogText()));
  if (atEnd)
    ScrollToEnd();
  else
    verticalScrollBar()->setValue(position);
}

}  // namespace quenvar
