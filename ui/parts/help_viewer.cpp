#include "ui/parts/help_viewer.h"

#include <QFileInfo>
#include <QHelpEngineCore>
#include <QHelpLink>
#include <QScrollBar>
#include <QTemporaryDir>
#include <QTextBrowser>
#include <QToolBar>
#include <memory>

#include "ui/parts/link_label.h"

namespace quenvar {

namespace {

constexpr QSize kSize(660, 580);
constexpr double kReadingPoints = 10;
constexpr int kMargin = 14;
constexpr int kListIndent = 20;
constexpr double kPictureScale = 3;  // The pictures are stored at three times the size at which they are shown.
const QString kHelpScheme = "qthelp";
const QUrl kContents("qthelp://quenvar.help/help/contents.html");

// The engine reads help files only through a collection of them, and that one only from a file. The file is of no use
// once it is open, so it is deleted at once and never left behind, however the program ends. Null when the help file is
// none.
std::unique_ptr<QHelpEngineCore> OpenHelp(const QString& file) {
  if (!QFileInfo(file).isFile()) return nullptr;
  const QTemporaryDir directory;
  auto engine = std::make_unique<QHelpEngineCore>(directory.filePath("collection"));
  engine->setReadOnly(false);
  if (!engine->setupData() || !engine->registerDocumentation(QFileInfo(file).absoluteFilePath())) return nullptr;
  return engine;
}

}  // namespace

/// The pages of one help file.
class HelpPages : public QTextBrowser {
 public:
  using QTextBrowser::QTextBrowser;

  // Opened for every question, so that a help file that was put right in the meantime is seen.
  void ShowTopic(const QString& file, int topic) {
    file_ = file;
    engine_ = OpenHelp(file);
    ratio_ = devicePixelRatioF();
    setSource(PageOf(topic));
    reload();
  }

 protected:
  QVariant loadResource(int type, const QUrl& url) override {
    const QByteArray bytes = engine_ && url.scheme() == kHelpScheme ? engine_->fileData(url) : QByteArray();
    if (type == QTextDocument::ImageResource) return Picture(bytes);
    return bytes.isEmpty() && type == QTextDocument::HtmlResource ? QVariant(Complaint()) : QVariant(bytes);
  }

  void paintEvent(QPaintEvent* event) override {
    QTextBrowser::paintEvent(event);
    if (ratio_ != devicePixelRatioF())
      QMetaObject::invokeMethod(this, &HelpPages::MakePicturesAnew, Qt::QueuedConnection);
  }

  void doSetSource(const QUrl& url, QTextDocument::ResourceType type) override {
    if (url.scheme() == kHelpScheme) return QTextBrowser::doSetSource(url, type);
    if (url.scheme() == "http" || url.scheme() == "https") OpenWebPage(url.toString());
  }

 private:
  QUrl PageOf(int topic) const {
    const QList<QHelpLink> pages =
        engine_ ? engine_->documentsForIdentifier(QString::number(topic)) : QList<QHelpLink>();
    return pages.isEmpty() ? kContents : pages.first().url;
  }

  // Has exactly the pixels of the screen, so that it is not scaled again when it is painted.
  QImage Picture(const QByteArray& bytes) const {
    const QImage stored = QImage::fromData(bytes);
    QImage picture =
        stored.scaled(stored.size() * (ratio_ / kPictureScale), Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    picture.setDevicePixelRatio(ratio_);
    return picture;
  }

  // The window has come to a screen of another scale.
  void MakePicturesAnew() {
    ratio_ = devicePixelRatioF();
    const int place = verticalScrollBar()->value();
    reload();
    verticalScrollBar()->setValue(place);
  }

  QString Complaint() const {
    return "<p>The help file cannot be read:</p><p>" + file_.toHtmlEscaped() +
           "</p><p>It comes with Quenvar. Put it back there, and ask for help again.</p>";
  }

  QString file_;
  double ratio_ = 1;
  std::unique_ptr<QHelpEngineCore> engine_;
};

HelpViewer::HelpViewer() : pages_(new HelpPages(this)) {
  setWindowTitle("Quenvar Help");
  resize(kSize);
  setContextMenuPolicy(Qt::PreventContextMenu);
  QFont font = pages_->font();
  font.setPointSizeF(kReadingPoints);
  pages_->setFont(font);
  pages_->document()->setDocumentMargin(kMargin);
  pages_->document()->setIndentWidth(kListIndent);
  pages_->setAccessibleName("Help page");
  setCentralWidget(pages_);
  AddBar();
}

void HelpViewer::AddBar() {
  QToolBar* const bar = addToolBar("Help");
  bar->setMovable(false);
  const auto add = [bar](const QString& text, const QKeySequence& keys) {
    QAction* const action = bar->addAction(text);
    action->setShortcut(keys);
    return action;
  };
  QAction* const back = add("Back", QKeySequence("Alt+Left"));
  QAction* const forward = add("Forward", QKeySequence("Alt+Right"));
  back->setEnabled(false);
  forward->setEnabled(false);
  connect(back, &QAction::triggered, pages_, &QTextBrowser::backward);
  connect(forward, &QAction::triggered, pages_, &QTextBrowser::forward);
  connect(pages_, &QTextBrowser::backwardAvailable, back, &QAction::setEnabled);
  connect(pages_, &QTextBrowser::forwardAvailable, forward, &QAction::setEnabled);
  connect(add("Contents", QKeySequence("Alt+Home")), &QAction::triggered, [this] { pages_->setSource(kContents); });
  auto* const close = new QAction(this);
  close->setShortcut(QKeySequence("Esc"));
  connect(close, &QAction::triggered, this, &QWidget::close);
  addAction(close);
}

void HelpViewer::ShowTopic(const QString& helpFile, int topic) { pages_->ShowTopic(helpFile, topic); }

void HelpViewer::ShowOwnedBy(QWidget* owner) {
  if (parentWidget() != owner) {
    const bool placed = isVisible();
    const QPoint place = pos();
    setParent(owner, Qt::Window);
    if (placed) move(place);
  }
  setWindowState(windowState() & ~Qt::WindowMinimized);
  show();
  raise();
  activateWindow();
}

}  // namespace quenvar
