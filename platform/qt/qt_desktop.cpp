#include "platform/qt/qt_desktop.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QFileInfo>
#include <QNetworkProxy>
#include <QProcess>
#include <QPromise>
#include <algorithm>
#include <filesystem>
#include <thread>
#include <utility>

namespace quenvar {

namespace {

namespace fs = std::filesystem;

/// Enough for a service that has to be started first; nobody is kept longer at the program's end.
constexpr int kNoticeMilliseconds = 2000;

/// "SCHEME=SERVER:PORT", or nothing.
QString ProxyFor(const QString& scheme) {
  // The name only stands for a place in the web at large.
  const QUrl somewhere(scheme + "://www.example.com/");
  const auto proxies = QNetworkProxyFactory::systemProxyForQuery(QNetworkProxyQuery(somewhere));
  const auto proxy = std::ranges::find(proxies, QNetworkProxy::HttpProxy, &QNetworkProxy::type);
  if (proxy == proxies.end()) return {};
  return QString("%1=%2:%3").arg(scheme, proxy->hostName()).arg(proxy->port());
}

std::string SystemProxies() {
  QStringList proxies{ProxyFor("http"), ProxyFor("https")};
  proxies.removeAll(QString());
  return proxies.join(';').toStdString();
}

/// Whoever may read the file may execute it too: that is what the mask of the user has left.
bool MakeExecutable(const fs::path& file) {
  std::error_code error;
  const fs::file_status status = fs::symlink_status(file, error);
  if (!fs::is_regular_file(status)) return false;
  const auto readers = status.permissions() & (fs::perms::group_read | fs::perms::others_read);
  const auto executors = static_cast<fs::perms>(static_cast<unsigned>(readers) >> 2) | fs::perms::owner_exec;
  fs::permissions(file, executors, fs::perm_options::add, error);
  return !error;
}

}  // namespace

QtDesktop::QtDesktop() {
  QObject::connect(&lookup_, &QFutureWatcherBase::finished,
                   [this] { std::exchange(answer_, nullptr)(lookup_.result()); });
}

// The desktop may have to ask the network for its proxy, and its names are looked up by this very process.
void QtDesktop::AskProxyServer(std::function<void(const std::string& setting)> answer) {
  answer_ = std::move(answer);
  if (lookup_.isRunning()) return;
  QPromise<std::string> promise;
  promise.start();
  lookup_.setFuture(promise.future());
  const auto lookUp = [](QPromise<std::string> result) {
    result.addResult(SystemProxies());
    result.finish();
  };
  std::thread(lookUp, std::move(promise)).detach();
}

// Through the desktop's own service (org.freedesktop.Notifications).
void QtDesktop::Notify(const std::string& text) {
  const char* const service = "org.freedesktop.Notifications";
  QDBusMessage call = QDBusMessage::createMethodCall(service, "/org/freedesktop/Notifications", service, "Notify");
  constexpr int kDesktopsUsualTime = -1;
  call.setArguments({"Quenvar", 0u, "quenvar", "Quenvar", QString::fromStdString(text), QStringList(), QVariantMap(),
                     kDesktopsUsualTime});
  notice_.emplace(QDBusConnection::sessionBus().asyncCall(call, kNoticeMilliseconds));
}

// What was said last would be lost with the connection.
QtDesktop::~QtDesktop() {
  if (notice_) notice_->waitForFinished();
}

bool QtDesktop::StartProgram(const std::string& path) {
  if (!MakeExecutable(path)) return false;
  const QFileInfo file(QString::fromStdString(path));
  return QProcess::startDetached(file.absoluteFilePath(), {}, file.absolutePath());
}

}  // namespace quenvar
