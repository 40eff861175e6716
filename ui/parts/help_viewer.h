#pragma once

#include <QMainWindow>

namespace quenvar {

class HelpPages;

/// The window that shows the help file, with a way back, forward and to the contents.
class HelpViewer : public QMainWindow {
 public:
  HelpViewer();

  /// Turns to the page of a topic, or to the contents when the file has no such topic. A file that cannot be read is
  /// reported in place of the page.
  void ShowTopic(const QString& helpFile, int topic);
  /// Comes to the front as a window of `owner`, which may be null, and can then be used while `owner` is modal. It is
  /// destroyed together with its owner.
  void ShowOwnedBy(QWidget* owner);

 private:
  void AddBar();

  HelpPages* pages_;
};

}  // namespace quenvar
