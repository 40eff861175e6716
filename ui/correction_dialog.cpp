#include "ui/correction_dialog.h"

#include <QGridLayout>
#include <QKeyEvent>
#include <QPushButton>

#include "platform/qt/screen_text.h"
#include "ui/context_help.h"
#include "ui/layout.h"
#include "ui/picture_box.h"
#include "ui/pictures.h"

namespace quenvar {

std::string CorrectMessage;
std::string CorrectTitle;
std::int16_t CorrectResult = 0;

namespace {

constexpr int kHelpTopic = 1004;
constexpr int kPictureSide = 32;
constexpr int kTextWidth = 280;

}  // namespace

Quenvar_Correct::Quenvar_Correct(QWidget* mainForm)
    : QDialog(mainForm, Qt::Dialog | kFixedWindow), Label1(new QLabel(this)) {
  setWindowTitle("Invalid DNS");
  SetHelpTopic(this, kHelpTopic);
  auto* const Image1 = new PictureBox(this, Picture("question"), kPictureSide);
  Image1->setFixedSize(kPictureSide, kPictureSide);
  Label1->setTextFormat(Qt::PlainText);
  Label1->setWordWrap(true);
  Label1->setFixedWidth(kTextWidth);
  auto* const places = new QGridLayout(this);
  places->setContentsMargins(16, 16, 16, 12);
  places->setSpacing(12);
  places->setSizeConstraint(QLayout::SetFixedSize);
  places->addWidget(Image1, 0, 0, Qt::AlignTop);
  places->addWidget(Label1, 0, 1, 1, 2);
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
  Label1->setText(ToScreen(CorrectMessage));
  findChild<QPushButton*>("Command1")->setFocus();
  exec();
  return CorrectResult;
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
