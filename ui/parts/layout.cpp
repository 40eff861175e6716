#include "ui/parts/layout.h"

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

}  // namespace quenvar
