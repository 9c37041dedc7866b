#include "views/TrapsList.h"

#include <QHeaderView>
#include <QItemSelectionModel>
#include <QScrollBar>
#include <QTableView>
#include <algorithm>
#include <charconv>
#include <string_view>
#include <utility>

#include "common/qt/KorvaneStyle.h"
#include "views/ListHabits.h"
#include "views/TrapCellDelegate.h"

namespace korvane::views {
namespace {

constexpr std::string_view kSettingsSection = "Settings";
constexpr int kSmallestColumn = 24;
constexpr int kLargestColumn = 4000;

// "150,120,220": the widths of all columns but the last, which takes what is left.
std::vector<int> ParseWidths(std::string_view text) {
  std::vector<int> widths;
  while (!text.empty()) {
    const std::string_view part = text.substr(0, text.find(','));
    int width = 0;
    const auto [end, error] = std::from_chars(part.data(), part.data() + part.size(), width);
    if (error != std::errc() || end != part.data() + part.size()) {
      return {};
    }
    widths.push_back(std::clamp(width, kSmallestColumn, kLargestColumn));
    text.remove_prefix(std::min(part.size() + 1, text.size()));
  }
  return widths.size() == kTrapColumns - 1 ? widths : std::vector<int>();
}

}  // namespace

TrapsList::TrapsList(QTableView& view, TrapsTableModel& model, platform::SettingsStore& settings,
                     std::string widthsSetting, const QString& emptyText)
    : view_(view), model_(model), settings_(settings), widthsSetting_(std::move(widthsSetting)) {
  StyleTable(view_);
  view_.setModel(&model_);
  view_.setItemDelegate(new TrapCellDelegate(&view_));
  SetEmptyText(view_, emptyText);
  SetUpColumns();
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
  connect(bar, &QScrollBar::valueChanged, this, [this, bar](int value) {
    if (changing_ == 0) {
      following_ = value >= bar->maximum();
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

TrapsList::~TrapsList() {
  if (saveWidths_.isActive()) {
    SaveWidths();
  }
}

void TrapsList::SetUpColumns() {
  QHeaderView* header = view_.horizontalHeader();
  header->setStretchLastSection(true);
  header->setMinimumSectionSize(kSmallestColumn);
  header->setSortIndicator(-1, Qt::AscendingOrder);
  header->setSortIndicatorClearable(true);
  view_.setSortingEnabled(true);

  std::vector<int> widths = ParseWidths(settings_.GetSetting(kSettingsSection, widthsSetting_, {}));
  if (widths.empty()) {
    const QFontMetrics metrics = view_.fontMetrics();
    widths = {metrics.horizontalAdvance(QStringLiteral("00/00/0000 00:00:00 MM")) + 40,
              metrics.averageCharWidth() * 26, metrics.averageCharWidth() * 34};
  }
  for (std::size_t column = 0; column < widths.size(); ++column) {
    view_.setColumnWidth(static_cast<int>(column), widths[column]);
  }
  // Dragging a column sends a signal for every pixel.
  saveWidths_.setSingleShot(true);
  saveWidths_.setInterval(500);
  connect(&saveWidths_, &QTimer::timeout, this, &TrapsList::SaveWidths);
  connect(header, &QHeaderView::sectionResized, this, [this](int column) {
    if (column < kTrapColumns - 1) {
      saveWidths_.start();
    }
  });
}

void TrapsList::SetUpKeys() {
  CopyRowsByShortcut(view_);
  view_.setContextMenuPolicy(Qt::CustomContextMenu);
  connect(&view_, &QWidget::customContextMenuRequested, this, [this](const QPoint& position) {
    Q_EMIT ContextMenuRequested(view_.viewport()->mapToGlobal(position));
  });
  connect(&view_, &QAbstractItemView::activated, this, &TrapsList::Activated);
}

void TrapsList::SaveWidths() {
  std::string text;
  for (int column = 0; column < kTrapColumns - 1; ++column) {
    text += (text.empty() ? "" : ",") + std::to_string(view_.columnWidth(column));
  }
  settings_.SaveSetting(kSettingsSection, widthsSetting_, text);
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

void TrapsList::SelectPosition(int position) {
  view_.selectRow(position);
  view_.scrollTo(model_.index(position, 0));
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
  if (model_.rowCount() == 0) {
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

// The current row keeps its line.  Without one on the screen the list shows where its order begins; in
// arrival order that is the newest trap.
void TrapsList::ShowSorted() {
  view_.doItemsLayout();
  QScrollBar* bar = view_.verticalScrollBar();
  if (place_.CurrentLine) {
    bar->setValue(view_.currentIndex().row() - *place_.CurrentLine);
  } else {
    bar->setValue(model_.IsArrivalOrder() ? bar->maximum() : 0);
  }
  following_ = bar->value() >= bar->maximum();
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
    view_.selectRow(*current);
  }
}

}  // namespace korvane::views
