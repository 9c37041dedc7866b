#include "traps/TrapsTableModel.h"

#include <QElapsedTimer>
#include <QPixmap>
#include <QStringBuilder>
#include <algorithm>
#include <string>
#include <string_view>
#include <utility>

#include "common/Text.h"
#include "common/Translation.h"
#include "common/qt/CellText.h"
#include "common/qt/QtText.h"
#include "common/qt/WaitPointer.h"
#include "store/Codes.h"
#include "store/DateTimeText.h"
#include "store/EventTime.h"
#include "traps/TrapCellDelegate.h"

namespace korvane::traps {
namespace {

// The last one is no column: the pictures at the beginning of the rows, by which they sort.
constexpr std::string_view kCaptions[traplist::kTrapSortKeys] = {
    Translatable("Date / Time"), Translatable("Source"), Translatable("Trap Name"), Translatable("Variables"),
    Translatable("Severity")};

// From here on sorting takes long enough to be noticed.
constexpr std::size_t kManyRows = 200'000;

// As many rows are sorted, or find their places in a sorted list, within a few milliseconds.
constexpr std::size_t kFewRows = 8192;
constexpr std::size_t kFewNewRows = 1024;
constexpr qint64 kSortTurnMilliseconds = 15;
// A list that grows is sorted each time it has grown so many times, and once more at its end.
constexpr std::size_t kSortGrowth = 4;

}  // namespace

TrapsTableModel::TrapsTableModel(const traplist::TrapRows& rows, const ProcessState& state,
                                 traplist::SourceShown shown, QObject* parent)
    : QAbstractTableModel(parent), rows_(rows), state_(state), shown_(shown), order_(rows, shown) {
  for (std::size_t code = 0; code < severityIcons_.size(); ++code) {
    severityIcons_[code] = SeverityIcon(static_cast<std::int32_t>(code));
  }
  QPixmap space(16, 16);
  space.fill(Qt::transparent);
  pictureSpace_ = QIcon(space);
  sortTurn_.setSingleShot(true);
  connect(&sortTurn_, &QTimer::timeout, this, &TrapsTableModel::SortTurn);
}

int TrapsTableModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(rows_.Count());
}

int TrapsTableModel::columnCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : traplist::kTrapColumns;
}

QVariant TrapsTableModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation != Qt::Horizontal || section < 0 || section >= traplist::kTrapSortKeys) {
    return {};
  }
  const QString caption = ToQString(Translated(kCaptions[section]));
  if (role == Qt::DisplayRole) {
    return caption;
  }
  if (role == Qt::InitialSortOrderRole && section == traplist::kTrapColumns) {
    return static_cast<int>(Qt::DescendingOrder);  // the worst first
  }
  if (role == Qt::DecorationRole && section == 0) {
    return pictureSpace_;
  }
  std::optional<Qt::SortOrder> sortedBy;
  if (const auto& sorting = order_.SortedBy(); sorting && static_cast<int>(sorting->Column) == section) {
    sortedBy = sorting->Descending ? Qt::DescendingOrder : Qt::AscendingOrder;
  }
  return HeaderHint(section, role, caption, sortedBy);
}

std::string_view TrapsTableModel::WholeText(std::size_t row, traplist::TrapColumn column,
                                            std::string& made) const {
  switch (column) {
    case traplist::TrapColumn::DateTime:
      made = store::FormatDateTime(store::EventTimeToLocal(rows_.EventTimeAt(row), state_.gTimeZoneBias));
      return made;
    case traplist::TrapColumn::Source:
      return shown_ == traplist::SourceShown::SourceText ? rows_.SourceAt(row) : rows_.SystemNameAt(row);
    case traplist::TrapColumn::TrapName:
      return rows_.TrapNameAt(row);
    case traplist::TrapColumn::Variables:
      return rows_.VarBindsAt(row);
    case traplist::TrapColumn::Severity:
      return store::SeverityName(rows_.SeverityAt(row));
  }
  return {};
}

QString TrapsTableModel::CellText(int position, traplist::TrapColumn column) const {
  std::string made;
  return ToVisibleQString(WholeText(RowAt(position), column, made));
}

CellWriter TrapsTableModel::CellTexts() const {
  return [this, dates = store::DateTimeText(state_.gTimeZoneBias)](std::string& to, int position,
                                                                   int column) mutable {
    const std::uint32_t row = RowAt(position);
    std::string made;
    AppendVisible(to, static_cast<traplist::TrapColumn>(column) == traplist::TrapColumn::DateTime
                          ? dates.Of(rows_.EventTimeAt(row))
                          : WholeText(row, static_cast<traplist::TrapColumn>(column), made));
  };
}

// For screen readers, before the first cell's own text.
QString TrapsTableModel::SpokenMarks(std::size_t row) const {
  QString marks = ToQString(Translated(store::SeverityName(rows_.SeverityAt(row)))) % QLatin1String(", ");
  if (rows_.IsAcknowledgedAt(row)) {
    marks += tr("acknowledged") % QLatin1String(", ");
  }
  if (rows_.HasNotesAt(row)) {
    marks += tr("has notes") % QLatin1String(", ");
  }
  return marks;
}

// What icon and marks of the first cell stand for.
QString TrapsTableModel::FirstToolTip(const store::IncomingTrap& trap) const {
  QString text = ToQString(Translated(store::SeverityName(trap.Severity)));
  if (trap.EventAck != 0) {
    const auto by = Shown().AcknowledgedBy(trap);
    const QString known = by ? ToVisibleQString(store::WhoAndWhenText(*by, state_.gTimeZoneBias)) : QString();
    text += QLatin1Char('\n') % (known.isEmpty() ? tr("Acknowledged") : tr("Acknowledged by %1").arg(known));
  }
  if (!trap.EventNotes.empty()) {
    text += QLatin1Char('\n') % tr("Notes:") % QLatin1Char('\n') % FirstLines(trap.EventNotes);
  }
  return text;
}

// A system without a name goes by its address.
QString TrapsTableModel::SourceToolTip(const store::IncomingTrap& trap) {
  const QString name = ShownText(trap.SystemName);
  const bool more = !trap.SystemAddress.empty() && trap.SystemAddress != trap.SystemName;
  return PlainToolTip(
      more ? QString(name % QLatin1String(" (") % ShownText(trap.SystemAddress) % QLatin1Char(')')) : name);
}

QString TrapsTableModel::ToolTip(std::size_t row, traplist::TrapColumn column) const {
  const store::IncomingTrap trap = rows_.At(row);
  switch (column) {
    case traplist::TrapColumn::DateTime:
      return PlainToolTip(FirstToolTip(trap));
    case traplist::TrapColumn::Source:
      return SourceToolTip(trap);
    case traplist::TrapColumn::TrapName:
      return PlainToolTip(ShownText(trap.TrapName()) % QLatin1Char('\n') % ShownText(trap.EnterpriseName()) %
                          QLatin1String(" (") % ShownText(trap.EnterpriseOid) % QLatin1Char(')'));
    case traplist::TrapColumn::Variables:
      return trap.VarBinds.empty() ? QString() : PlainToolTip(ShownText(trap.VarBinds));
    case traplist::TrapColumn::Severity:
      break;
  }
  return {};
}

QVariant TrapsTableModel::data(const QModelIndex& index, int role) const {
  if (!index.isValid() || index.row() >= rowCount()) {
    return {};
  }
  const std::size_t row = RowAt(index.row());
  const auto column = static_cast<traplist::TrapColumn>(index.column());
  const bool first = column == traplist::TrapColumn::DateTime;
  std::string made;
  switch (role) {
    case Qt::DisplayRole:
      return ShownText(WholeText(row, column, made));
    case Qt::DecorationRole: {
      if (!first) {
        return {};
      }
      const auto severity = static_cast<std::size_t>(rows_.SeverityAt(row));
      return severityIcons_[severity < severityIcons_.size() ? severity : 0];
    }
    case Qt::ToolTipRole:
      return ToolTip(row, column);
    case Qt::AccessibleTextRole: {
      const QString text = ShownText(WholeText(row, column, made));
      return first ? SpokenMarks(row) % text : text;
    }
    case kTrapMarksRole:
      return (rows_.HasNotesAt(row) ? kMarkNotes : 0) | (rows_.IsAcknowledgedAt(row) ? kMarkAcknowledged : 0);
    default:
      return {};
  }
}

template <class Change>
void TrapsTableModel::ChangeLayout(Change change) {
  Q_EMIT layoutAboutToBeChanged({}, QAbstractItemModel::VerticalSortHint);
  const QModelIndexList before = persistentIndexList();
  std::vector<std::uint32_t> rows;
  rows.reserve(static_cast<std::size_t>(before.size()));
  for (const QModelIndex& index : before) {
    rows.push_back(RowAt(index.row()));
  }
  change();
  const std::vector<std::uint32_t> positions = order_.Positions();
  QModelIndexList after;
  after.reserve(before.size());
  for (qsizetype i = 0; i < before.size(); ++i) {
    const std::uint32_t row = rows[static_cast<std::size_t>(i)];
    after.append(index(static_cast<int>(positions.empty() ? row : positions[row]), before[i].column()));
  }
  changePersistentIndexList(before, after);
  Q_EMIT layoutChanged({}, QAbstractItemModel::VerticalSortHint);
}

void TrapsTableModel::sort(int column, Qt::SortOrder order) {
  std::optional<traplist::TrapOrder::Sorting> sorting;
  if (column >= 0 && column < traplist::kTrapSortKeys) {
    sorting = {.Column = static_cast<traplist::TrapColumn>(column),
               .Descending = order == Qt::DescendingOrder};
  }
  if (sorting == order_.SortedBy()) {
    return;
  }
  if (sorting && loading_ && rows_.Count() > kFewRows) {
    ChangeLayout([&] { order_.BeginSorting(*sorting); });
    sortChosen_ = true;
    sortTurn_.start();
    return;
  }
  sortChosen_ = false;
  const WaitPointer wait(rows_.Count() >= kManyRows);
  ChangeLayout([&] { order_.Sort(sorting); });
}

void TrapsTableModel::BatchBegins() {
  Q_EMIT BatchAboutToChange();
}
void TrapsTableModel::BatchEnds() {
  Q_EMIT BatchChanged();
}

void TrapsTableModel::RowsAboutToBeRemoved(std::span<const std::uint32_t> rows) {
  FinishSorting();
  std::size_t first = rows.front();
  std::size_t last = rows.back();
  const std::vector<std::uint32_t> positions = order_.Positions();
  if (!positions.empty()) {
    first = last = positions[rows.front()];
    for (const std::uint32_t row : rows) {
      first = std::min<std::size_t>(first, positions[row]);
      last = std::max<std::size_t>(last, positions[row]);
    }
  }
  if (last - first + 1 != rows.size()) {
    // Scattered rows go to the end first: one removal of neighbours instead of one for each of them.
    ChangeLayout([&] { order_.MoveToEnd(rows); });
    last = rows_.Count() - 1;
    first = rows_.Count() - rows.size();
  }
  beginRemoveRows({}, static_cast<int>(first), static_cast<int>(last));
}

void TrapsTableModel::RowsRemoved(std::span<const std::uint32_t> rows) {
  order_.RowsRemoved(rows);
  endRemoveRows();
}

void TrapsTableModel::RowsAboutToBeAppended(std::size_t count) {
  const int first = rowCount();
  beginInsertRows({}, first, first + static_cast<int>(count) - 1);
}

void TrapsTableModel::RowsAppended() {
  const bool unsorted = order_.RowsAppended();
  endInsertRows();
  if (!unsorted) {
    return;
  }
  if (!loading_ || rows_.Count() <= kFewRows) {
    MergeAppended();
  } else if (!order_.IsSorting() && rows_.Count() >= kSortGrowth * order_.SortedCount()) {
    SortInTurns();
  }
}

void TrapsTableModel::MergeAppended() {
  const WaitPointer wait(rows_.Count() >= kManyRows);
  ChangeLayout([&] { order_.MergeAppended(); });
}

void TrapsTableModel::SetLoading(bool loading) {
  loading_ = loading;
  if (loading_ || !order_.SortedBy() || order_.SortedCount() == rows_.Count()) {
    return;
  }
  if (rows_.Count() <= kFewRows || rows_.Count() - order_.SortedCount() <= kFewNewRows) {
    BatchBegins();
    MergeAppended();
    BatchEnds();
  } else {
    SortInTurns();
  }
}

void TrapsTableModel::SortInTurns() {
  order_.BeginSorting();
  sortTurn_.start();
}

void TrapsTableModel::SortTurn() {
  if (!order_.IsSorting()) {
    return;  // given up meanwhile
  }
  QElapsedTimer time;
  time.start();
  if (order_.SortSome([&time] { return time.elapsed() >= kSortTurnMilliseconds; })) {
    TakeSorted();
  } else {
    sortTurn_.start();
  }
}

void TrapsTableModel::TakeSorted() {
  const bool chosen = std::exchange(sortChosen_, false);
  if (chosen) {
    // Outside of a batch, as after all sorting by the operator: the list shows where its order begins.
    ChangeLayout([&] { order_.TakeSorted(); });
  }
  BatchBegins();
  if (!chosen) {
    ChangeLayout([&] { order_.TakeSorted(); });
  }
  BatchEnds();
}

void TrapsTableModel::FinishSorting() {
  if (!order_.IsSorting()) {
    return;
  }
  const WaitPointer wait(rows_.Count() >= kManyRows);
  order_.SortSome([] { return false; });
  TakeSorted();
}

void TrapsTableModel::RowsAboutToBeReset() {
  beginResetModel();
}

void TrapsTableModel::RowsReset() {
  order_.RowsReset();
  endResetModel();
}

void TrapsTableModel::RowsChanged(std::size_t first, std::size_t last) {
  int top = PositionOf(first);
  int bottom = PositionOf(last);
  if (first != last && !IsArrivalOrder()) {
    top = 0;
    bottom = rowCount() - 1;
  }
  Q_EMIT dataChanged(index(top, 0), index(bottom, traplist::kTrapColumns - 1));
}

}  // namespace korvane::traps
