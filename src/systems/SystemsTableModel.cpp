#include "systems/SystemsTableModel.h"

#include <QBrush>
#include <QCollator>
#include <QColor>
#include <QFont>
#include <QIcon>
#include <QLocale>
#include <QPixmap>
#include <algorithm>
#include <iterator>
#include <numeric>
#include <optional>
#include <utility>

#include "common/SourceOrder.h"
#include "common/Translation.h"
#include "common/qt/Icons.h"
#include "common/qt/ListHabits.h"
#include "common/qt/QtText.h"
#include "store/Codes.h"

namespace korvane::systems {
namespace {

constexpr int kColumns = static_cast<int>(kSystemsCaptions.size());
constexpr int kFirstCount = static_cast<int>(kFirstCountColumn);
constexpr int kNameColumn = 0;

bool IsCount(int column) {
  return column >= kFirstCount;
}

std::int32_t SeverityOf(int column) {
  return kCountColumnSeverities[static_cast<std::size_t>(column - kFirstCount)];
}

std::int32_t CountIn(const SystemRow& row, int column) {
  return row.Counts[static_cast<std::size_t>(SeverityOf(column))];
}

// Addresses by their numbers, then names.
struct NameKey {
  SourceKey Address;
  QCollatorSortKey Name;
  bool operator<(const NameKey& other) const {
    return Address == other.Address ? Name < other.Name : Address < other.Address;
  }
};

// Numbers inside names count as numbers: router9 before router10.  The plain "C" locale has no
// such order.
QCollator NameOrder() {
  const QLocale locale;
  QCollator order(locale.language() == QLocale::C ? QLocale(QLocale::English) : locale);
  order.setNumericMode(true);
  order.setCaseSensitivity(Qt::CaseInsensitive);
  return order;
}

QFont NewsFont() {
  QFont font;  // only the weight is set, so the rest stays the list's own
  font.setBold(true);
  return font;
}

// A row without traps keeps its name in line with the others.
QIcon EmptyIcon() {
  QPixmap pixmap(16, 16);
  pixmap.fill(Qt::transparent);
  return QIcon(pixmap);
}

}  // namespace

SystemsTableModel::SystemsTableModel(SystemsModel& systems, QObject* parent)
    : QAbstractTableModel(parent), systems_(systems) {
  systems_.SetListener(this);
  TakeOrder(SortedOrder(systems_.RowCount()));
}

SystemsTableModel::~SystemsTableModel() {
  systems_.SetListener(nullptr);
}

int SystemsTableModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(order_.size());
}

int SystemsTableModel::columnCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : kColumns;
}

std::size_t SystemsTableModel::RowOf(const QModelIndex& index) const {
  return static_cast<std::size_t>(order_[static_cast<std::size_t>(index.row())]);
}

QModelIndex SystemsTableModel::IndexOf(std::size_t row) const {
  return row < placeOf_.size() ? index(placeOf_[row], kNameColumn) : QModelIndex();
}

QModelIndex SystemsTableModel::NextWithTraps(int place, std::optional<std::int32_t> severity) const {
  const int places = rowCount();
  QModelIndex next;
  for (int step = 1; step <= places; ++step) {
    const QModelIndex candidate = index((place + step) % places, kNameColumn);
    const SystemRow& row = systems_.Row(RowOf(candidate));
    if ((severity ? row.Counts[static_cast<std::size_t>(*severity)] : row.Total()) == 0) {
      continue;
    }
    if (row.News) {
      return candidate;
    }
    next = next.isValid() ? next : candidate;
  }
  return next;
}

QString SystemsTableModel::TextOf(std::size_t row, int column) const {
  const intake::System& system = systems_.SystemOfRow(row);
  return ToVisibleQString(column == kNameColumn ? system.Name : system.Address);
}

QVariant SystemsTableModel::data(const QModelIndex& index, int role) const {
  if (!index.isValid()) {
    return {};
  }
  const std::size_t row = RowOf(index);
  return IsCount(index.column()) ? CountData(row, index.column(), role) : TextData(row, index.column(), role);
}

QVariant SystemsTableModel::CountData(std::size_t row, int column, int role) const {
  const std::int32_t count = CountIn(systems_.Row(row), column);
  switch (role) {
    case Qt::DisplayRole:
      return count;
    case Qt::TextAlignmentRole:
      return static_cast<int>(Qt::AlignCenter);
    case Qt::AccessibleTextRole:
      return QStringLiteral("%1 %2").arg(count).arg(
          ToQString(Translated(store::SeverityName(SeverityOf(column)))));
    default:  // a zero stays dim, also where there is news
      return count == 0 ? QVariant() : RowData(row, role);
  }
}

QVariant SystemsTableModel::TextData(std::size_t row, int column, int role) const {
  switch (role) {
    case Qt::DisplayRole:
      return TextOf(row, column);
    case Qt::ToolTipRole:  // a span, so that no name is taken for markup
      return QString(QLatin1String("<span>") + TextOf(row, column).toHtmlEscaped() +
                     QLatin1String("</span>"));
    case Qt::DecorationRole: {
      if (column != kNameColumn) {
        return {};
      }
      const auto severity = systems_.RowSeverity(row);
      return severity ? SeverityIcon(*severity) : EmptyIcon();
    }
    default:
      return RowData(row, role);
  }
}

// The row colour: the same for every cell.
QVariant SystemsTableModel::RowData(std::size_t row, int role) const {
  if (!systems_.Row(row).News) {
    return {};
  }
  switch (role) {
    case Qt::ForegroundRole:
      return QBrush(QColor(kNewsColour[0], kNewsColour[1], kNewsColour[2]));
    case Qt::FontRole:
      return NewsFont();
    default:
      return {};
  }
}

QVariant SystemsTableModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation != Qt::Horizontal || section < 0 || section >= kColumns) {
    return {};
  }
  switch (role) {
    case Qt::DisplayRole:
      return ToQString(Translated(kSystemsCaptions[static_cast<std::size_t>(section)]));
    case Qt::TextAlignmentRole:
      return static_cast<int>(IsCount(section) ? Qt::AlignCenter : Qt::AlignLeft | Qt::AlignVCenter);
    case Qt::InitialSortOrderRole:  // the most traps first
      return static_cast<int>(IsCount(section) ? Qt::DescendingOrder : Qt::AscendingOrder);
    default:
      return HeaderHint(section, role,
                        ToQString(Translated(kSystemsCaptions[static_cast<std::size_t>(section)])),
                        section == sortColumn_ ? std::optional(sortOrder_) : std::nullopt);
  }
}

std::vector<int> SystemsTableModel::SortedOrder(std::size_t rows) const {
  std::vector<int> order(rows);
  std::iota(order.begin(), order.end(), 0);
  if (sortColumn_ < 0) {
    return order;
  }
  const auto sortBy = [&](const auto& keys) {
    std::ranges::stable_sort(order, [&](int a, int b) {
      const auto& keyOfA = keys[static_cast<std::size_t>(a)];
      const auto& keyOfB = keys[static_cast<std::size_t>(b)];
      return sortOrder_ == Qt::AscendingOrder ? keyOfA < keyOfB : keyOfB < keyOfA;
    });
  };
  if (IsCount(sortColumn_)) {
    std::vector<std::int32_t> keys;
    for (std::size_t row = 0; row < order.size(); ++row) {
      keys.push_back(CountIn(systems_.Row(row), sortColumn_));
    }
    sortBy(keys);
  } else {
    const QCollator nameOrder = NameOrder();
    std::vector<NameKey> keys;
    for (std::size_t row = 0; row < order.size(); ++row) {
      const QString name = TextOf(row, sortColumn_);
      keys.push_back({SourceKey(ToUtf8(name)), nameOrder.sortKey(name)});
    }
    sortBy(keys);
  }
  return order;
}

void SystemsTableModel::sort(int column, Qt::SortOrder order) {
  sortColumn_ = column < kColumns ? column : -1;
  sortOrder_ = order;
  SortAgain();
}

void SystemsTableModel::SortAgain() {
  sortNeeded_ = false;
  std::vector<int> order = SortedOrder(order_.size());
  if (order == order_) {
    return;
  }
  Q_EMIT layoutAboutToBeChanged({}, VerticalSortHint);
  const QModelIndexList before = persistentIndexList();
  std::vector<int> rows;
  rows.reserve(static_cast<std::size_t>(before.size()));
  for (const QModelIndex& old : before) {
    rows.push_back(order_[static_cast<std::size_t>(old.row())]);
  }
  TakeOrder(std::move(order));
  QModelIndexList after;
  after.reserve(before.size());
  for (qsizetype i = 0; i < before.size(); ++i) {
    const int place = placeOf_[static_cast<std::size_t>(rows[static_cast<std::size_t>(i)])];
    after.push_back(index(place, before[i].column()));
  }
  changePersistentIndexList(before, after);
  Q_EMIT layoutChanged({}, VerticalSortHint);
}

void SystemsTableModel::TakeOrder(std::vector<int> order) {
  order_ = std::move(order);
  placeOf_.resize(order_.size());
  for (std::size_t place = 0; place < order_.size(); ++place) {
    placeOf_[static_cast<std::size_t>(order_[place])] = static_cast<int>(place);
  }
}

void SystemsTableModel::RowsAboutToReset() {
  beginResetModel();
}

void SystemsTableModel::RowsReset() {
  sortNeeded_ = false;
  TakeOrder(SortedOrder(systems_.RowCount()));
  endResetModel();
}

void SystemsTableModel::RowsAppended(std::size_t first, std::size_t count) {
  beginInsertRows({}, static_cast<int>(first), static_cast<int>(first + count) - 1);
  for (std::size_t row = first; row < first + count; ++row) {
    order_.push_back(static_cast<int>(row));
    placeOf_.push_back(static_cast<int>(row));
  }
  endInsertRows();
  sortNeeded_ = sortColumn_ >= 0;
}

void SystemsTableModel::RowsChanged(std::size_t first, std::size_t count) {
  const auto begin = placeOf_.begin() + static_cast<std::ptrdiff_t>(first);
  const auto [top, bottom] = std::minmax_element(begin, begin + static_cast<std::ptrdiff_t>(count));
  Q_EMIT dataChanged(index(*top, 0), index(*bottom, kColumns - 1));
  sortNeeded_ = sortColumn_ >= 0;
}

void SystemsTableModel::StatusChanged() {
  if (sortNeeded_ && !keepPlaces_) {
    SortAgain();
  }
  Q_EMIT StatusTextsChanged();
}

}  // namespace korvane::systems
