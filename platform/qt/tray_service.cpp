#include "platform/qt/tray_service.h"

#include <xcb/xcb.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QGuiApplication>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>

namespace quenvar {

namespace {

const QString kWatcher = "org.kde.StatusNotifierWatcher";
const QString kWatcherPath = "/StatusNotifierWatcher";

template <typename Reply>
using XcbReply = std::unique_ptr<Reply, decltype(&std::free)>;

// Null where the screen is not one of X11.
xcb_connection_t* Xcb() {
  const auto* const x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
  return x11 == nullptr ? nullptr : x11->connection();
}

xcb_atom_t Atom(const std::string& name) {
  const auto cookie = xcb_intern_atom(Xcb(), 0, static_cast<std::uint16_t>(name.size()), name.c_str());
  const XcbReply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(Xcb(), cookie, nullptr), &std::free);
  return reply == nullptr ? xcb_atom_t{XCB_ATOM_NONE} : reply->atom;
}

int ScreenNumber() {
  char* host = nullptr;
  int display = 0;
  int screen = 0;
  xcb_parse_display(nullptr, &host, &display, &screen);
  std::free(host);
  return screen;
}

}  // namespace

TrayService::TrayService(std::function<void()> onTray) : onTray_(std::move(onTray)) {
  ask_.setSingleShot(true);
  QObject::connect(&ask_, &QTimer::timeout, &ask_, [this] { AskSessionBus(); });
  WatchSessionBus();
  WatchScreen();
  ask_.start();
}

TrayService::~TrayService() { qGuiApp->removeNativeEventFilter(this); }

void TrayService::WatchSessionBus() {
  QDBusConnection bus = QDBusConnection::sessionBus();
  bus_.setConnection(bus);
  bus_.setWatchMode(QDBusServiceWatcher::WatchForRegistration);
  bus_.addWatchedService(kWatcher);
  QObject::connect(&bus_, &QDBusServiceWatcher::serviceRegistered, &ask_, [this] { ask_.start(); });
  bus.connect(kWatcher, kWatcherPath, kWatcher, "StatusNotifierHostRegistered", &ask_, SLOT(start()));
}

void TrayService::WatchScreen() {
  if (Xcb() == nullptr) return;
  manager_ = Atom("MANAGER");
  selection_ = Atom("_NET_SYSTEM_TRAY_S" + std::to_string(ScreenNumber()));
  qGuiApp->installNativeEventFilter(this);
}

// Never waits for the answer: whoever keeps the tray may hang.
void TrayService::AskSessionBus() {
  if (!QDBusConnection::sessionBus().isConnected()) return AskScreen();
  QDBusMessage question =
      QDBusMessage::createMethodCall(kWatcher, kWatcherPath, "org.freedesktop.DBus.Properties", "Get");
  question << kWatcher << "IsStatusNotifierHostRegistered";
  question.setAutoStartService(false);
  auto* const answer = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(question), &ask_);
  QObject::connect(answer, &QDBusPendingCallWatcher::finished, &ask_, [this, answer] {
    const QDBusPendingReply<QDBusVariant> reply = *answer;
    answer->deleteLater();
    if (reply.isValid() && reply.value().variant().toBool()) return Found();
    AskScreen();
  });
}

void TrayService::AskScreen() {
  if (selection_ == XCB_ATOM_NONE) return;
  const auto cookie = xcb_get_selection_owner(Xcb(), selection_);
  const XcbReply<xcb_get_selection_owner_reply_t> reply(xcb_get_selection_owner_reply(Xcb(), cookie, nullptr),
                                                        &std::free);
  if (reply != nullptr && reply->owner != XCB_WINDOW_NONE) Found();
}

// From here on Qt itself follows a tray that is started anew.
void TrayService::Found() {
  if (!std::exchange(found_, true)) onTray_();
}

// A new owner of a selection announces itself to all (ICCCM, section 2.8).
bool TrayService::nativeEventFilter(const QByteArray& /*eventType*/, void* message, qintptr* /*result*/) {
  const auto* const event = static_cast<const xcb_client_message_event_t*>(message);
  if ((event->response_type & 0x7f) == XCB_CLIENT_MESSAGE && event->type == manager_ &&
      event->data.data32[1] == selection_)
    ask_.start();
  return false;
}

}  // namespace quenvar
