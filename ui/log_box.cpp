#include "ui/log_box.h"

#include "platform/qt/screen_text.h"
#include "ui/parts/layout.h"

namespace quenvar {

LogBox::LogBox(QWidget* parent) : QPlainTextEdit(parent), refresh_([this] { Refresh(); }) {
  setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  setUndoRedoEnabled(false);
  setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
  setFont(FontOfPoints("Courier New", 9.75));
  // Whenever the reader has scrolled or has dropped a selection; the scroll bar is silent about scrolling by keys.
  connect(this, &QPlainTextEdit::updateRequest, [this] { RequestMissing(); });
}

void LogBox::LogChanged() {
  missing_ = true;
  if (LogText().empty()) clear();
  RequestMissing();
}

void LogBox::RequestMissing() {
  if (missing_ && isVisible()) refresh_.Request();
}

void LogBox::showEvent(QShowEvent* event) {
  QPlainTextEdit::showEvent(event);
  ShowLog();
}

bool LogBox::IsBeingRead() const {
  QTextCursor end(document());
  end.movePosition(QTextCursor::End);
  return textCursor().hasSelection() || !viewport()->rect().contains(cursorRect(end).center());
}

void LogBox::Refresh() {
  if (missing_ && !IsBeingRead()) ShowLog();
}

void LogBox::ShowLog() {
  missing_ = false;
  setPlainText(ToScreen(LogText()));
  ScrollToEnd();
}

void LogBox::ScrollToEnd() { moveCursor(QTextCursor::End); }

}  // namespace quenvar
