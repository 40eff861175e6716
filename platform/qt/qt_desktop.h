#pragma once

#include <QDBusPendingCall>
#include <QFutureWatcher>
#include <optional>

#include "platform/desktop.h"

namespace quenvar {

/// The desktop as Qt knows it.
class QtDesktop final : public Desktop {
 public:
  QtDesktop();
  /// Waits until the last notice is where it belongs, two seconds at most.
  ~QtDesktop() override;

  /// A question that is asked again before the answer replaces the one before. The look-up goes on in a thread that
  /// cannot be stopped: a program that is to end without a wait leaves the destructors of static objects out.
  void AskProxyServer(std::function<void(const std::string& setting)> answer) override;
  void Notify(const std::string& text) override;
  /// False for what is no plain file, a symbolic link too. The program gets the folder of its file as its own.
  bool StartProgram(const std::string& path) override;

 private:
  QFutureWatcher<std::string> lookup_;
  std::function<void(const std::string&)> answer_;
  std::optional<QDBusPendingCall> notice_;
};

}  // namespace quenvar
