#pragma once

#include <chrono>

#include "platform/event_loop.h"

namespace quenvar {

/// Qt's message loop.
class QtEventLoop final : public EventLoop {
 public:
  /// Runs until Quit, also one that was called before, and returns its exit status.
  int Run();

  /// The thread has just come from the message loop: nothing has had to wait so far.
  void Fresh() { lastRun_ = std::chrono::steady_clock::now(); }

  void RunPendingEvents() override;
  void Yield() override;
  void Quit(int exitStatus) override;

 private:
  std::chrono::steady_clock::time_point lastRun_;
  bool yielding_ = false;
  bool quit_ = false;
  int status_ = 0;
};

}  // namespace quenvar
