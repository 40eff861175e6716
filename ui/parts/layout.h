// The fixed layout of the windows: positions in twips (1/1440 inch), fonts in points at 96 dots an inch, so that every
// window looks the same whatever the resolution of the screen.
#pragma once

#include <QFont>
#include <QRect>
#include <QString>
#include <QWidget>

namespace quenvar {

inline constexpr int kTwipsPerPixel = 15;

constexpr int Pixels(int twips) { return (twips + kTwipsPerPixel / 2) / kTwipsPerPixel; }

inline QRect TwipsRect(int left, int top, int width, int height) {
  return QRect(Pixels(left), Pixels(top), Pixels(width), Pixels(height));
}

/// A title bar with a close button, and nothing that changes the size.
inline constexpr Qt::WindowFlags kFixedWindow =
    Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowSystemMenuHint | Qt::WindowCloseButtonHint;

/// Gives a control its name in the program and the one that a screen reader speaks.
void NameControl(QWidget* control, const QString& name, const QString& spokenName);

QFont FontOfPoints(const QString& face, double points);

}  // namespace quenvar
