// What stands before the body of an HTTP answer (RFC 9112, sections 4 to 6), as far as the client needs it.
#pragma once

#include <QByteArray>

namespace quenvar {

/// The body goes on until the connection is closed.
inline constexpr qint64 kToTheEnd = -1;

struct HttpHead {
  int status = 0;         ///< 0: this is no HTTP answer
  QByteArray statusText;  ///< the status with the server's words for it
  QByteArray location;    ///< where a redirected request goes; may be relative
  qint64 bodyBytes = kToTheEnd;
  bool isCoded = false;  ///< the body does not come as it is, but packed or in chunks
};

/// `text`: the status line and the fields, one a line.
HttpHead ReadHttpHead(const QByteArray& text);

}  // namespace quenvar
