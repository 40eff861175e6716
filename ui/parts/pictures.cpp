#include "ui/parts/pictures.h"

#include <QApplication>
#include <QIconEngine>
#include <QPainter>
#include <QStyle>
#include <QStyleOption>
#include <QSvgRenderer>
#include <memory>

namespace quenvar {

namespace {

// Qt's own way from an SVG file to an icon is a plug-in, which need not be installed where the program runs.
class SvgIconEngine : public QIconEngine {
 public:
  explicit SvgIconEngine(const QString& file) : picture_(std::make_shared<QSvgRenderer>(file)) {
    picture_->setAspectRatioMode(Qt::KeepAspectRatio);
  }

  void paint(QPainter* painter, const QRect& place, QIcon::Mode mode, QIcon::State state) override {
    const qreal scale = painter->device()->devicePixelRatioF();
    QPixmap pixels = pixmap((QSizeF(place.size()) * scale).toSize(), mode, state);
    pixels.setDevicePixelRatio(scale);
    painter->drawPixmap(place.topLeft(), pixels);
  }

  QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State) override {
    QPixmap pixels(size);
    pixels.fill(Qt::transparent);
    QPainter painter(&pixels);
    picture_->render(&painter);
    painter.end();
    return mode == QIcon::Disabled ? QApplication::style()->generatedIconPixmap(mode, pixels, {}) : pixels;
  }

  QIconEngine* clone() const override { return new SvgIconEngine(*this); }

 private:
  std::shared_ptr<QSvgRenderer> picture_;
};

}  // namespace

QIcon Picture(PictureName name) { return QIcon(new SvgIconEngine(QString(":/pictures/%1.svg").arg(name.Text()))); }

QIcon ProgramIcon() { return Picture("program"); }

}  // namespace quenvar
