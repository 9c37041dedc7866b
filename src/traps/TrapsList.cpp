#include "traps/TrapsList.h"

#include <QHeaderView>
#include <QItemSelectionModel>
#include <QScrollBar>
#include <QShortcut>
#include <QTableView>
#include <algorithm>
#include <array>
#include <utility>

#include "common/qt/ColumnWidths.h"
#include "common/qt/KorvaneStyle.h"
#include "common/qt/ListHabits.h"
#include "traps/SeverityHeading.h"
#include "traps/TrapCellDelegate.h"

namespace korvane::traps {

TrapsList::TrapsList(QTableView& view, TrapsTableModel& model, platform::SettingsStore& settings,
                     std::string widthsSetting, const QString& emptyText, Kind kind)
    : view_(view), model_(model), kind_(kind), following_(kind == Kind::Live) {
  StyleTable(view_);
  view_.setModel(&model_);
  auto* delegate = new TrapCellDelegate(&view_);
  if (kind_ == Kind::Report) {
    delegate->KeepAcknowledgedPlace();
  }
  view_.setItemDelegate(delegate);
  SetEmptyText(view_, emptyText);
  SetUpColumns(settings, std::move(widthsSetting));
  SetUpKeys();

  connect(&model_, &TrapsTableModel::BatchAboutToChange, this, [this] {
    if (changing_++ == 0) {
      RememberPlace();
    }
  });
  connect(&model_, &TrapsTableModel::BatchChanged, this, [this] {
    if (changing_ == 1) {
      RestorePlace();
    }
    --changing_;
  });
  // Outside a batch the layout changes only by sorting.
  connect(&model_, &QAbstractItemModel::layoutAboutToBeChanged, this, [this] {
    if (changing_ == 0) {
      RememberPlace();
    }
  });
  connect(&model_, &QAbstractItemModel::layoutChanged, this, [this] {
    if (changing_ == 0) {
      ++changing_;
      ShowSorted();
      --changing_;
    }
  });
  connect(&model_, &QAbstractItemModel::modelAboutToBeReset, this, &TrapsList::RememberTraps);

  QScrollBar* bar = view_.verticalScrollBar();
  connect(bar, &QScrollBar::valueChanged, this, [this] {
    if (changing_ == 0) {
      NoteScrolled();
    }
  });
  connect(bar, &QScrollBar::rangeChanged, this, [this] {
    if (changing_ == 0 && following_) {
      ShowNewest();
    }
  });
  connect(view_.selectionModel(), &QItemSelectionModel::selectionChanged, this, &TrapsList::SelectionMoved);
  connect(view_.selectionModel(), &QItemSelectionModel::currentRowChanged, this, &TrapsList::SelectionMoved);
}

TrapsList::~TrapsList() = default;

void TrapsList::SetUpColumns(platform::SettingsStore& settings, std::string widthsSetting) {
  QHeaderView* header = view_.horizontalHeader();
  header->setStretchLastSection(true);
  header->setSortIndicator(-1, Qt::AscendingOrder);
  header->setSortIndicatorClearable(true);
  view_.setSortingEnabled(true);

  widths_ =
      std::make_unique<ColumnWidths>(view_, settings, std::move(widthsSetting), traplist::kTrapColumns - 1);
  if (!widths_->ByHand()) {
    const QFontMetrics metrics = view_.fontMetrics();
    const std::array widths = {metrics.horizontalAdvance(QStringLiteral("00/00/0000 00:00:00 MM")) + 76,
                               metrics.averageCharWidth() * 26, metrics.averageCharWidth() * 34};
    widths_->Set(widths);
  }
}

// By itself the view goes to the ends of the row, and to the ends of the list only beside Ctrl, which selects
// nothing.
void TrapsList::SetUpEnds() {
  const auto onKey = [this](const QKeySequence& key, auto act) {
    auto* shortcut = new QShortcut(key, &view_);
    shortcut->setContext(Qt::WidgetShortcut);
    connect(shortcut, &QShortcut::activated, this, [this, act] {
      if (model_.rowCount() > 0) {
        act();
      }
    });
  };
  onKey(QKeySequence(Qt::Key_Home), [this] { SelectPosition(0); });
  onKey(QKeySequence(Qt::Key_End), [this] { SelectPosition(model_.rowCount() - 1); });
  onKey(QKeySequence(Qt::SHIFT | Qt::Key_Home), [this] { SelectUpTo(0); });
  onKey(QKeySequence(Qt::SHIFT | Qt::Key_End), [this] { SelectUpTo(model_.rowCount() - 1); });
}

void TrapsList::SelectUpTo(int position) {
  const int from = std::max(view_.currentIndex().row(), 0);
  const QItemSelection between(model_.index(std::min(from, position), 0),
                               model_.index(std::max(from, position), traplist::kTrapColumns - 1));
  view_.selectionModel()->select(between, QItemSelectionModel::ClearAndSelect);
  view_.selectionModel()->setCurrentIndex(model_.index(position, 0), QItemSelectionModel::NoUpdate);
  view_.scrollTo(view_.currentIndex());
}

void TrapsList::SetUpKeys() {
  CopyRowsByShortcut(view_);
  SortByShortcuts(view_);
  SetUpEnds();
  new SeverityHeading(view_);  // the header owns it
  view_.setContextMenuPolicy(Qt::CustomContextMenu);
  connect(&view_, &QWidget::customContextMenuRequested, this, [this](const QPoint& position) {
    Q_EMIT ContextMenuRequested(view_.viewport()->mapToGlobal(position));
  });
  connect(&view_, &QAbstractItemView::activated, this, &TrapsList::Activated);
}

std::vector<std::uint32_t> TrapsList::SelectedRows() const {
  std::vector<std::uint32_t> rows;
  for (const auto& [first, last] : SelectedRanges(view_)) {
    for (int position = first; position <= last; ++position) {
      rows.push_back(model_.RowAt(position));
    }
  }
  return rows;
}

std::optional<int> TrapsList::SelectedPosition() const {
  const QItemSelection selection = view_.selectionModel()->selection();
  if (selection.isEmpty()) {
    return std::nullopt;
  }
  const QModelIndex current = view_.currentIndex();
  if (current.isValid() && selection.contains(current)) {
    return current.row();
  }
  const auto first = std::min_element(selection.begin(), selection.end(),
                                      [](const auto& a, const auto& b) { return a.top() < b.top(); });
  return first->top();
}

// The view's own way to select a row would extend the selection while Shift is held, as for Shift+F3.
void TrapsList::SelectAlone(int position) {
  view_.selectionModel()->setCurrentIndex(model_.index(position, 0),
                                          QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
}

void TrapsList::SelectPosition(int position) {
  const int across = view_.horizontalScrollBar()->value();
  SelectAlone(position);
  view_.scrollTo(model_.index(position, 0));
  view_.horizontalScrollBar()->setValue(across);
}

void TrapsList::NoteScrolled() {
  const QScrollBar* bar = view_.verticalScrollBar();
  following_ = kind_ == Kind::Live && bar->value() >= bar->maximum();
}

void TrapsList::ShowNewest() {
  view_.verticalScrollBar()->setValue(view_.verticalScrollBar()->maximum());
}

void TrapsList::RememberPlace() {
  place_ = Place();
  const int top = view_.verticalScrollBar()->value();
  const int lines = view_.viewport()->height() / std::max(view_.verticalHeader()->defaultSectionSize(), 1);
  const int end = std::min(top + lines + 2, model_.rowCount());
  for (int position = top; position < end; ++position) {
    place_.Rows.emplace_back(model_.index(position, 0));
  }
  for (int distance = 1; distance <= top; distance *= 2) {
    place_.Above.emplace_back(model_.index(top - distance, 0));
  }
  const QModelIndex current = view_.currentIndex();
  if (current.isValid() && current.row() >= top && current.row() < end) {
    place_.CurrentLine = current.row() - top;
  }
  // The view would scroll to the row it makes current in the place of one that goes.
  view_.setAutoScroll(false);
}

void TrapsList::RememberTraps() {
  // A report comes back row by row: it begins at its top again.
  if (model_.rowCount() == 0 || kind_ == Kind::Report) {
    return;
  }
  const auto trapAt = [this](int position) { return model_.Rows().SequenceNumberAt(model_.RowAt(position)); };
  PlaceBeforeReset before;
  if (!following_ || !model_.IsArrivalOrder()) {
    before.TopTrap = trapAt(std::min(view_.verticalScrollBar()->value(), model_.rowCount() - 1));
  }
  if (view_.currentIndex().isValid()) {
    before.CurrentTrap = trapAt(view_.currentIndex().row());
  }
  beforeReset_ = before;
}

void TrapsList::RestorePlace() {
  // Settles rows and scroll bar now, so that one repaint shows them in their final place.
  view_.doItemsLayout();
  if (beforeReset_ && model_.rowCount() > 0) {
    RestoreTraps();
  } else if (following_ && model_.IsArrivalOrder()) {
    ShowNewest();
  } else {
    RestoreTop();
  }
  RestoreCurrent();
  place_ = Place();
  view_.setAutoScroll(true);
}

// The current row keeps its line.  Without one on the screen the list shows where its order begins; in the
// arrival order of a live list that is the newest trap.
void TrapsList::ShowSorted() {
  view_.doItemsLayout();
  QScrollBar* bar = view_.verticalScrollBar();
  if (place_.CurrentLine) {
    bar->setValue(view_.currentIndex().row() - *place_.CurrentLine);
  } else {
    bar->setValue(kind_ == Kind::Live && model_.IsArrivalOrder() ? bar->maximum() : 0);
  }
  NoteScrolled();
  place_ = Place();
  view_.setAutoScroll(true);
}

void TrapsList::RestoreTop() {
  for (std::size_t line = 0; line < place_.Rows.size(); ++line) {
    if (place_.Rows[line].isValid()) {
      view_.verticalScrollBar()->setValue(place_.Rows[line].row() - static_cast<int>(line));
      return;
    }
  }
  // All of the screen went: what followed it moves up to where it was.
  const auto above = std::find_if(place_.Above.begin(), place_.Above.end(),
                                  [](const QPersistentModelIndex& row) { return row.isValid(); });
  view_.verticalScrollBar()->setValue(above != place_.Above.end() ? above->row() + 1 : 0);
}

void TrapsList::RestoreCurrent() {
  if (!place_.CurrentLine || place_.Rows[static_cast<std::size_t>(*place_.CurrentLine)].isValid()) {
    return;
  }
  // The current row went: the next one below becomes current, so that the keyboard goes on from there.
  for (auto row = place_.Rows.begin() + *place_.CurrentLine; row != place_.Rows.end(); ++row) {
    if (row->isValid()) {
      view_.selectionModel()->setCurrentIndex(*row, QItemSelectionModel::NoUpdate);
      return;
    }
  }
}

void TrapsList::RestoreTraps() {
  const PlaceBeforeReset before = *std::exchange(beforeReset_, std::nullopt);
  const auto positionOf = [this](const std::optional<std::int32_t>& trap) -> std::optional<int> {
    const auto row = trap ? model_.Rows().Find(*trap) : std::nullopt;
    return row ? std::optional<int>(model_.PositionOf(*row)) : std::nullopt;
  };
  if (const auto top = positionOf(before.TopTrap)) {
    view_.verticalScrollBar()->setValue(*top);
  } else if (!before.TopTrap) {
    ShowNewest();
  }
  if (const auto current = positionOf(before.CurrentTrap)) {
    SelectAlone(*current);
  }
}

}  // namespace korvane::traps
