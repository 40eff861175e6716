#include "update/dialog/update_dialog.h"

#include <QKeyEvent>
#include <QMouseEvent>

#include "platform/qt/screen_text.h"
#include "ui/parts/context_help.h"
#include "ui/parts/fixed_size.h"
#include "ui/parts/hints.h"
#include "ui/parts/layout.h"
#include "ui/parts/picture_box.h"
#include "ui/parts/pictures.h"

namespace quenvar {

namespace {

constexpr int kHelpTopic = 1014;
constexpr int kWidth = 6600;
constexpr int kTallHeight = 5000;
constexpr int kInset = 120;
constexpr int kInnerWidth = kWidth - 2 * kInset;
/// Where the row of buttons begins, without and with the release notes above it, and what the rest below it takes.
constexpr int kShortBottomTop = 1920;
constexpr int kBottomHeight = 1070;
constexpr int kTallBottomTop = kTallHeight - kBottomHeight;
constexpr int kNotesTop = 2190;
constexpr int kNotesHeight = kTallBottomTop - kNotesTop - kInset;
constexpr int kProgressHeight = 255;
constexpr int kPictureSide = 32;
const QColor kProgressColor(0, 192, 0);
/// A line from the server is shown as far as anyone reads.
constexpr std::size_t kLineCharacters = 300;
/// So are the release notes: a text without line breaks takes the box a time that grows with the square of its length.
constexpr std::size_t kNotesCharacters = 16 * 1024;

QString Line(const std::string& text) { return ToScreen(text.substr(0, kLineCharacters)); }

QLabel* AddLabel(QWidget* parent, const QString& name, const QRect& place) {
  auto* const label = new QLabel(parent);
  label->setObjectName(name);
  label->setTextFormat(Qt::PlainText);
  label->setGeometry(place);
  return label;
}

}  // namespace

Quenvar_UpdateCheck::Quenvar_UpdateCheck(QWidget* mainForm) : QDialog(mainForm, Qt::Dialog | kFixedWindow) {
  setObjectName("Quenvar_UpdateCheck");
  setWindowTitle("Quenvar Update");
  SetHelpTopic(this, kHelpTopic);
  AddFrame();
  AddNotes();
  AddBottom();
  AddHints();
  PlaceBottom(kShortBottomTop);
  WatchMouse(this);
}

Quenvar_UpdateCheck::~Quenvar_UpdateCheck() { EndUpdateCheck(); }

void Quenvar_UpdateCheck::AddFrame() {
  Frame1 = new QGroupBox("Online update check", this);
  Frame1->setGeometry(TwipsRect(kInset, 60, kInnerWidth, 1740));
  auto* const Image1 = new PictureBox(Frame1, ProgramIcon(), kPictureSide);
  Image1->setGeometry(TwipsRect(180, 330, 480, 480));
  Label1 = AddLabel(Frame1, "Label1", TwipsRect(840, 270, 5400, 285));
  Label1->setFont(FontOfPoints("Tahoma", 9.75));
  Label1->setText("Please wait...");
  status = AddLabel(Frame1, "status", TwipsRect(840, 585, 5400, 255));
  Label4 = AddLabel(Frame1, "Label4", TwipsRect(840, 855, 5400, 255));
  Label2 = AddLabel(Frame1, "Label2", TwipsRect(180, 1155, 6000, 255));
  Label3 = new LinkLabel(Frame1);
  Label3->setObjectName("Label3");
  Label3->setFocusPolicy(Qt::StrongFocus);
  Label3->setGeometry(TwipsRect(180, 1410, 6000, 255));
  Label2->hide();
  Label3->hide();
}

void Quenvar_UpdateCheck::AddNotes() {
  Label5 = AddLabel(this, "Label5", TwipsRect(kInset, kShortBottomTop, kInnerWidth, 255));
  Text1 = new QPlainTextEdit(this);
  NameControl(Text1, "Text1", "Release notes");
  Text1->setGeometry(TwipsRect(kInset, kNotesTop, kInnerWidth, kNotesHeight));
  Text1->setReadOnly(true);
  Text1->setTabChangesFocus(true);
  Label5->hide();
  Text1->hide();
}

void Quenvar_UpdateCheck::AddBottom() {
  b5 = new PictureButton(this);
  b5->setObjectName("b5");
  b5->SetUp("H&elp!", "help", &ContextHelp);
  connect(b5, &QToolButton::clicked, [this] { b5->Act(); });
  DProgress = new ShareBar(this, kProgressColor);
  NameControl(DProgress, "DProgress", "Download progress");
  SSCommand2 = new QPushButton("Get Update", this);
  NameControl(SSCommand2, "SSCommand2", "Get Update");
  connect(SSCommand2, &QPushButton::clicked, &DownloadUpdate);
  SSCommand2->hide();
  SSCommand1 = new QPushButton("&Cancel", this);
  SSCommand1->setObjectName("SSCommand1");
  connect(SSCommand1, &QPushButton::clicked, &CancelUpdate);
  GiveEnterTo(SSCommand1);
  Line1 = new QFrame(this);
  Line1->setFrameStyle(QFrame::HLine | QFrame::Sunken);
  uStat = AddLabel(this, "uStat", {});
}

void Quenvar_UpdateCheck::AddHints() {
  const std::pair<QWidget*, QString> hints[] = {
      {b5, "Open help system"},
      {DProgress, "Download progress"},
      {SSCommand1, "Close window"},
      {SSCommand2, "Download and install the new version of Quenvar"},
      {Text1->viewport(), "Information about the new version"},
      {Label3, "Download updatefile with your browser"},
      {Label2, " "},
      {Frame1, " "},
      {this, " "},
  };
  for (const auto& [control, hint] : hints) SetHint(control, [this, text = hint] { ShowHint(text); });
}

void Quenvar_UpdateCheck::ShowHint(const QString& text) {
  if (uStat->text() != text) uStat->setText(text);
}

/// Enter is for the default button, unless the user has gone on to a control that takes the key itself.
void Quenvar_UpdateCheck::GiveEnterTo(QPushButton* button) {
  const QWidget* const focus = focusWidget();
  button->setDefault(true);
  if (focus != Label3 && focus != b5) button->setFocus();
}

void Quenvar_UpdateCheck::PlaceBottom(int top) {
  b5->setGeometry(TwipsRect(kInset, top, 795, 795));
  DProgress->setGeometry(TwipsRect(1110, top + 270, 2300, kProgressHeight));
  SSCommand2->setGeometry(TwipsRect(3600, top + 195, 1380, 405));
  SSCommand1->setGeometry(TwipsRect(5100, top + 195, 1380, 405));
  Line1->setGeometry(0, Pixels(top + 810), Pixels(kWidth), 2);
  uStat->setGeometry(TwipsRect(kInset, top + 840, kInnerWidth, 220));
  FixSize(this, QSize(Pixels(kWidth), Pixels(top + kBottomHeight)));
}

void Quenvar_UpdateCheck::SetLabel1(const std::string& headline) { Label1->setText(Line(headline)); }

void Quenvar_UpdateCheck::SetStatus(const std::string& text) { status->setText(Line(text)); }

void Quenvar_UpdateCheck::SetLabel4(const std::string& secondLine) { Label4->setText(Line(secondLine)); }

void Quenvar_UpdateCheck::ShowLink(const std::string& caption, const std::string& address) {
  Label2->setText(Line(caption));
  Label2->show();
  Label3->SetAddress(ToScreen(address));
  Label3->setText(Label3->fontMetrics().elidedText(Line(address), Qt::ElideRight, Label3->width()));
  Label3->show();
}

void Quenvar_UpdateCheck::ShowUpdate(const std::string& note, const std::string& releaseNotes) {
  Text1->setPlainText(ToScreen(releaseNotes.substr(0, kNotesCharacters)));
  Text1->show();
  Label5->setText(Line(note));
  Label5->show();
  SSCommand2->show();
  GiveEnterTo(SSCommand2);
  PlaceBottom(kTallBottomTop);
}

void Quenvar_UpdateCheck::OfferClose() { SSCommand1->setText("&Close"); }

void Quenvar_UpdateCheck::ShowDownload(const std::string& note) {
  GiveEnterTo(SSCommand1);
  SSCommand2->setEnabled(false);
  Text1->hide();
  DProgress->setGeometry(TwipsRect(kInset, kNotesTop, kInnerWidth, kProgressHeight));
  Label5->setText(Line(note));
}

void Quenvar_UpdateCheck::ShowProgress(double percent) { DProgress->SetPercent(percent); }

void Quenvar_UpdateCheck::showEvent(QShowEvent* event) {
  QDialog::showEvent(event);
  if (!event->spontaneous()) StartUpdateCheck(*this);
}

// Not for each part of the dialog that is drawn again, or a hint would wipe itself out.
void Quenvar_UpdateCheck::paintEvent(QPaintEvent* event) {
  QDialog::paintEvent(event);
  if (event->rect() == rect()) ShowHint(" ");
}

void Quenvar_UpdateCheck::keyPressEvent(QKeyEvent* event) {
  if (event->key() == Qt::Key_F1) return ContextHelp();
  QDialog::keyPressEvent(event);
}

void Quenvar_UpdateCheck::mousePressEvent(QMouseEvent* event) {
  if (childAt(event->position().toPoint()) == Label4) ShowHint(" ");
}

}  // namespace quenvar
