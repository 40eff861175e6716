#include "platform/qt/end_requests.h"

#include <fcntl.h>
#include <unistd.h>

#include <QEvent>
#include <QGuiApplication>
#include <cerrno>
#include <csignal>

namespace quenvar {

namespace {

constexpr int kSignals[] = {SIGTERM, SIGINT, SIGHUP};

// A signal handler may do little more than write: the message loop reads the other end.
int signalPipe[2] = {-1, -1};

void OnSignal(int) {
  const int savedError = errno;
  [[maybe_unused]] const ssize_t written = write(signalPipe[1], "", 1);
  errno = savedError;
}

void SetHandlers(void (*handler)(int)) {
  struct sigaction action {};
  action.sa_handler = handler;
  action.sa_flags = SA_RESTART;
  for (const int number : kSignals) sigaction(number, &action, nullptr);
}

}  // namespace

EndRequests::EndRequests(void (*save)(), void (*end)()) : end_(end) {
  session_ = QObject::connect(qGuiApp, &QGuiApplication::commitDataRequest, save);
  qGuiApp->installEventFilter(this);
  if (pipe2(signalPipe, O_CLOEXEC | O_NONBLOCK) != 0) return;
  notifier_ = std::make_unique<QSocketNotifier>(signalPipe[0], QSocketNotifier::Read);
  QObject::connect(notifier_.get(), &QSocketNotifier::activated, [end] {
    char bytes[16];
    while (read(signalPipe[0], bytes, sizeof bytes) > 0) {
    }
    end();
  });
  SetHandlers(OnSignal);
}

EndRequests::~EndRequests() { Release(); }

void EndRequests::Release() {
  SetHandlers(SIG_DFL);
  QObject::disconnect(session_);
  qGuiApp->removeEventFilter(this);
  notifier_.reset();
}

// The session manager has given its order to end, which a window that is to close could refuse.
bool EndRequests::eventFilter(QObject* /*object*/, QEvent* event) {
  if (event->type() != QEvent::Quit) return false;
  end_();
  return true;
}

}  // namespace quenvar
