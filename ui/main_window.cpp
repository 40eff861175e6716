#include "ui/main_window.h"

#include <QApplication>
#include <QCloseEvent>
#include <QGroupBox>
#include <QKeyEvent>
#include <QLabel>
#include <QLayout>
#include <QMenuBar>
#include <QPushButton>
#include <QWindow>

#include "engine/program/shutdown.h"
#include "engine/program/window_state.h"
#include "settings/statistics.h"
#include "ui/about_frame.h"
#include "ui/parts/context_help.h"
#include "ui/parts/fixed_size.h"
#include "ui/parts/hints.h"
#include "ui/parts/keyboard_order.h"
#include "ui/parts/layout.h"
#include "update/dialog/update_dialog.h"

namespace quenvar {

namespace {

constexpr int kWindowWidth = 7710;
constexpr int kWindowHeight = 5685;
constexpr std::array<int, 4> kHelpTopics = {1017, 1004, 1012, 1018};

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

void AddLine(QWidget* client, int top, QPalette::ColorRole color) {
  auto* const line = new QWidget(client);
  line->setGeometry(TwipsRect(0, top, 8000, kTwipsPerPixel));
  line->setBackgroundRole(color);
  line->setAutoFillBackground(true);
}

constexpr const char* kToken = "XDG_ACTIVATION_TOKEN";

bool IsOnWayland() { return QGuiApplication::platformName().startsWith("wayland"); }

// A Wayland compositor lets no window come to the front by itself without a token.
bool NeedsToComeUpAnew() { return IsOnWayland() && qEnvironmentVariableIsEmpty(kToken); }

}  // namespace

void ConnectWindow(Quenvar_Mainform& window, CorrectionDialog& correction) {
  mainWindow = &window;
  serverTable = window.Servers();
  correctionDialog = &correction;
  logView = window.Log();
  statisticsView = window.Statistics();
  optionsView = &window;
}

Quenvar_Mainform::Quenvar_Mainform(OwnLook& look) : QMainWindow(nullptr, kFixedWindow), look_(look) {
  setObjectName("Quenvar_Mainform");
  setWindowTitle("Quenvar");
  auto* const client = new QWidget(this);
  client->setFixedSize(Pixels(kWindowWidth), Pixels(kWindowHeight));
  setCentralWidget(client);
  FixSizeByLayout(this);
  AddMenus();
  AddBottom();
  SSTab1 = new PageControl(client);
  SSTab1->setObjectName("SSTab1");
  SSTab1->setGeometry(TwipsRect(60, 0, 7575, 4335));
  AddSystemPage();
  AddServerPage();
  AddLogPage();
  AddAboutPage();
  SSTab1->SetPageChanged([this](int page) { TurnTo(page); });
  SetHelpTopic(this, kHelpTopics[kSystemPage]);
  SetHint(SSTab1, [this] {
    ShowStatusHint(" ");
    ShowControlHint(SSTab1);
  });
  SetHint(this, [this] { ClearStatusLine(); });
  WatchMouse(this);
}

void Quenvar_Mainform::AddMenus() {
  menuBar()->setNativeMenuBar(false);
  const auto add = [](QMenu* menu, const QString& name, const QString& caption, const QKeySequence& keys,
                      void (*action)()) {
    QAction* const entry = menu->addAction(caption, keys);
    entry->setObjectName(name);
    connect(entry, &QAction::triggered, action);
  };
  QMenu* const mDatei = menuBar()->addMenu("&File");
  add(mDatei, "mnuPanel", "&Hide Window", QKeySequence("Ctrl+H"), &ToggleWindow);
  add(mDatei, "mnuQuit", "&Exit", QKeySequence("Ctrl+Q"), &RequestQuit);
  QMenu* const mHelp = menuBar()->addMenu("&Help");
  add(mHelp, "mWeb", "Oltrenix &Webpage", {}, &OpenMakersPage);
  add(mHelp, "mTheHlp", "Help (F1)", {}, &ContextHelp);
}

void Quenvar_Mainform::AddBottom() {
  const auto openUpdate = [this] { Quenvar_UpdateCheck(this).exec(); };
  buttons_ = std::make_unique<ContextButtonBar>(centralWidget(), openUpdate, [this] { SSTab1->raise(); });
  AddLine(centralWidget(), 5295, QPalette::Dark);
  AddLine(centralWidget(), 5310, QPalette::Light);
  auto* const hlp = new QLabel(centralWidget());
  hlp->setObjectName("hlp");
  hlp->setTextFormat(Qt::PlainText);
  hlp->setGeometry(TwipsRect(0, 5400, 7815, 220));
  UseStatusLine(hlp);
  SetHint(hlp, [] {});
  // Kept outside of what can be seen, and hidden from screen readers too.
  auto* const Command1 = new QPushButton("Command1", centralWidget());
  Command1->setObjectName("Command1");
  Command1->setGeometry(TwipsRect(9120, 7200, 2415, 495));
  Command1->hide();
  connect(Command1, &QPushButton::clicked, &ClearStatistics);
}

void Quenvar_Mainform::AddSystemPage() {
  QWidget* const page = SSTab1->AddPage("&System");
  Frame1 = new StatisticsFrame(page);
  Frame1->setGeometry(TwipsRect(120, 480, 7335, 2655));
  QGroupBox* const Frame3 = AddFrame(page, "Options", TwipsRect(120, 3240, 7335, 855));
  Frame3->setObjectName("Frame3");
  SetHint(Frame3, "");
  Check2Box = AddOption(Frame3, "Startup in System Tray", 120, &ClickCheck2);
  NameControl(Check2Box, "Check2", Check2Box->text());
  SetHint(Check2Box, "Keep Quenvar in the system tray at start up.");
  Check3Box = AddOption(Frame3, "Disable Cache", 2760, &ClickCheck3);
  NameControl(Check3Box, "Check3", Check3Box->text());
  SetHint(Check3Box, "DNS requests will not be served from cache if this is selected");
}

void Quenvar_Mainform::AddServerPage() {
  tabelle = new ServerTable(SSTab1->AddPage("Se&rver"), [this] { ShowServerPage(); });
  tabelle->setGeometry(TwipsRect(120, 480, 7335, 3735));
}

void Quenvar_Mainform::AddLogPage() {
  QGroupBox* const Frame2 = AddFrame(SSTab1->AddPage("&Log"), "DNS Log: ", TwipsRect(120, 480, 7335, 3615));
  SetHint(Frame2, [] {});
  Text5 = new LogBox(Frame2);
  Text5->setGeometry(TwipsRect(120, 240, 7095, 3255));
  NameControl(Text5, "Text5", "DNS Log");
  SetPageTag(Text5, kLogPage);
  SetHint(Text5->viewport(), "Quenvar event log");
}

void Quenvar_Mainform::AddAboutPage() {
  auto* const Frame4 = new AboutFrame(SSTab1->AddPage("Abou&t"));
  Frame4->setGeometry(TwipsRect(120, 480, 7335, 3735));
}

bool Quenvar_Mainform::SetFontName(const std::string& name) { return look_.SetFace(QString::fromStdString(name)); }

// The window manager chooses a place for every window that comes up, unless the window has been told its position.
void Quenvar_Mainform::ShowWindow() {
  if (isVisible() && NeedsToComeUpAnew()) hide();
  if (!isVisible() && place_) windowHandle()->setPosition(*place_);
  showNormal();
  raise();
  activateWindow();
  if (focus_) focus_->setFocus();
  focus_ = nullptr;
  // The toolkit takes a token away that it has used. Where it is left, the compositor knows no tokens.
  if (!IsOnWayland() || !qEnvironmentVariableIsSet(kToken)) return;
  qunsetenv(kToken);
  ShowWindow();
}

// What is typed into a cell is not left behind.
void Quenvar_Mainform::HideWindow() {
  if (windowHandle()) place_ = windowHandle()->position();
  focus_ = focusWidget();
  if (focus_) focus_->clearFocus();
  hide();
}

void Quenvar_Mainform::SelectFirstTab() { SSTab1->Select(kSystemPage); }

void Quenvar_Mainform::TabUpdate() {
  if (CurrentPage == kServerPage) MakeListView();
  buttons_->ShowFor(CurrentPage);
  SetKeyboardOrder(this, CurrentPage);
}

void Quenvar_Mainform::ClearStatusLine() {
  ShowStatusHint(" ");
  ShowControlHint(this);
}

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

void Quenvar_Mainform::keyPressEvent(QKeyEvent* event) {
  if (event->key() == Qt::Key_F1) return ContextHelp();
  if (event->key() == Qt::Key_Escape) return ToggleWindow();
  QMainWindow::keyPressEvent(event);
}

// No other control may cover the tabs.
bool Quenvar_Mainform::event(QEvent* event) {
  const QEvent::Type type = event->type();
  if (type == QEvent::WindowActivate || type == QEvent::Resize || type == QEvent::Paint || type == QEvent::FocusIn)
    SSTab1->raise();
  return QMainWindow::event(event);
}

void Quenvar_Mainform::TurnTo(int page) {
  SetCurrentPage(static_cast<std::int16_t>(page));
  SetHelpTopic(this, kHelpTopics[static_cast<std::size_t>(page)]);
  if (page == kLogPage) Text5->ScrollToEnd();
  TabUpdate();
  SSTab1->raise();
}

void Quenvar_Mainform::ShowServerPage() {
  if (WindowHidden) ToggleWindow();
  SSTab1->Select(kServerPage);
}

}  // namespace quenvar
