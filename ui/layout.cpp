#include "ui/layout.h"

#include <QFontDatabase>
#include <cmath>

namespace quenvar {

void NameControl(QWidget* control, const QString& name, const QString& spokenName) {
  control->setObjectName(name);
  control->setAccessibleName(spokenName);
}

QFont FontOfPoints(const QString& face, double points) {
  QFont font(face);
  font.setPixelSize(static_cast<int>(std::lround(points * 96 / 72)));
  return font;
}

bool ProvideFont(const QString& face, const QString& fallbackFile) {
  if (!QFontDatabase::hasFamily(face) && !fallbackFile.isEmpty()) QFontDatabase::addApplicationFont(fallbackFile);
  return QFontDatabase::hasFamily(face);
}

}  // namespace quenvar
