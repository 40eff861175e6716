#pragma once

#include <QFont>
#include <QObject>

namespace quenvar {

/// The colours and the font of all windows, the same on every desktop. Lives as long as there are windows, and is made
/// before the first of them.
class OwnLook : public QObject {
 public:
  OwnLook();

  /// Sets the face of the windows. False when there is no such face, and nothing changes.
  bool SetFace(const QString& face);

  /// Waits for the desktop's theme to set other colours or fonts, and puts the own ones back.
  bool eventFilter(QObject* receiver, QEvent* event) override;

 private:
  void Apply();

  QFont font_;
  bool applying_ = false;
};

}  // namespace quenvar
