#include "ui/statistics_frame.h"

#include <QLabel>

#include "ui/parts/hints.h"
#include "ui/parts/layout.h"

namespace quenvar {

namespace {

constexpr int kCaptionLeft = 120;
constexpr int kValueLeft = 2160;
constexpr int kBarWidth = 4695;
constexpr int kBarHeight = 255;
constexpr int kBoxHeight = 360;

constexpr const char* kCacheHint = "Percentage of DNS requests which were answered from the cache";
constexpr const char* kServerHint = "Percentage of DNS requests which were answered by a name server";
constexpr const char* kLostHint = "Percentage of DNS requests which were lost or not answered";
constexpr const char* kLostBarHint = "Percentage of DNS Requests which were lost or not answered";
constexpr const char* kWaitingHint = "Number of DNS requests still waiting for an answer";
constexpr const char* kGainHint = "This is the total time gained by the chache system";

ShareBar* AddBar(QWidget* parent, int top, const QColor& fill, const char* hint) {
  auto* const bar = new ShareBar(parent, fill);
  SetHint(bar, QString(hint));
  bar->setGeometry(TwipsRect(kValueLeft, top, kBarWidth, kBarHeight));
  return bar;
}

}  // namespace

StatisticsFrame::StatisticsFrame(QWidget* parent)
    : QGroupBox("Statistics", parent),
      Progress1(AddBar(this, 360, QColor(0, 192, 0), kCacheHint)),
      Progress2(AddBar(this, 840, QColor(255, 128, 128), kServerHint)),
      Progress3(AddBar(this, 1320, QColor(128, 128, 128), kLostBarHint)),
      // The waiting box has the hint of the lost requests; that is intended.
      Text7(AddValueBox(1770, 495, kLostHint)),
      Text4(AddValueBox(2160, 1215, kGainHint)),
      refresh_([this] { ShowValues(); }) {
  AddCaption(360, "Served from cache: ", kCacheHint);
  AddCaption(840, "Served from name server: ", kServerHint);
  AddCaption(1320, "Not answered or lost: ", kLostHint);
  AddCaption(1800, "Waiting for an answer: ", kWaitingHint);
  AddCaption(2280, "Total gain: ", kGainHint);
  NameControl(Progress1, "Progress1", "Served from cache");
  NameControl(Progress2, "Progress2", "Served from name server");
  NameControl(Progress3, "Progress3", "Not answered or lost");
  NameControl(Text7, "Text7", "Waiting for an answer");
  NameControl(Text4, "Text4", "Total gain");
  setObjectName("Frame1");
  SetHint(this, "");
  ShowValues();
}

QLineEdit* StatisticsFrame::AddValueBox(int top, int width, const char* hint) {
  auto* const box = new QLineEdit(this);
  SetHint(box, QString(hint));
  box->setGeometry(TwipsRect(kValueLeft, top, width, kBoxHeight));
  box->setFont(FontOfPoints("Tahoma", 9.75));
  box->setReadOnly(true);
  QPalette palette = box->palette();
  palette.setColor(QPalette::Base, palette.color(QPalette::Button));
  box->setPalette(palette);
  return box;
}

void StatisticsFrame::AddCaption(int top, const QString& text, const char* hint) {
  auto* const caption = new QLabel(text, this);
  caption->setTextFormat(Qt::PlainText);
  caption->move(Pixels(kCaptionLeft), Pixels(top));
  SetHint(caption, QString(hint));
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
