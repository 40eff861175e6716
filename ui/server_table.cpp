#include "ui/server_table.h"

#include <QFocusEvent>
#include <QGuiApplication>
#include <QRegularExpression>
#include <QTimer>
#include <algorithm>
#include <tuple>
#include <utility>

#include "base/text.h"
#include "engine/program/window_state.h"
#include "platform/qt/screen_text.h"
#include "settings/address.h"
#include "settings/statistics.h"
#include "ui/parts/hints.h"
#include "ui/parts/keyboard_order.h"
#include "ui/parts/layout.h"
#include "ui/parts/pictures.h"

namespace quenvar {

std::int16_t FocusRow = -1;

namespace {

constexpr int kFirstRowTop = 210;
constexpr int kCellDrop = 34;
constexpr int kIndicatorDrop = 44;
constexpr int kCellHeight = 285;
constexpr int kRowPitch = kCellHeight + 48 + 12;
constexpr int kBoxSide = 255;
constexpr int kGap = 100;
constexpr int kCheckLeft = 250;
constexpr int kAddressLeft = kCheckLeft + kBoxSide + kGap;
constexpr int kAddressWidth = 1815;
constexpr int kDescriptionLeft = kAddressLeft + kAddressWidth + kGap;
constexpr int kDescriptionWidth = 3375;
constexpr int kShareLeft = kDescriptionLeft + kDescriptionWidth + kGap;
constexpr int kShareWidth = 735;
constexpr int kIndicatorLeft = kShareLeft + kShareWidth + kGap;
constexpr int kIndicatorSide = 16;
constexpr int kMouseUpPollMilliseconds = 20;

void SetBaseColor(QWidget* cell, const QColor& color) {
  QPalette colors = cell->palette();
  colors.setColor(QPalette::Base, color);
  cell->setPalette(colors);
}

std::size_t Slot(int row) { return static_cast<std::size_t>(row); }

// The reasons for which the focus leaves a cell while the user is still in it.
bool OnlyAway(Qt::FocusReason reason) {
  return reason == Qt::ActiveWindowFocusReason || reason == Qt::PopupFocusReason || reason == Qt::MenuBarFocusReason;
}

}  // namespace

TableCell::TableCell(QWidget* table) : QLineEdit(table) {
  setFrame(false);
  // What is pasted may bring line ends and tabs along, which look like blanks.
  connect(this, &QLineEdit::textChanged, [this](QString text) {
    static const QRegularExpression breaks("[\\r\\n\\t]");
    if (text.contains(breaks)) setText(text.replace(breaks, " "));
  });
}

void TableCell::ShowText(const QString& text) {
  setText(text);
  if (!hasFocus()) home(false);
}

void TableCell::focusInEvent(QFocusEvent* event) {
  QLineEdit::focusInEvent(event);
  if (entered) entered();
}

void TableCell::focusOutEvent(QFocusEvent* event) {
  QLineEdit::focusOutEvent(event);
  if (OnlyAway(event->reason())) return;
  home(false);
  if (left) left();
}

bool TableCell::focusNextPrevChild(bool next) {
  if (next && goesOn) goesOn();
  return QLineEdit::focusNextPrevChild(next);
}

// Enter goes on to the next cell. The window hears of Esc too.
void TableCell::keyPressEvent(QKeyEvent* event) {
  if (event->key() == Qt::Key_Escape && escaped) escaped();
  if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)
    focusNextChild();
  else
    QLineEdit::keyPressEvent(event);
}

ServerTable::ServerTable(QWidget* page, std::function<void()> turnToServerPage)
    : QGroupBox("Name Server: ", page),
      turnToServerPage_(std::move(turnToServerPage)),
      okay_(Picture("okay")),
      Sleeping_(Picture("Sleeping")),
      refresh_([this] { ShowRows(); }) {
  setObjectName("tabelle");
  SetHint(this, " ");
}

void ServerTable::MakeTabelle() {
  for (int row = 0; row < kServerRows; ++row) PlaceRow(row, kFirstRowTop + row * kRowPitch);
  WatchMouse(this);
}

void ServerTable::PlaceRow(int row, int y) {
  AddCheckBox(row, y);
  AddAddressCell(row, y);
  AddDescriptionCell(row, y);
  AddShareCell(row, y);
  AddIndicator(row, y);
  const std::tuple<QWidget*, QString, QString> cells[] = {
      {Check[Slot(row)], "Check", "Use name server "},
      {Text[Slot(row)], "Text", "Address of name server "},
      {Desc[Slot(row)], "Desc", "Description of name server "},
      {Proz[Slot(row)], "Proz", "First answers of name server "},
      {CheckI[Slot(row)], "CheckI", ""},
  };
  for (const auto& [cell, name, spokenName] : cells) {
    NameControl(cell, QString("%1(%2)").arg(name).arg(row), spokenName + QString::number(row + 1));
    SetPageTag(cell, kServerPage);
    cell->show();
  }
}

void ServerTable::AddCheckBox(int row, int y) {
  auto* const box = Check[Slot(row)] = new QCheckBox(this);
  box->setGeometry(TwipsRect(kCheckLeft, y + kCellDrop, kBoxSide, kBoxSide));
  connect(box, &QCheckBox::clicked, [row](bool ticked) { SetServerEnabled(row, ticked); });
  SetHint(box, [box] { ShowStatusHint(box->isChecked() ? "Disable this name server" : "Enable this name server"); });
}

void ServerTable::AddAddressCell(int row, int y) {
  auto* const cell = Text[Slot(row)] = new TableCell(this);
  cell->setGeometry(TwipsRect(kAddressLeft, y + kCellDrop, kAddressWidth, kCellHeight));
  cell->setEnabled(false);
  SetBaseColor(cell, Qt::white);
  cell->entered = [row] { FocusRow = static_cast<std::int16_t>(row); };
  cell->escaped = [this, row] { SetAddressCell(row, ServerAddress[Slot(row)]); };
  cell->goesOn = [this, row] { OpenDescription(row); };
  cell->left = [this, row] { EndAddressEdit(row); };
  SetHint(cell, [row] {
    ShowStatusHint(ServerAddress[Slot(row)].empty() ? "Add the IP number of a name server here"
                                                    : "Edit this name server");
  });
}

void ServerTable::AddDescriptionCell(int row, int y) {
  auto* const cell = Desc[Slot(row)] = new TableCell(this);
  cell->setGeometry(TwipsRect(kDescriptionLeft, y + kCellDrop, kDescriptionWidth, kCellHeight));
  cell->setEnabled(false);
  cell->entered = [row] { FocusRow = static_cast<std::int16_t>(row); };
  cell->left = [cell, row] {
    FocusRow = -1;
    // What the screen shows as a box is lost only when the user has changed the text.
    const std::string stored = ServerDescription[Slot(row)];
    CommitDescriptionEdit(row, cell->text() == ToScreen(stored) ? stored : FromScreen(cell->text()));
  };
  SetHint(cell, "You can enter a descriptive text for this server here");
}

void ServerTable::AddShareCell(int row, int y) {
  auto* const cell = Proz[Slot(row)] = new QLineEdit(this);
  cell->setGeometry(TwipsRect(kShareLeft, y + kCellDrop, kShareWidth, kCellHeight));
  // Where the face is missing, the system would choose just any, such as one of fixed width.
  QFont font = FontOfPoints("MS Sans Serif", 8.25);
  font.setFamilies({font.family(), "Microsoft Sans Serif", "Liberation Sans"});
  cell->setFont(font);
  cell->setFrame(false);
  cell->setReadOnly(true);
  cell->setEnabled(false);
  SetHint(cell,
          [cell] { ShowStatusHint("This server was the first to answer for " + cell->text() + " of all requests"); });
}

void ServerTable::AddIndicator(int row, int y) {
  auto* const picture = CheckI[Slot(row)] = new PictureBox(this, Sleeping_, kIndicatorSide);
  picture->setGeometry(TwipsRect(kIndicatorLeft, y + kIndicatorDrop, kBoxSide, kBoxSide));
  picture->setFocusPolicy(Qt::StrongFocus);
  SetHint(picture, "You will see a green 'OK' if this nameserver did answer");
}

void ServerTable::RefreshRows() {
  if (isVisible()) refresh_.Request();
}

void ServerTable::showEvent(QShowEvent* event) {
  QGroupBox::showEvent(event);
  ShowRows();
}

void ServerTable::ShowRows() {
  for (int row = 0; row < kServerRows; ++row) ShowRow(row);
}

void ServerTable::ShowRow(int row) {
  const std::size_t slot = Slot(row);
  const bool edited = std::find(endedEdits_.begin(), endedEdits_.end(), row) != endedEdits_.end();
  if (row != FocusRow && !edited) ShowTexts(row);
  Proz[slot]->setText(QString::fromStdString(ServerShareText(row)));
  ShowIndicator(row);
  Check[slot]->setEnabled(IsServerUsable(row));
  const bool enabled = ServerEnabled[slot] == kTrue;
  Check[slot]->setChecked(enabled);
  Text[slot]->setEnabled(true);
  if (!edited) Desc[slot]->setEnabled(enabled);
  Proz[slot]->setEnabled(enabled);
  if (enabled)
    Check[slot]->show();
  else
    CheckI[slot]->hide();
}

void ServerTable::ShowTexts(int row) {
  Text[Slot(row)]->ShowText(ToScreen(ServerAddress[Slot(row)]));
  Desc[Slot(row)]->ShowText(ToScreen(ServerDescription[Slot(row)]));
  ShowDescriptionColor(row);
}

void ServerTable::ShowDescriptionColor(int row) {
  const bool used = !Text[Slot(row)]->text().isEmpty();
  SetBaseColor(Desc[Slot(row)], used ? QColor(Qt::white) : palette().color(QPalette::Button));
}

void ServerTable::ShowIndicator(int row) {
  const bool answered = ServerResponded[Slot(row)] != kFalse;
  PictureBox* const indicator = CheckI[Slot(row)];
  const QString tip = answered ? "This Nameservers is working!" : "No answer yet from Nameserver";
  indicator->SetPicture(answered ? okay_ : Sleeping_);
  indicator->setToolTip(tip);
  indicator->setAccessibleName("Name server " + QString::number(row + 1) + ": " + tip);
}

void ServerTable::SetAddressCell(int row, const std::string& text) {
  Text[Slot(row)]->ShowText(ToScreen(text));
  ShowDescriptionColor(row);
}

void ServerTable::SetDescriptionCell(int row, const std::string& text) {
  Desc[Slot(row)]->ShowText(ToScreen(text));
  ShowDescriptionColor(row);
}

void ServerTable::SetCheckBox(int row, bool ticked) { ShowRowEnabled(row, ticked); }

void ServerTable::ShowRowEnabled(int row, bool enabled) {
  Check[Slot(row)]->setChecked(enabled);
  Text[Slot(row)]->setEnabled(true);
  Desc[Slot(row)]->setEnabled(enabled);
  Proz[Slot(row)]->setEnabled(enabled);
  CheckI[Slot(row)]->setVisible(enabled);
}

void ServerTable::ShowAnswering(int row) { ShowIndicator(row); }

void ServerTable::FocusAddressCell(int row) { Text[Slot(row)]->setFocus(); }

void ServerTable::SelectAddressText(int row) { Text[Slot(row)]->selectAll(); }

// The address is taken only after the key that ends it, but the key has to find the description of a new row open.
void ServerTable::OpenDescription(int row) {
  const std::string typed = FromScreen(Text[Slot(row)]->text());
  if (ServerAddress[Slot(row)].empty() && ValidateAddress(std::string(Trim(typed))).empty())
    Desc[Slot(row)]->setEnabled(true);
}

// The edit is looked at when the click or key that ended it has had its effect: the box that may come up would swallow
// the rest of it. What the box itself moves out of a cell is no edit.
void ServerTable::EndAddressEdit(int row) {
  if (committing_) return;
  endedEdits_.push_back(row);
  QTimer::singleShot(0, this, &ServerTable::CommitEndedEdits);
}

void ServerTable::CommitEndedEdits() {
  if (committing_) return;
  if (QGuiApplication::mouseButtons() != Qt::NoButton)
    return QTimer::singleShot(kMouseUpPollMilliseconds, this, &ServerTable::CommitEndedEdits);
  committing_ = true;
  for (; !endedEdits_.empty(); endedEdits_.pop_front()) {
    const int row = endedEdits_.front();
    CommitAddressEdit(row, FromScreen(Text[Slot(row)]->text()));
  }
  committing_ = false;
}

}  // namespace quenvar
