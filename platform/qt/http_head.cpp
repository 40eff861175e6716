#include "platform/qt/http_head.h"

#include <QList>

namespace quenvar {

namespace {

void ReadStatusLine(const QByteArray& line, HttpHead& head) {
  if (!line.startsWith("HTTP/")) return;
  head.statusText = line.mid(line.indexOf(' ')).trimmed();
  head.status = head.statusText.left(3).toInt();
}

void ReadField(const QByteArray& line, HttpHead& head) {
  const QByteArray name = line.left(line.indexOf(':')).toLower();
  const QByteArray value = line.mid(line.indexOf(':') + 1).trimmed();
  bool isNumber = false;
  const qint64 number = value.toLongLong(&isNumber);
  if (name == "location") head.location = value;
  if (name == "content-length" && isNumber && number >= 0) head.bodyBytes = number;
  if (name == "transfer-encoding" || name == "content-encoding") head.isCoded |= value.toLower() != "identity";
}

}  // namespace

HttpHead ReadHttpHead(const QByteArray& text) {
  HttpHead head;
  const QByteArrayList lines = text.split('\n');
  ReadStatusLine(lines.first(), head);
  for (const QByteArray& line : lines.mid(1)) ReadField(line, head);
  return head;
}

}  // namespace quenvar
