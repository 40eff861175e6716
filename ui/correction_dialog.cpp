#include "ui/correction_dialog.h"

#include <QGridLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <QScreen>
#include <QScrollBar>
#include <QStaticText>
#include <algorithm>
#include <cmath>

#include "platform/qt/screen_text.h"
#include "ui/parts/context_help.h"
#include "ui/parts/fixed_size.h"
#include "ui/parts/layout.h"
#include "ui/parts/picture_box.h"
#include "ui/parts/pictures.h"

namespace quenvar {

std::string CorrectMessage;
std::string CorrectTitle;
std::int16_t CorrectResult = 0;

namespace {

constexpr int kHelpTopic = 1004;
constexpr int kPictureSide = 32;
constexpr int kTextWidth = 280;

}  // namespace

/// A text as wide as the box has room for it. A word that is wider goes on in the next line.
class WrappedLabel : public QLabel {
 public:
  explicit WrappedLabel(QWidget* parent) : QLabel(parent) {
    lines_.setTextFormat(Qt::PlainText);
    lines_.setTextOption(Wrapping());
    lines_.setTextWidth(kTextWidth);
  }

  void SetMessage(const QString& message) {
    setText(message);
    lines_.setText(QString(message).replace('\n', QChar::LineSeparator));
    lines_.prepare({}, font());
    resize(kTextWidth, static_cast<int>(std::ceil(lines_.size().height())));
  }

 protected:
  void paintEvent(QPaintEvent*) override { QPainter(this).drawStaticText(0, 0, lines_); }

 private:
  static QTextOption Wrapping() {
    QTextOption wrapping;
    wrapping.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    return wrapping;
  }

  QStaticText lines_;
};

Quenvar_Correct::Quenvar_Correct(QWidget* mainForm)
    : QDialog(mainForm, Qt::Dialog | kFixedWindow), page_(new QScrollArea(this)), Label1(new WrappedLabel(page_)) {
  setWindowTitle("Invalid DNS");
  SetHelpTopic(this, kHelpTopic);
  auto* const Image1 = new PictureBox(this, Picture("question"), kPictureSide);
  Image1->setFixedSize(kPictureSide, kPictureSide);
  Label1->setTextFormat(Qt::PlainText);
  page_->setWidget(Label1);
  page_->setFrameShape(QFrame::NoFrame);
  auto* const places = new QGridLayout(this);
  places->setContentsMargins(16, 16, 16, 12);
  places->setSpacing(12);
  FixSizeByLayout(this);
  places->addWidget(Image1, 0, 0, Qt::AlignTop);
  places->addWidget(page_, 0, 1, 1, 2);
  AddButton("Command1", "&Correct!", 1);
  AddButton("Command2", "C&ancel", 0);
}

void Quenvar_Correct::AddButton(const QString& name, const QString& caption, std::int16_t result) {
  auto* const button = new QPushButton(caption, this);
  button->setObjectName(name);
  connect(button, &QPushButton::clicked, [this, result] { Answer(result); });
  static_cast<QGridLayout*>(layout())->addWidget(button, 1, result == 1 ? 1 : 2,
                                                 result == 1 ? Qt::AlignRight : Qt::AlignLeft);
}

std::int16_t Quenvar_Correct::AskCorrection(const std::string& message, const std::string& title) {
  CorrectMessage = message;
  CorrectTitle = title;
  setWindowTitle(ToScreen(CorrectTitle));
  ShowMessage();
  findChild<QPushButton*>("Command1")->setFocus();
  exec();
  return CorrectResult;
}

// A text that would take more than half of the screen is scrolled, with the keys too.
void Quenvar_Correct::ShowMessage() {
  Label1->SetMessage(ToScreen(CorrectMessage));
  const int limit = parentWidget()->screen()->availableGeometry().height() / 2;
  const bool scrolls = Label1->height() > limit;
  const int barWidth = scrolls ? page_->verticalScrollBar()->sizeHint().width() : 0;
  page_->setFixedSize(kTextWidth + barWidth, std::min(Label1->height(), limit));
  page_->verticalScrollBar()->setValue(0);
  page_->setFocusPolicy(scrolls ? Qt::StrongFocus : Qt::NoFocus);
}

void Quenvar_Correct::Answer(std::int16_t result) {
  CorrectResult = result;
  done(result);
}

void Quenvar_Correct::keyPressEvent(QKeyEvent* event) {
  if (event->key() == Qt::Key_F1) return ContextHelp();
  if (event->key() == Qt::Key_Escape) return Answer(0);
  QDialog::keyPressEvent(event);
}

}  // namespace quenvar
