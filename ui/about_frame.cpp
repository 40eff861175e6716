#include "ui/about_frame.h"

#include <QLabel>

#include "ui/parts/hints.h"
#include "ui/parts/layout.h"
#include "ui/parts/link_label.h"
#include "ui/parts/picture_box.h"
#include "ui/parts/pictures.h"

namespace quenvar {

namespace {

const QColor kInitialColor(128, 0, 0);
const QColor kRestColor(0, 0, 128);
constexpr int kInitialTop = 645;
constexpr int kRestTop = 720;
constexpr double kInitialPoints = 39.75;
constexpr double kRestPoints = 36;
constexpr int kIconSide = 48;

QLabel* AddLabel(QWidget* parent, const QString& text, const QFont& font, int left, int top) {
  auto* const label = new QLabel(text, parent);
  label->setTextFormat(Qt::PlainText);
  label->setFont(font);
  label->move(Pixels(left), Pixels(top));
  return label;
}

void SetTextColor(QLabel* label, const QColor& color) {
  QPalette colors = label->palette();
  colors.setColor(QPalette::WindowText, color);
  label->setPalette(colors);
}

// The address as people write it.
QString ShortAddress(const QString& address) {
  const qsizetype scheme = address.indexOf("//");
  QString shortened = scheme < 0 ? address : address.mid(scheme + 2);
  if (shortened.endsWith('/')) shortened.chop(1);
  return shortened;
}

}  // namespace

void OpenMakersPage() { OpenWebPage(QUENVAR_WEB_PAGE); }

AboutFrame::AboutFrame(QWidget* parent) : QGroupBox(parent) {
  AddLabel(this, "Quenvar", FontOfPoints("Tahoma", 15.75), 120, 240);
  auto* const icon = new PictureBox(this, ProgramIcon(), kIconSide);
  icon->setGeometry(TwipsRect(120, 780, 720, 720));
  AddLogo();
  AddLink();
  auto* const line = new QFrame(this);
  line->setFrameStyle(QFrame::HLine | QFrame::Sunken);
  line->setGeometry(Pixels(120), Pixels(2040), Pixels(7200 - 120), 2);
  SetHint(this, [] {});
}

// The name is set in two words, each with an initial larger than the rest.
void AboutFrame::AddLogo() {
  const QFont initial = FontOfPoints("Tahoma", kInitialPoints);
  const QFont rest = FontOfPoints("Tahoma", kRestPoints);
  SetTextColor(AddLabel(this, "O", initial, 2160, kInitialTop), kInitialColor);
  SetTextColor(AddLabel(this, "ltre", rest, 2760, kRestTop), kRestColor);
  SetTextColor(AddLabel(this, "N", initial, 3945, kInitialTop), kInitialColor);
  SetTextColor(AddLabel(this, "ix", rest, 4500, kRestTop), kRestColor);
}

void AboutFrame::AddLink() {
  auto* const Label11 = new LinkLabel(this);
  Label11->setGeometry(TwipsRect(2760, 1680, 1695, 255));
  Label11->setObjectName("Label11");
  Label11->setText(ShortAddress(QUENVAR_WEB_PAGE));
  Label11->SetAddress(QUENVAR_WEB_PAGE);
  SetHint(Label11, "Visit the Oltrenix web page");
}

}  // namespace quenvar
