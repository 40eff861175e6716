// The HTTP client of the update check: one request at a time.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace quenvar {

class HttpClient {
 public:
  /// Raised from the message loop, never from inside of a call to this class. Every request raises either
  /// `endOfTransfer` or `error`, and `disconnected` after it; `connected` comes before them where a connection was
  /// made.
  struct Events {
    void (*connected)(int status, const std::string& description);
    /// `bytes` of the body so far; `text` is what has just come, empty while the body goes into a file.
    void (*transfer)(std::int64_t bytes, std::string_view text);
    void (*endOfTransfer)();
    void (*error)(int code, const std::string& description);
    void (*disconnected)();
  };

  virtual ~HttpClient() = default;

  virtual void SetEvents(const Events& events) = 0;
  /// Both stay set for the requests that follow; an empty server means none.
  virtual void SetProxyPort(std::int32_t port) = 0;
  virtual void SetProxyServer(const std::string& server) = 0;
  virtual void SetUrl(const std::string& url) = 0;
  /// Where the body goes; empty: to the events, at most 1 MiB of it. The file appears as a whole when all of it has
  /// come, or not at all.
  virtual void SetLocalFile(const std::string& path) = 0;
  /// Starts the request. A status other than 2xx, 30 seconds of silence, a body over the limit, headers without an end,
  /// a file of unknown length or over 1 GiB, a file that cannot be written, a URL that is neither http nor https: an
  /// error.
  virtual void Get() = 0;
  /// Abandons the request; nothing more is heard of it, and nothing of it stays on the disk.
  virtual void Abort() = 0;
};

}  // namespace quenvar
