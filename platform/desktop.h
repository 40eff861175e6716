// What the user's desktop does for the program.
#pragma once

#include <functional>
#include <string>

namespace quenvar {

class Desktop {
 public:
  virtual ~Desktop() = default;

  /// Asks for the proxy that the user has set for the web, as "http=SERVER:PORT", with more of that kind after a
  /// semicolon; empty when there is none. The answer comes from the message loop: finding it out may take seconds.
  virtual void AskProxyServer(std::function<void(const std::string& setting)> answer) = 0;
  /// Shows a short text in the user's view for a moment, without waiting for it. Where the desktop has no place for
  /// that, nothing happens.
  virtual void Notify(const std::string& text) = 0;
  /// Makes a file executable and starts it as a program of its own. False when that fails.
  virtual bool StartProgram(const std::string& path) = 0;
};

}  // namespace quenvar
