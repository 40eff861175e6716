#pragma once

#include <QSocketNotifier>
#include <memory>

namespace quenvar {

/// Turns SIGTERM, SIGINT, SIGHUP and the end of the desktop session into a call on the message loop: a Qt program left
/// alone dies of these without a word.
class EndRequests {
 public:
  explicit EndRequests(void (*onRequest)());
  ~EndRequests();
  EndRequests(const EndRequests&) = delete;
  EndRequests& operator=(const EndRequests&) = delete;

  /// From now on the signals end the process at once again, and the end of the session calls nothing.
  void Release();

 private:
  std::unique_ptr<QSocketNotifier> notifier_;
  QMetaObject::Connection session_;
};

}  // namespace quenvar
