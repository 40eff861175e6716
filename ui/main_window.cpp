#include "ui/main_window.h"

#include <QApplication>
#include <QCloseEvent>
#include <QGroupBox>
#include <QLabel>
#include <QMenuBar>

#include "engine/shutdown.h"
#include "engine/window_state.h"
#include "ui/layout.h"

namespace quenvar {

namespace {

constexpr int kWindowWidth = 7710;
constexpr int kWindowHeight = 5685;
/// Where Debian's package fonts-wine keeps the face of the window.
constexpr const char* kTahomaFile = "/usr/share/wine/fonts/tahoma.ttf";

QGroupBox* AddFrame(QWidget* page, const QString& caption, const QRect& place) {
  auto* const frame = new QGroupBox(caption, page);
  frame->setGeometry(place);
  return frame;
}

QCheckBox* AddOption(QWidget* frame, const QString& caption, int left, void (*click)(bool)) {
  auto* const box = new QCheckBox(caption, frame);
  box->setGeometry(TwipsRect(left, 240, 2055, 495));
  QObject::connect(box, &QCheckBox::clicked, click);
  return box;
}

void AddLabel(QWidget* parent, const QString& text, const QFont& font, const QRect& place) {
  auto* const label = new QLabel(text, parent);
  label->setTextFormat(Qt::PlainText);
  label->setFont(font);
  label->setGeometry(place);
}

}  // namespace

Quenvar_Mainform::Quenvar_Mainform()
    : QMainWindow(nullptr, Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowSystemMenuHint |
                               Qt::WindowCloseButtonHint) {
  setWindowTitle("Quenvar");
  auto* const client = new QWidget(this);
  client->setFixedSize(Pixels(kWindowWidth), Pixels(kWindowHeight));
  setCentralWidget(client);
  SSTab1 = new PageControl(client);
  SSTab1->setGeometry(TwipsRect(60, 0, 7575, 4335));
  AddMenus();
  AddSystemPage();
  AddServerPage();
  AddLogPage();
  AddAboutPage();
  SSTab1->SetPageChanged([this](int page) { TurnTo(page); });
}

void Quenvar_Mainform::AddMenus() {
  menuBar()->setNativeMenuBar(false);
  QMenu* const mDatei = menuBar()->addMenu("&File");
  QObject::connect(mDatei->addAction("&Hide Window", QKeySequence("Ctrl+H")), &QAction::triggered, &ToggleWindow);
  QObject::connect(mDatei->addAction("&Exit", QKeySequence("Ctrl+Q")), &QAction::triggered, &RequestQuit);
}

void Quenvar_Mainform::AddSystemPage() {
  QWidget* const page = SSTab1->AddPage("&System");
  Frame1 = new StatisticsFrame(page);
  Frame1->setGeometry(TwipsRect(120, 480, 7335, 2655));
  QGroupBox* const Frame3 = AddFrame(page, "Options", TwipsRect(120, 3240, 7335, 855));
  Check2Box = AddOption(Frame3, "Startup in System Tray", 120, &ClickCheck2);
  Check3Box = AddOption(Frame3, "Disable Cache", 2760, &ClickCheck3);
}

void Quenvar_Mainform::AddServerPage() {
  AddFrame(SSTab1->AddPage("Se&rver"), "Name Server: ", TwipsRect(120, 480, 7335, 3735));
}

void Quenvar_Mainform::AddLogPage() {
  QGroupBox* const Frame2 = AddFrame(SSTab1->AddPage("&Log"), "DNS Log: ", TwipsRect(120, 480, 7335, 3615));
  Text5 = new LogBox(Frame2);
  Text5->setGeometry(TwipsRect(120, 240, 7095, 3255));
}

void Quenvar_Mainform::AddAboutPage() {
  QGroupBox* const Frame4 = AddFrame(SSTab1->AddPage("Abou&t"), "", TwipsRect(120, 480, 7335, 3735));
  AddLabel(Frame4, "Quenvar", FontOfPoints("Tahoma", 15.75), TwipsRect(120, 240, 3000, 480));
}

bool Quenvar_Mainform::SetFontName(const std::string& name) {
  const QString face = QString::fromStdString(name);
  if (!ProvideFont(face, face == "Tahoma" ? kTahomaFile : "")) return false;
  QApplication::setFont(FontOfPoints(face, 8.25));
  return true;
}

void Quenvar_Mainform::ShowWindow() {
  showNormal();
  raise();
  activateWindow();
}

void Quenvar_Mainform::HideWindow() { hide(); }

void Quenvar_Mainform::SelectFirstTab() { SSTab1->Select(kSystemPage); }

void Quenvar_Mainform::UnloadOtherWindows() {
  for (QWidget* const window : QApplication::topLevelWidgets())
    if (window != this) window->close();
}

void Quenvar_Mainform::ShowOptions(bool check2, bool check3) {
  Check2Box->setChecked(check2);
  Check3Box->setChecked(check3);
}

void Quenvar_Mainform::closeEvent(QCloseEvent* event) {
  event->ignore();
  UnloadMainWindow(UnloadMode::ControlMenu);
}

void Quenvar_Mainform::TurnTo(int page) {
  SetCurrentPage(static_cast<std::int16_t>(page));
  TabUpdate();
}

}  // namespace quenvar
