#include "ui/parts/own_look.h"

#include <QApplication>
#include <QEvent>
#include <QFontDatabase>
#include <QStyle>
#include <QToolTip>

#include "ui/parts/layout.h"

namespace quenvar {

namespace {

const QString kStyle = "Windows";
const QString kFace = "Tahoma";
constexpr double kPoints = 8.25;
/// Where Debian's package fonts-wine keeps the face.
constexpr const char* kFaceFile = "/usr/share/wine/fonts/tahoma.ttf";
/// Can be read on buttons and in cells; the grey of the style is too pale for that.
const QColor kDisabledText(86, 84, 80);

// Every role is set, or the theme would fill in the others.
QPalette OwnColors() {
  QPalette colors = QApplication::style()->standardPalette();
  for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText, QPalette::HighlightedText})
    colors.setColor(QPalette::Disabled, role, kDisabledText);
  colors.setColor(QPalette::Disabled, QPalette::Highlight, colors.color(QPalette::Button));
  colors.setResolveMask(~QPalette::ResolveMask{0});
  return colors;
}

}  // namespace

OwnLook::OwnLook() {
  // A font that is asked for before its face is there stays another one.
  if (!QFontDatabase::hasFamily(kFace)) QFontDatabase::addApplicationFont(kFaceFile);
  SetFace(kFace);
  qApp->installEventFilter(this);
}

bool OwnLook::SetFace(const QString& face) {
  if (!QFontDatabase::hasFamily(face)) return false;
  font_ = FontOfPoints(face, kPoints);
  Apply();
  return true;
}

bool OwnLook::eventFilter(QObject* receiver, QEvent* event) {
  const QEvent::Type type = event->type();
  const bool changed = type == QEvent::ApplicationPaletteChange || type == QEvent::ApplicationFontChange;
  if (((changed && receiver == qApp) || type == QEvent::ThemeChange) && !applying_) Apply();
  return false;
}

// The general font also takes the place of those that a theme has set for menus and other classes of controls.
void OwnLook::Apply() {
  applying_ = true;
  if (QApplication::style()->name().compare(kStyle, Qt::CaseInsensitive) != 0) QApplication::setStyle(kStyle);
  QApplication::setPalette(OwnColors());
  QToolTip::setPalette(QApplication::palette());
  QApplication::setFont(font_);
  applying_ = false;
}

}  // namespace quenvar
