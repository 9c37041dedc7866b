#include "traps/FindBar.h"

#include <QAction>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QShortcut>
#include <QTableView>
#include <QToolButton>
#include <algorithm>
#include <chrono>

#include "common/qt/Icons.h"
#include "common/qt/KorvaneStyle.h"
#include "common/qt/QtText.h"
#include "traps/TrapCellDelegate.h"
#include "traps/TrapsList.h"
#include "traps/TrapsTableModel.h"

namespace korvane::traps {
namespace {

// How long the window is held up before it paints and listens again.
constexpr std::chrono::milliseconds kLookingTurn{10};
constexpr int kTextWidth = 300;
constexpr int kLeastTextWidth = 90;
constexpr int kSignSize = 16;

bool IsEnter(const QKeyEvent& key) {
  return key.key() == Qt::Key_Return || key.key() == Qt::Key_Enter;
}

}  // namespace

FindBar::FindBar(QTableView& view, TrapsTableModel& table, TrapsList& list, QWidget* parent)
    : QWidget(parent), view_(view), table_(table), list_(list) {
  hide();
  SetUpControls();
  SetUpKeys();
  turn_.setSingleShot(true);
  turn_.setInterval(0);
  connect(&turn_, &QTimer::timeout, this, &FindBar::Look);
  FollowList();
}

FindBar::~FindBar() = default;

QToolButton* FindBar::AddButton(const QString& name, const QIcon& icon, const QString& what,
                                const QString& keys) {
  auto* button = new QToolButton(this);
  button->setObjectName(name);
  button->setIcon(icon);
  button->setIconSize(QSize(kSignSize, kSignSize));
  button->setAutoRaise(true);
  button->setAccessibleName(what);
  button->setToolTip(QStringLiteral("%1 (%2)").arg(what, keys));
  return button;
}

void FindBar::SetUpControls() {
  text_ = new QLineEdit(this);
  text_->setObjectName(QStringLiteral("txtFind"));
  text_->setPlaceholderText(tr("Find in this window"));
  text_->setAccessibleName(tr("Find in this window"));
  text_->setMinimumWidth(kLeastTextWidth);
  text_->setMaximumWidth(kTextWidth);
  text_->installEventFilter(this);
  noHits_ = text_->addAction(MessageIcon(MessagePicture::Exclamation), QLineEdit::TrailingPosition);
  noHits_->setObjectName(QStringLiteral("actNoHits"));
  noHits_->setToolTip(tr("No traps found"));
  noHits_->setVisible(false);
  previous_ =
      AddButton(QStringLiteral("cmdFindPrevious"), ToolbarIcon("Previous"), tr("Previous"), tr("Shift+F3"));
  next_ = AddButton(QStringLiteral("cmdFindNext"), ToolbarIcon("Next"), tr("Next"), tr("F3"));
  count_ = new QLabel(this);
  count_->setObjectName(QStringLiteral("lblFound"));
  count_->setTextFormat(Qt::PlainText);
  count_->setMinimumWidth(1);
  QToolButton* close =
      AddButton(QStringLiteral("cmdFindClose"), ToolbarIcon("Close"), tr("Close"), tr("Esc"));

  auto* row = new QHBoxLayout(this);
  row->setContentsMargins(kSpacing, kSpacing, kSpacing, kSpacing);
  row->setSpacing(0);
  row->addWidget(text_, 3);
  row->addSpacing(kSpacing);
  row->addWidget(previous_);
  row->addWidget(next_);
  row->addSpacing(kSpacing);
  row->addWidget(count_, 1);
  row->addWidget(close);

  connect(text_, &QLineEdit::textChanged, this, [this] { Begin(Wanted::FirstFromHere); });
  connect(previous_, &QToolButton::clicked, this, [this] { Go(Wanted::Previous); });
  connect(next_, &QToolButton::clicked, this, [this] { Go(Wanted::Next); });
  connect(close, &QToolButton::clicked, this, &FindBar::Close);
}

void FindBar::SetUpKeys() {
  const auto add = [this](const QKeySequence& keys, auto act) {
    auto* shortcut = new QShortcut(keys, parentWidget());
    shortcut->setContext(Qt::WidgetWithChildrenShortcut);
    connect(shortcut, &QShortcut::activated, this, act);
    return shortcut;
  };
  add(QKeySequence(Qt::CTRL | Qt::Key_F), [this] { Open(); });
  add(QKeySequence(Qt::Key_F3), [this] { Go(Wanted::Next); });
  add(QKeySequence(Qt::SHIFT | Qt::Key_F3), [this] { Go(Wanted::Previous); });
  escape_ = add(QKeySequence(Qt::Key_Escape), [this] { Close(); });
  escape_->setEnabled(false);
}

void FindBar::FollowList() {
  connect(&table_, &QAbstractItemModel::rowsAboutToBeRemoved, this,
          [this](const QModelIndex&, int first, int last) {
            leaving_.clear();
            for (int position = first; finder_.HasText() && position <= last; ++position) {
              leaving_.push_back(table_.RowAt(position));
            }
            std::ranges::sort(leaving_);
          });
  connect(&table_, &QAbstractItemModel::rowsRemoved, this, [this] { finder_.RowsRemoved(leaving_); });
  connect(&table_, &QAbstractItemModel::rowsInserted, this, [this] {
    finder_.RowsAppended(table_.Rows().Count());
    turn_.start();
  });
  connect(&table_, &QAbstractItemModel::modelReset, this, [this] {
    finder_.RowsReset(table_.Rows().Count());
    wanted_ = Wanted::Nothing;
    turn_.start();
  });
  connect(&table_, &TrapsTableModel::BatchChanged, this, &FindBar::ShowCount);
  connect(&table_, &QAbstractItemModel::layoutChanged, this, &FindBar::ShowCount);
  connect(&list_, &TrapsList::SelectionMoved, this, &FindBar::ShowCount);
}

void FindBar::Show() {
  if (isHidden()) {
    show();
    escape_->setEnabled(true);
    Begin(Wanted::Nothing);
  }
}

void FindBar::Open() {
  Show();
  text_->setFocus(Qt::ShortcutFocusReason);
  text_->selectAll();
}

void FindBar::Close() {
  if (isHidden()) {
    return;
  }
  hide();
  escape_->setEnabled(false);
  turn_.stop();
  finder_.Stop();
  wanted_ = Wanted::Nothing;
  MarkHits(QString());
  view_.setFocus(Qt::OtherFocusReason);
}

void FindBar::Begin(Wanted wanted) {
  const QString text = text_->text();
  const auto selected = list_.SelectedPosition();
  finder_.Find(table_.Shown(), ToUtf8(text),
               static_cast<std::size_t>(std::max(selected.value_or(view_.rowAt(0)), 0)));
  MarkHits(text);
  wanted_ = wanted;
  Look();
}

// One turn.  A list of some thousand rows is through with it.
void FindBar::Look() {
  looking_ = finder_.Step(table_.Shown(), kLookingTurn);
  Answer();
  ShowCount();
  if (looking_) {
    turn_.start();
  }
}

void FindBar::Go(Wanted wanted) {
  if (text_->text().isEmpty()) {
    Open();
    return;
  }
  Show();
  wanted_ = wanted;
  Answer();
}

void FindBar::Answer() {
  if (wanted_ == Wanted::Nothing) {
    return;
  }
  const traplist::TrapFinder::Place place = WantedPlace();
  if (!place.Settled) {
    return;
  }
  wanted_ = Wanted::Nothing;
  if (place.Position) {
    list_.SelectPosition(static_cast<int>(*place.Position));
  }
}

// From the selected trap; without one, from the top of what is on the screen.
traplist::TrapFinder::Place FindBar::WantedPlace() const {
  const auto selected = list_.SelectedPosition();
  const auto here = static_cast<std::size_t>(std::max(selected.value_or(view_.rowAt(0)), 0));
  if (wanted_ == Wanted::Previous) {
    return finder_.LastBefore(table_.Shown(), here);
  }
  const bool behind = wanted_ == Wanted::Next && selected.has_value();
  return finder_.FirstFrom(table_.Shown(), here + (behind ? 1 : 0));
}

QString FindBar::CountText() const {
  if (!finder_.HasText()) {
    return {};
  }
  const QLocale locale;
  const QString hits = locale.toString(static_cast<qulonglong>(finder_.Hits()));
  if (looking_) {
    return tr("Searching… %1").arg(hits);
  }
  if (finder_.Hits() == 0) {
    return tr("No traps found");
  }
  const auto selected = list_.SelectedPosition();
  const std::size_t number =
      selected ? finder_.NumberOf(table_.Shown(), static_cast<std::size_t>(*selected)) : 0;
  if (number > 0) {
    return tr("%1 of %2").arg(locale.toString(static_cast<qulonglong>(number)), hits);
  }
  return finder_.Hits() == 1 ? tr("1 trap found") : tr("%1 traps found").arg(hits);
}

void FindBar::ShowCount() {
  if (isHidden()) {
    return;
  }
  count_->setText(CountText());
  text_->setAccessibleDescription(count_->text());
  previous_->setEnabled(finder_.Hits() > 0);
  next_->setEnabled(finder_.Hits() > 0);
  ShowNoHits(finder_.HasText() && finder_.Hits() == 0 && !finder_.Searching());
}

void FindBar::MarkHits(const QString& text) {
  if (auto* delegate = qobject_cast<TrapCellDelegate*>(view_.itemDelegate())) {
    delegate->Mark(ToVisibleQString(ToUtf8(text)));
    view_.viewport()->update();
  }
}

void FindBar::ShowNoHits(bool none) {
  if (none == noHits_->isVisible()) {
    return;
  }
  noHits_->setVisible(none);
  QPalette palette = this->palette();
  if (none) {
    palette.setColor(QPalette::Base, IsDark(palette) ? QColor(0x4A, 0x24, 0x26) : QColor(0xFD, 0xE7, 0xE7));
  }
  text_->setPalette(palette);
}

bool FindBar::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() == QEvent::KeyPress) {
    const auto& key = static_cast<const QKeyEvent&>(*event);
    if (IsEnter(key)) {
      Go(key.modifiers().testFlag(Qt::ShiftModifier) ? Wanted::Previous : Wanted::Next);
      return true;
    }
  }
  return QWidget::eventFilter(watched, event);
}

void FindBar::changeEvent(QEvent* event) {
  if (event->type() == QEvent::PaletteChange) {
    noHits_->setVisible(false);
    text_->setPalette(palette());
    ShowCount();
  }
  QWidget::changeEvent(event);
}

}  // namespace korvane::traps
