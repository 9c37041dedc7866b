#include "help/frmHelp.h"

#include <fmt/format.h>

#include <QApplication>
#include <QCloseEvent>
#include <QDialog>
#include <QKeyEvent>
#include <QScopedValueRollback>
#include <QScreen>
#include <QShortcut>
#include <QWindow>
#include <algorithm>
#include <functional>

#include "common/qt/Icons.h"
#include "common/qt/QtText.h"
#include "help/HelpHitDelegate.h"
#include "platform/ApplicationTitle.h"
#include "ui_frmHelp.h"

namespace korvane::help {
namespace {

constexpr std::string_view kPlaceSetting = "HelpWindow";  // place, width of the contents, zoom
constexpr int kContentsWidth = 296;
constexpr int kMostForContents = 40;  // per cent of the window
constexpr int kMostOfScreen = 60;     // per cent of its width, when nothing was kept
constexpr int kLeftAbove = 120;       // of the screen: title bars, and the menus of the console
constexpr int kFrameEdge = 8;
constexpr int kTitleHeight = 40;  // of the window system's, which is not known before the window shows
constexpr int kTargetRole = Qt::UserRole + 1;

}  // namespace

frmHelp::frmHelp(platform::SettingsStore& settings, QWidget* parent)
    : QWidget(parent, Qt::Window),
      settings_(settings),
      ui_(std::make_unique<Ui::frmHelp>()),
      hits_(new HelpHitDelegate(this)),
      contentsWidth_(kContentsWidth) {
  ui_->setupUi(this);
  setWindowTitle(tr("Help - %1").arg(ToQString(platform::kApplicationTitle)));
  setWindowIcon(HelpWindowIcon());
  ui_->splHelp->setStretchFactor(1, 1);
  ui_->lvResults->setItemDelegate(hits_);
  ui_->tvContents->viewport()->setAutoFillBackground(false);
  ui_->lvResults->viewport()->setAutoFillBackground(false);
  ui_->lblNothingFound->setForegroundRole(QPalette::PlaceholderText);
  ui_->fraFind->hide();
  SetUpKeys();

  connect(ui_->splHelp, &QSplitter::splitterMoved, this, [this](int place) { contentsWidth_ = place; });
  connect(ui_->tvContents, &QTreeWidget::currentItemChanged, this, &frmHelp::Choose);
  // A click on the entry that is current already leads back to where it points.
  connect(ui_->tvContents, &QTreeWidget::itemClicked, this, &frmHelp::Choose);
  connect(ui_->txtSearch, &QLineEdit::textChanged, this, &frmHelp::Search);
  connect(ui_->txtSearch, &QLineEdit::returnPressed, this, [this] {
    ui_->lvResults->setCurrentRow(std::max(ui_->lvResults->currentRow(), 0));
    ui_->txtPage->setFocus();
  });
  connect(ui_->lvResults, &QListWidget::currentItemChanged, this, &frmHelp::ShowHit);
  connect(ui_->lvResults, &QListWidget::itemClicked, this, &frmHelp::ShowHit);
  connect(ui_->txtFind, &QLineEdit::textChanged, this, [this] { Find(false, false); });
  connect(ui_->txtFind, &QLineEdit::returnPressed, this, [this] { Find(false, true); });
  connect(ui_->txtPage, &HelpPageView::PageShown, this, &frmHelp::FollowPage);
  connect(ui_->txtPage, &QTextBrowser::backwardAvailable, ui_->cmdBack, &QWidget::setEnabled);
  connect(ui_->txtPage, &QTextBrowser::forwardAvailable, ui_->cmdForward, &QWidget::setEnabled);
}

frmHelp::~frmHelp() {
  if (isVisible()) {
    SavePlace();
  }
  LetGo();
}

void frmHelp::SetUpKeys() {
  HelpPageView* page = ui_->txtPage;
  const struct {
    QToolButton* Button;  // null: the keys alone
    QKeySequence Keys;
    std::function<void()> Act;
  } keys[] = {
      {ui_->cmdBack, Qt::ALT | Qt::Key_Left, [page] { page->backward(); }},
      {ui_->cmdForward, Qt::ALT | Qt::Key_Right, [page] { page->forward(); }},
      {ui_->cmdHome, Qt::ALT | Qt::Key_Home, [this, page] { page->ShowPage(book_->Pages.front().Name); }},
      {ui_->cmdSmaller, Qt::CTRL | Qt::Key_Minus, [page] { page->SetZoom(page->Zoom() - 1); }},
      {ui_->cmdLarger, Qt::CTRL | Qt::Key_Plus, [page] { page->SetZoom(page->Zoom() + 1); }},
      {nullptr, Qt::CTRL | Qt::Key_Equal, [page] { page->SetZoom(page->Zoom() + 1); }},
      {nullptr, Qt::CTRL | Qt::Key_0, [page] { page->SetZoom(0); }},
      {nullptr, Qt::CTRL | Qt::SHIFT | Qt::Key_F,
       [this] { ui_->txtSearch->setFocus(Qt::ShortcutFocusReason); }},
      {nullptr, Qt::CTRL | Qt::Key_F, [this] { OpenFind(); }},
      {ui_->cmdFindPrevious, Qt::SHIFT | Qt::Key_F3, [this] { Find(true, true); }},
      {ui_->cmdFindNext, Qt::Key_F3, [this] { Find(false, true); }},
      {ui_->cmdFindClose, Qt::Key_Escape, [this] { CloseInnermost(); }},
  };
  for (const auto& key : keys) {
    connect(new QShortcut(key.Keys, this), &QShortcut::activated, this, key.Act);
    if (key.Button != nullptr) {
      const QString name = key.Button->text();
      key.Button->setIcon(ToolbarIcon(ToUtf8(name)));
      key.Button->setIconSize(QSize(18, 18));
      key.Button->setAutoRaise(true);
      key.Button->setAccessibleName(name);
      key.Button->setToolTip(
          QStringLiteral("%1 (%2)").arg(name, key.Keys.toString(QKeySequence::NativeText)));
      connect(key.Button, &QToolButton::clicked, this, key.Act);
    }
  }
}

bool frmHelp::ShowContents(std::string_view path) {
  if (!isVisible()) {
    book_ = HelpBook::Read(path);
    if (!book_) {
      return false;
    }
    FillContents();
    ui_->txtPage->Open(&*book_);
    RestorePlace();
    show();
    connect(windowHandle(), &QWindow::screenChanged, ui_->txtPage, &HelpPageView::Refresh,
            Qt::UniqueConnection);
    qApp->installEventFilter(this);
    ui_->txtPage->ShowPage(book_->Pages.front().Name);
    ui_->txtPage->setFocus();
  }
  setWindowState(windowState() & ~Qt::WindowMinimized);
  raise();
  activateWindow();
  return true;
}

void frmHelp::LetGo() {
  qApp->removeEventFilter(this);
  ui_->txtPage->Open(nullptr);
  ui_->txtSearch->clear();
  CloseFind();
  ui_->tvContents->clear();
  book_.reset();
}

// Groups of pages and below each page its sections.
void frmHelp::FillContents() {
  QFont bold;
  bold.setBold(true);
  QTreeWidgetItem* group = nullptr;
  for (const HelpPage& page : book_->Pages) {
    if (group == nullptr || group->text(0) != page.Group) {
      group = new QTreeWidgetItem(ui_->tvContents, {page.Group});
      group->setFlags(Qt::ItemIsEnabled);
      group->setFont(0, bold);
      group->setExpanded(true);
    }
    QTreeWidgetItem* above = group;
    for (const HelpSection& section : page.Sections) {
      auto* entry = new QTreeWidgetItem(above, {section.Title});
      entry->setData(0, kTargetRole, section.Target);
      entry->setToolTip(0, section.Title);
      above = above == group ? entry : above;
    }
  }
}

void frmHelp::Choose(const QTreeWidgetItem* entry) {
  if (entry != nullptr && !following_) {
    ui_->txtPage->ShowPage(entry->data(0, kTargetRole).toString());
  }
}

// Also when the page is shown anew in other colours.
void frmHelp::FollowPage(const QString& page) {
  const QScopedValueRollback guard(following_, true);
  QTreeWidget& tree = *ui_->tvContents;
  for (QTreeWidgetItemIterator it(&tree); *it != nullptr; ++it) {
    if ((*it)->parent() == nullptr) {
      (*it)->setForeground(0, palette().color(QPalette::PlaceholderText));
      continue;
    }
    const bool here = (*it)->data(0, kTargetRole).toString() == page;
    (*it)->setExpanded(here);
    if (here && tree.currentIndex().parent() != tree.indexFromItem(*it)) {
      tree.setCurrentItem(*it);
    }
  }
  if (ui_->fraFind->isVisible()) {
    Find(false, false);
  }
}

void frmHelp::Search(const QString& text) {
  ui_->lvResults->clear();
  const QStringList words = HelpSearchWords(text);
  hits_->SetWords(words);
  if (words.isEmpty() || !book_) {
    ui_->txtPage->Mark({});
    ui_->stkContents->setCurrentWidget(ui_->tvContents);
    return;
  }
  for (const HelpHit& hit : book_->Search(text)) {
    auto* item = new QListWidgetItem(hit.Title, ui_->lvResults);
    item->setData(kHelpHitLineRole, hit.Line);
    item->setData(kHelpHitTargetRole, hit.Target);
  }
  const bool found = ui_->lvResults->count() > 0;
  ui_->stkContents->setCurrentWidget(found ? static_cast<QWidget*>(ui_->lvResults) : ui_->lblNothingFound);
}

void frmHelp::ShowHit(const QListWidgetItem* hit) {
  if (hit != nullptr) {
    ui_->txtPage->ShowPage(hit->data(kHelpHitTargetRole).toString());
    ui_->txtPage->Mark(HelpSearchWords(ui_->txtSearch->text()));
  }
}

bool frmHelp::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() == QEvent::Polish) {
    LeaveReadable(*watched);
  } else if (event->type() == QEvent::KeyPress && watched == ui_->txtSearch) {
    const int key = static_cast<QKeyEvent*>(event)->key();
    if (key == Qt::Key_Up || key == Qt::Key_Down) {
      return QApplication::sendEvent(ui_->lvResults, event);  // so that a search needs no mouse
    }
  }
  return QWidget::eventFilter(watched, event);
}

// A dialog that opens while the help is read blocks the windows it belongs to, as ever, but not the help.
// One that belongs to the help, such as a message that came up meanwhile, blocks everything.
void frmHelp::LeaveReadable(QObject& opening) {
  auto* dialog = qobject_cast<QDialog*>(&opening);
  if (dialog != nullptr && dialog->windowModality() == Qt::ApplicationModal &&
      dialog->parentWidget() != nullptr && dialog->parentWidget()->window() != this) {
    // The window behind a dialog that is modal already hears of no change.
    dialog->setWindowModality(Qt::NonModal);
    dialog->setWindowModality(Qt::WindowModal);
  }
}

void frmHelp::OpenFind() {
  ui_->fraFind->show();
  ui_->txtFind->setFocus(Qt::ShortcutFocusReason);
  Find(false, false);
}

void frmHelp::CloseFind() {
  ui_->fraFind->hide();
  ui_->txtPage->Find({}, false, false);
  if (isVisible()) {
    ui_->txtPage->setFocus();
  }
}

void frmHelp::CloseInnermost() {
  if (ui_->fraFind->isVisible()) {
    CloseFind();
  } else if (!ui_->txtSearch->text().isEmpty()) {
    ui_->txtSearch->clear();
    ui_->txtPage->setFocus();
  } else {
    close();
  }
}

void frmHelp::Find(bool backwards, bool again) {
  if (ui_->fraFind->isHidden()) {
    OpenFind();
    return;
  }
  ui_->lblFound->setText(ui_->txtPage->Find(ui_->txtFind->text(), backwards, again));
}

void frmHelp::RestorePlace() {
  const auto kept = ToQString(settings_.GetSetting(platform::kSettingsSection, kPlaceSetting, {}));
  const QStringList place = kept.split(QLatin1Char(','));
  if (place.size() == 3 && restoreGeometry(QByteArray::fromBase64(place[0].toLatin1()))) {
    contentsWidth_ = place[1].toInt();
    ui_->txtPage->SetZoom(place[2].toInt());
  } else {
    PlaceBesideActiveWindow();
  }
  FitContents();
}

// Without room beside it, at the lower right: the console's menus and the names of the systems stay in sight.
void frmHelp::PlaceBesideActiveWindow() {
  const QWidget* active = QApplication::activeWindow();
  const QRect room = (active != nullptr ? active : this)->screen()->availableGeometry();
  QRect place(QPoint(), QSize(std::min(width(), room.width() * kMostOfScreen / 100),
                              std::min(height(), room.height() - kLeftAbove))
                            .expandedTo(minimumSize()));
  place.moveBottomRight(room.bottomRight() - QPoint(kFrameEdge, kTitleHeight));
  if (active != nullptr && !active->isMaximized()) {
    const QRect beside = active->frameGeometry();
    if (room.right() - beside.right() > place.width()) {
      place.moveTopLeft(QPoint(beside.right() + kFrameEdge, active->y()));
    } else if (beside.left() - room.left() > place.width()) {
      place.moveTopRight(QPoint(beside.left() - kFrameEdge, active->y()));
    }
    place.moveTop(std::clamp(place.top(), room.top(),
                             std::max(room.top(), room.bottom() - place.height() - kTitleHeight)));
  }
  resize(place.size());
  move(place.topLeft());
}

void frmHelp::SavePlace() {
  const std::string geometry = saveGeometry().toBase64().toStdString();
  settings_.SaveSetting(platform::kSettingsSection, kPlaceSetting,
                        fmt::format("{},{},{}", geometry, contentsWidth_, ui_->txtPage->Zoom()));
}

// In a narrow window the contents leave the larger part to the page.
void frmHelp::FitContents() {
  const int contents = std::min(contentsWidth_, width() * kMostForContents / 100);
  ui_->splHelp->setSizes({contents, std::max(width() - contents, 1)});
}

void frmHelp::resizeEvent(QResizeEvent* event) {
  QWidget::resizeEvent(event);
  FitContents();
}

void frmHelp::closeEvent(QCloseEvent* event) {
  if (!isMinimized()) {
    SavePlace();
  }
  event->accept();
  hide();
  LetGo();
}

}  // namespace korvane::help
