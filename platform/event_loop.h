// The window's message loop, as far as the service needs it.
#pragma once

namespace quenvar {

class EventLoop {
 public:
  virtual ~EventLoop() = default;

  /// Lets what is due now run once: datagrams, connections, timers, window events.
  virtual void RunPendingEvents() = 0;

  /// The yield of the query path: the same as RunPendingEvents, but only now and then, so that it costs next to nothing
  /// when it is called after every datagram sent. A yield inside of a yield returns at once, which bounds how deep
  /// datagrams nest in a burst.
  virtual void Yield() = 0;

  /// Ends the message loop, loops of open boxes and dialogs included. The process then ends with `exitStatus`.
  virtual void Quit(int exitStatus) = 0;
};

}  // namespace quenvar
