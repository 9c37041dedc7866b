#include "help/frmHelp.h"

#include <QApplication>
#include <QCloseEvent>
#include <QDialog>
#include <QKeyEvent>
#include <QScreen>
#include <QShortcut>
#include <QStandardItemModel>
#include <algorithm>
#include <array>
#include <string>

#include "common/NumberList.h"
#include "common/qt/Icons.h"
#include "common/qt/QtText.h"
#include "help/HelpContents.h"
#include "help/HelpHitDelegate.h"
#include "platform/ApplicationTitle.h"
#include "ui_frmHelp.h"

namespace korvane::mainwnd {
namespace {

constexpr std::string_view kPlaceSetting = "HelpWindow";
constexpr int kContentsWidth = 296;
constexpr int kMostForContents = 40;  // per cent of the window
constexpr int kLeastWidth = 480;
constexpr int kLeastHeight = 320;

// The numbers of the setting.
enum PlaceNumber : std::size_t { kLeft, kTop, kWidth, kHeight, kContents, kZoom, kPlaceNumbers };

void SetUpButton(QToolButton& button, std::string_view icon, const QString& keys) {
  button.setIcon(ToolbarIcon(icon));
  button.setIconSize(QSize(18, 18));
  button.setAutoRaise(true);
  button.setAccessibleName(button.text());
  button.setToolTip(keys.isEmpty() ? button.text() : QStringLiteral("%1 (%2)").arg(button.text(), keys));
}

}  // namespace

frmHelp::frmHelp(platform::SettingsStore& settings, QWidget* parent)
    : QWidget(parent, Qt::Window),
      settings_(settings),
      ui_(std::make_unique<Ui::frmHelp>()),
      results_(new QStandardItemModel(this)),
      hits_(new HelpHitDelegate(this)),
      contentsWidth_(kContentsWidth) {
  ui_->setupUi(this);
  setWindowTitle(tr("Help - %1").arg(ToQString(platform::kApplicationTitle)));
  setWindowIcon(HelpWindowIcon());
  setMinimumSize(kLeastWidth, kLeastHeight);
  ui_->splHelp->setStretchFactor(1, 1);
  ui_->lvResults->setModel(results_);
  ui_->lvResults->setItemDelegate(hits_);
  for (QWidget* list : {static_cast<QWidget*>(ui_->tvContents), static_cast<QWidget*>(ui_->lvResults)}) {
    QPalette ground = list->palette();
    ground.setBrush(QPalette::Base, Qt::NoBrush);
    list->setPalette(ground);
  }
  ui_->lblNothingFound->setForegroundRole(QPalette::PlaceholderText);
  ui_->fraFind->hide();
  SetUpButtons();
  SetUpKeys();

  connect(ui_->splHelp, &QSplitter::splitterMoved, this, [this](int place) { contentsWidth_ = place; });
  contents_ = new HelpContents(*ui_->tvContents, this);
  connect(contents_, &HelpContents::Chosen, ui_->txtPage, &HelpPageView::ShowPage);
  connect(ui_->txtSearch, &QLineEdit::textChanged, this, &frmHelp::Search);
  connect(ui_->lvResults->selectionModel(), &QItemSelectionModel::currentChanged, this, &frmHelp::ShowHit);
  connect(ui_->lvResults, &QListView::clicked, this, &frmHelp::ShowHit);
  connect(ui_->txtPage, &HelpPageView::PageShown, this, &frmHelp::FollowPage);
}

frmHelp::~frmHelp() {
  if (isVisible()) {
    SavePlace();
  }
  LetGo();
}

void frmHelp::SetUpButtons() {
  SetUpButton(*ui_->cmdBack, "Back", QStringLiteral("Alt+Left"));
  SetUpButton(*ui_->cmdForward, "Forward", QStringLiteral("Alt+Right"));
  SetUpButton(*ui_->cmdHome, "Home", QStringLiteral("Alt+Home"));
  SetUpButton(*ui_->cmdSmaller, "Smaller Text", QStringLiteral("Ctrl+-"));
  SetUpButton(*ui_->cmdLarger, "Larger Text", QStringLiteral("Ctrl++"));
  SetUpButton(*ui_->cmdFindPrevious, "Previous", QStringLiteral("Shift+F3"));
  SetUpButton(*ui_->cmdFindNext, "Next", QStringLiteral("F3"));
  SetUpButton(*ui_->cmdFindClose, "Close", QStringLiteral("Esc"));
  for (QToolButton* button : {ui_->cmdBack, ui_->cmdForward}) {
    button->setEnabled(false);
  }
  HelpPageView* page = ui_->txtPage;
  connect(page, &QTextBrowser::backwardAvailable, ui_->cmdBack, &QWidget::setEnabled);
  connect(page, &QTextBrowser::forwardAvailable, ui_->cmdForward, &QWidget::setEnabled);
  connect(ui_->cmdBack, &QToolButton::clicked, page, &QTextBrowser::backward);
  connect(ui_->cmdForward, &QToolButton::clicked, page, &QTextBrowser::forward);
  connect(ui_->cmdHome, &QToolButton::clicked, this, [this] {
    if (book_) {
      ui_->txtPage->ShowPage(ToQString(book_->Pages().front().Name));
    }
  });
  connect(ui_->cmdSmaller, &QToolButton::clicked, this,
          [this] { ui_->txtPage->SetZoom(ui_->txtPage->Zoom() - 1); });
  connect(ui_->cmdLarger, &QToolButton::clicked, this,
          [this] { ui_->txtPage->SetZoom(ui_->txtPage->Zoom() + 1); });
  connect(ui_->txtFind, &QLineEdit::textChanged, this, [this] { Find(false, false); });
  connect(ui_->txtFind, &QLineEdit::returnPressed, this, [this] { Find(false, true); });
  connect(ui_->cmdFindPrevious, &QToolButton::clicked, this, [this] { Find(true, true); });
  connect(ui_->cmdFindNext, &QToolButton::clicked, this, [this] { Find(false, true); });
  connect(ui_->cmdFindClose, &QToolButton::clicked, this, &frmHelp::CloseFind);
}

void frmHelp::SetUpKeys() {
  const auto key = [this](const QKeySequence& keys, auto act) {
    connect(new QShortcut(keys, this), &QShortcut::activated, this, act);
  };
  key(QKeySequence(Qt::ALT | Qt::Key_Left), [this] { ui_->cmdBack->click(); });
  key(QKeySequence(Qt::ALT | Qt::Key_Right), [this] { ui_->cmdForward->click(); });
  key(QKeySequence(Qt::ALT | Qt::Key_Home), [this] { ui_->cmdHome->click(); });
  key(QKeySequence(Qt::CTRL | Qt::Key_Minus), [this] { ui_->cmdSmaller->click(); });
  key(QKeySequence(Qt::CTRL | Qt::Key_Plus), [this] { ui_->cmdLarger->click(); });
  key(QKeySequence(Qt::CTRL | Qt::Key_Equal), [this] { ui_->cmdLarger->click(); });
  key(QKeySequence(Qt::CTRL | Qt::Key_0), [this] { ui_->txtPage->SetZoom(0); });
  key(QKeySequence(Qt::CTRL | Qt::Key_F), [this] { OpenFind(); });
  key(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_F), [this] {
    ui_->txtSearch->setFocus();
    ui_->txtSearch->selectAll();
  });
  for (const bool backwards : {false, true}) {
    key(backwards ? QKeySequence(Qt::SHIFT | Qt::Key_F3) : QKeySequence(Qt::Key_F3), [this, backwards] {
      if (ui_->fraFind->isVisible()) {
        Find(backwards, true);
      } else {
        OpenFind();
      }
    });
  }
  key(QKeySequence(Qt::Key_Escape), [this] {
    if (ui_->fraFind->isVisible()) {
      CloseFind();
    } else {
      close();
    }
  });
}

bool frmHelp::ShowContents(std::string_view path) {
  if (!isVisible()) {
    if (!Read(path)) {
      return false;
    }
    RestorePlace();
    show();
    qApp->installEventFilter(this);
    ui_->txtPage->ShowPage(ToQString(book_->Pages().front().Name));
    ui_->txtPage->setFocus();
  }
  setWindowState(windowState() & ~Qt::WindowMinimized);
  raise();
  activateWindow();
  return true;
}

bool frmHelp::Read(std::string_view path) {
  file_ = HelpFile::Open(path);
  if (!file_) {
    return false;
  }
  book_ = HelpBook::Read([this](std::string_view name) -> std::optional<std::string> {
    const std::optional<QByteArray> bytes = file_->Read(ToQString(name));
    return bytes ? std::optional(bytes->toStdString()) : std::nullopt;
  });
  if (!book_) {
    LetGo();
    return false;
  }
  contents_->Fill(*book_);
  ui_->txtPage->Open([this](const QString& name) { return file_->Read(name).value_or(QByteArray()); });
  return true;
}

void frmHelp::LetGo() {
  qApp->removeEventFilter(this);
  ui_->txtPage->Open(nullptr);
  ui_->txtSearch->clear();
  CloseFind();
  contents_->Clear();
  results_->clear();
  book_.reset();
  file_.reset();
}

void frmHelp::FollowPage(const QString& page) {
  contents_->Follow(page);
  if (ui_->fraFind->isVisible()) {
    Find(false, false);
  }
}

void frmHelp::Search(const QString& text) {
  results_->clear();
  QStringList words;
  for (const std::string& word : HelpSearchWords(ToUtf8(text))) {
    words.append(ToQString(word));
  }
  hits_->SetWords(words);
  if (words.isEmpty() || !book_) {
    ui_->txtPage->Mark({});
    ui_->stkContents->setCurrentWidget(ui_->tvContents);
    return;
  }
  for (const HelpHit& hit : book_->Search(ToUtf8(text))) {
    auto* item = new QStandardItem(ToQString(hit.Page->Title()));
    item->setData(ToQString(hit.Line), kHelpHitLineRole);
    item->setData(HelpTarget(*hit.Page, *hit.Section), kHelpHitTargetRole);
    results_->appendRow(item);
  }
  const bool found = results_->rowCount() > 0;
  ui_->stkContents->setCurrentWidget(found ? static_cast<QWidget*>(ui_->lvResults) : ui_->lblNothingFound);
}

void frmHelp::ShowHit(const QModelIndex& index) {
  if (!index.isValid()) {
    return;
  }
  ui_->txtPage->ShowPage(index.data(kHelpHitTargetRole).toString());
  QStringList words;
  for (const std::string& word : HelpSearchWords(ToUtf8(ui_->txtSearch->text()))) {
    words.append(ToQString(word));
  }
  ui_->txtPage->Mark(words);
}

// From the edit, so that a search needs no mouse.
void frmHelp::MoveInResults(int step) {
  const int rows = results_->rowCount();
  if (rows > 0) {
    const int row = ui_->lvResults->currentIndex().row() + step;
    ui_->lvResults->setCurrentIndex(results_->index(std::clamp(row, 0, rows - 1), 0));
  }
}

bool frmHelp::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() == QEvent::Polish) {
    LeaveReadable(*watched);
  } else if (event->type() == QEvent::KeyPress && watched == ui_->txtSearch) {
    switch (static_cast<QKeyEvent*>(event)->key()) {
      case Qt::Key_Up:
        MoveInResults(-1);
        return true;
      case Qt::Key_Down:
        MoveInResults(1);
        return true;
      case Qt::Key_Return:
      case Qt::Key_Enter:
        if (!ui_->lvResults->currentIndex().isValid()) {
          MoveInResults(1);
        }
        ui_->txtPage->setFocus();
        return true;
      default:
        break;
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
    dialog->setWindowModality(
        Qt::NonModal);  // the window behind a dialog that is modal already hears of no change
    dialog->setWindowModality(Qt::WindowModal);
  }
}

void frmHelp::OpenFind() {
  ui_->fraFind->show();
  ui_->txtFind->setFocus();
  ui_->txtFind->selectAll();
  Find(false, false);
}

void frmHelp::CloseFind() {
  ui_->fraFind->hide();
  ui_->txtPage->Find({}, false, false);
  if (isVisible()) {
    ui_->txtPage->setFocus();
  }
}

void frmHelp::Find(bool backwards, bool again) {
  const QString text = ui_->txtFind->text();
  const HelpPageView::Found found = ui_->txtPage->Find(text, backwards, again);
  QString shown;
  if (!text.isEmpty()) {
    shown = found.Count == 0 ? tr("Not on this page") : tr("%1 of %2").arg(found.Place).arg(found.Count);
  }
  ui_->lblFound->setText(shown);
}

void frmHelp::RestorePlace() {
  const auto place = ParseNumberList(settings_.GetSetting(platform::kSettingsSection, kPlaceSetting, {}));
  if (!place || place->size() != kPlaceNumbers) {
    FitContents();
    return;
  }
  const QRect wanted((*place)[kLeft], (*place)[kTop], (*place)[kWidth], (*place)[kHeight]);
  if (const QScreen* screen = QGuiApplication::screenAt(wanted.center())) {
    resize(wanted.size().boundedTo(screen->availableSize()).expandedTo(minimumSize()));
    move(wanted.topLeft());
  }
  contentsWidth_ = (*place)[kContents];
  FitContents();
  ui_->txtPage->SetZoom((*place)[kZoom]);
}

void frmHelp::SavePlace() {
  const QRect shown = isMaximized() ? normalGeometry() : QRect(pos(), size());
  const std::array<int, kPlaceNumbers> place = {shown.x(),      shown.y(),      shown.width(),
                                                shown.height(), contentsWidth_, ui_->txtPage->Zoom()};
  settings_.SaveSetting(platform::kSettingsSection, kPlaceSetting, NumberListText(place));
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

}  // namespace korvane::mainwnd
