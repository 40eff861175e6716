#pragma once

#include <QObject>
#include <QSocketNotifier>
#include <memory>

namespace quenvar {

/// Turns SIGTERM, SIGINT, SIGHUP and the end of the desktop session into a call on the message loop: a Qt program left
/// alone dies of these without a word.
class EndRequests final : public QObject {
 public:
  /// `save` is called when a desktop session that may end asks for it: it may also go on, when the user changes his
  /// mind or has only asked to save it. `end` is called when it does end, and for the signals.
  EndRequests(void (*save)(), void (*end)());
  ~EndRequests() override;

  /// From now on the signals end the process at once again, and the end of the session calls nothing.
  void Release();

 private:
  bool eventFilter(QObject* object, QEvent* event) override;

  void (*const end_)();
  std::unique_ptr<QSocketNotifier> notifier_;
  QMetaObject::Connection session_;
};

}  // namespace quenvar
