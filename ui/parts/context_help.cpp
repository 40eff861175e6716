#include "ui/parts/context_help.h"

#include <QApplication>
#include <QPointer>
#include <QVariant>

#include "base/program.h"
#include "ui/parts/help_viewer.h"

namespace quenvar {

namespace {

constexpr const char* kTopic = "helpTopic";

// Goes with the window that owns it, and is then made afresh.
QPointer<HelpViewer> viewer;

// Without a window manager a click on a button leaves the viewer active.
QWidget* AskingWindow() {
  QWidget* const active = QApplication::activeWindow();
  return active != nullptr && active == viewer ? viewer->parentWidget() : active;
}

}  // namespace

void SetHelpTopic(QWidget* window, int topic) { window->setProperty(kTopic, topic); }

void ContextHelp() {
  QWidget* const asker = AskingWindow();
  if (viewer == nullptr) viewer = new HelpViewer;
  viewer->ShowTopic(QString::fromStdString(HelpFile), asker == nullptr ? 0 : asker->property(kTopic).toInt());
  viewer->ShowOwnedBy(asker);
}

}  // namespace quenvar
