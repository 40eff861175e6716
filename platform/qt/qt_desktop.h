#pragma once

#include <QFutureWatcher>

#include "platform/desktop.h"

namespace quenvar {

/// The desktop as Qt knows it.
class QtDesktop final : public Desktop {
 public:
  QtDesktop();

  /// A question that is asked again before the answer replaces the one before. The look-up goes on in a thread that
  /// cannot be stopped: a program that is to end without a wait leaves the destructors of static objects out.
  void AskProxyServer(std::function<void(const std::string& setting)> answer) override;
  /// False for what is no plain file, a symbolic link too. The program gets the folder of its file as its own.
  bool StartProgram(const std::string& path) override;

 private:
  QFutureWatcher<std::string> lookup_;
  std::function<void(const std::string&)> answer_;
};

}  // namespace quenvar
