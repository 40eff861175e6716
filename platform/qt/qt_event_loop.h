#pragma once

#include <QObject>
#include <chrono>
#include <functional>
#include <vector>

#include "platform/event_loop.h"

namespace quenvar {

/// Qt's message loop. An application object must be there before it.
class QtEventLoop final : public EventLoop {
 public:
  QtEventLoop();

  /// Runs until Quit, also one that was called before, and returns its exit status.
  int Run();

  /// The events that one look at a socket brings. While one is handled, what it puts off may wait for its end.
  class Batch {
   public:
    explicit Batch(QtEventLoop& events) : events_(events) {
      events_.Fresh();
      ++events_.batches_;
    }
    ~Batch() {
      --events_.batches_;
      events_.EndBatch();
    }
    Batch(const Batch&) = delete;
    Batch& operator=(const Batch&) = delete;

   private:
    QtEventLoop& events_;
  };
  bool InBatch() const { return batches_ > 0; }
  /// Whenever a batch ends, other events get their turn, or the thread is about to wait, this is done, in the order in
  /// which it was given.
  void AtEndOfBatch(std::function<void()> work) { atEndOfBatch_.push_back(std::move(work)); }

  /// The thread has just come from the message loop: nothing has had to wait so far.
  void Fresh() { lastRun_ = std::chrono::steady_clock::now(); }

  void RunPendingEvents() override;
  void Yield() override;
  void Quit(int exitStatus) override;

 private:
  void EndBatch();

  QObject context_;
  int batches_ = 0;
  std::vector<std::function<void()>> atEndOfBatch_;
  std::chrono::steady_clock::time_point lastRun_;
  bool yielding_ = false;
  bool quit_ = false;
  int status_ = 0;
};

}  // namespace quenvar
