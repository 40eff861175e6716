#include "ui/statistics_frame.h"

#include <QLabel>
#include <QPainter>

#include "ui/layout.h"

namespace quenvar {

namespace {

constexpr int kCaptionLeft = 120;
constexpr int kValueLeft = 2160;
constexpr int kBarWidth = 4695;
constexpr int kBarHeight = 255;
constexpr int kBoxHeight = 360;

ShareBar* AddBar(QWidget* parent, int top, const QColor& fill) {
  auto* const bar = new ShareBar(parent, fill);
  bar->setGeometry(TwipsRect(kValueLeft, top, kBarWidth, kBarHeight));
  return bar;
}

}  // namespace

ShareBar::ShareBar(QWidget* parent, const QColor& fill) : QFrame(parent), color_(fill) {
  setFrameStyle(QFrame::Panel | QFrame::Sunken);
}

void ShareBar::SetPercent(int share) {
  if (share == percent_) return;
  percent_ = share;
  update();
}

void ShareBar::paintEvent(QPaintEvent* event) {
  QFrame::paintEvent(event);
  QRect filled = contentsRect();
  filled.setWidth(filled.width() * percent_ / 100);
  QPainter(this).fillRect(filled, color_);
}

StatisticsFrame::StatisticsFrame(QWidget* parent)
    : QGroupBox("Statistics", parent),
      Progress1(AddBar(this, 360, QColor(0, 192, 0))),
      Progress2(AddBar(this, 840, QColor(255, 128, 128))),
      Progress3(AddBar(this, 1320, QColor(128, 128, 128))),
      Text7(AddValueBox(1770, 495)),
      Text4(AddValueBox(2160, 1215)),
      refresh_([this] { ShowValues(); }) {
  AddCaption(360, "Served from cache: ");
  AddCaption(840, "Served from name server: ");
  AddCaption(1320, "Not answered or lost: ");
  AddCaption(1800, "Waiting for an answer: ");
  AddCaption(2280, "Total gain: ");
  ShowValues();
}

QLineEdit* StatisticsFrame::AddValueBox(int top, int width) {
  auto* const box = new QLineEdit(this);
  box->setGeometry(TwipsRect(kValueLeft, top, width, kBoxHeight));
  box->setFont(FontOfPoints("Tahoma", 9.75));
  box->setReadOnly(true);
  QPalette palette = box->palette();
  palette.setColor(QPalette::Base, palette.color(QPalette::Button));
  box->setPalette(palette);
  return box;
}

void StatisticsFrame::AddCaption(int top, const QString& text) {
  auto* const caption = new QLabel(text, this);
  caption->setTextFormat(Qt::PlainText);
  caption->move(Pixels(kCaptionLeft), Pixels(top));
}

void StatisticsFrame::ShowCacheShare(std::int16_t percent) {
  values_.cache = percent;
  Changed();
}

void StatisticsFrame::ShowServerShare(std::int16_t percent) {
  values_.server = percent;
  Changed();
}

void StatisticsFrame::ShowLostShare(std::int16_t percent) {
  values_.lost = percent;
  Changed();
}

void StatisticsFrame::ShowWaiting(const std::string& count) {
  values_.waiting = count;
  Changed();
}

void StatisticsFrame::ShowGain(const std::string& text) {
  values_.gain = text;
  Changed();
}

void StatisticsFrame::Changed() {
  if (isVisible()) refresh_.Request();
}

void StatisticsFrame::showEvent(QShowEvent* event) {
  QGroupBox::showEvent(event);
  ShowValues();
}

void StatisticsFrame::ShowValues() {
  Progress1->SetPercent(values_.cache);
  Progress2->SetPercent(values_.server);
  Progress3->SetPercent(values_.lost);
  Text7->setText(QString::fromStdString(values_.waiting));
  Text4->setText(QString::fromStdString(values_.gain));
}

}  // namespace quenvar
