#include "common/qt/ListHabits.h"

#include <QActionGroup>
#include <QApplication>
#include <QClipboard>
#include <QEvent>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QLabel>
#include <QMenu>
#include <QMimeData>
#include <QShortcut>
#include <QTableView>
#include <algorithm>
#include <cstdlib>
#include <utility>
#include <vector>

#include "common/Number.h"
#include "common/Translation.h"
#include "common/qt/QtText.h"
#include "common/qt/StatusText.h"
#include "common/qt/WaitPointer.h"

namespace korvane {
namespace {

constexpr QLatin1String kEmptyTextName("lblEmptyList");
// So many rows tell how long all of them will be.
constexpr qsizetype kSampleRows = 1000;
// From here on copying takes long enough to be noticed.
constexpr qsizetype kManyRows = 100'000;

// Follows the size of the viewport it lies on and the rows of the model it speaks for.
class EmptyText : public QLabel {
 public:
  EmptyText(QAbstractItemView& view, const QString& text)
      : QLabel(view.viewport()), view_(view), whole_(text) {
    setObjectName(kEmptyTextName);
    setTextFormat(Qt::PlainText);
    setAlignment(Qt::AlignCenter);
    setWordWrap(true);
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setForegroundRole(QPalette::PlaceholderText);
    view.viewport()->installEventFilter(this);
    const QAbstractItemModel* model = view.model();
    connect(model, &QAbstractItemModel::rowsInserted, this, &EmptyText::Follow);
    connect(model, &QAbstractItemModel::rowsRemoved, this, &EmptyText::Follow);
    connect(model, &QAbstractItemModel::modelReset, this, &EmptyText::Follow);
    Follow();
  }

  void Say(const QString& text) {
    if (whole_ != text) {
      whole_ = text;
      Follow();
    }
  }

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override {
    if (event->type() == QEvent::Resize) {
      Follow();
    }
    return QLabel::eventFilter(watched, event);
  }

 private:
  void Follow() {
    const QRect room = view_.viewport()->rect();
    setText(whole_);
    if (heightForWidth(room.width()) > room.height()) {
      setText(whole_.section(QLatin1String("\n\n"), 0, 0));
    }
    setGeometry(room);
    setVisible(view_.model()->rowCount() == 0);
  }

  QAbstractItemView& view_;
  QString whole_;
};

std::vector<int> ShownColumns(const QTableView& table) {
  const QHeaderView& header = *table.horizontalHeader();
  std::vector<int> columns;
  for (int place = 0; place < header.count(); ++place) {
    const int column = header.logicalIndex(place);
    if (!header.isSectionHidden(column)) {
      columns.push_back(column);
    }
  }
  return columns;
}

Qt::SortOrder FirstOrder(const QAbstractItemModel& model, int column) {
  const QVariant order = model.headerData(column, Qt::Horizontal, Qt::InitialSortOrderRole);
  return order.isValid() ? static_cast<Qt::SortOrder>(order.toInt()) : Qt::AscendingOrder;
}

// The columns, and what the model sorts by besides.
int SortKeys(const QAbstractItemModel& model) {
  const int columns = model.columnCount();
  return columns + (model.headerData(columns, Qt::Horizontal).isValid() ? 1 : 0);
}

// Marks the first letter that no item of the menu has yet.
QString WithAccessKey(QString caption, QString& taken) {
  for (qsizetype place = 0; place < caption.size(); ++place) {
    const QChar letter = caption[place].toLower();
    if (letter.isLetter() && !taken.contains(letter)) {
      taken += letter;
      return caption.insert(place, QLatin1Char('&'));
    }
  }
  return caption;
}

QMenu* MakeSortMenu(QTableView& table) {
  auto* menu = new QMenu(&table);
  menu->setAttribute(Qt::WA_DeleteOnClose);
  menu->setObjectName(QStringLiteral("mnuSort"));
  const QAbstractItemModel& model = *table.model();
  const int sortedBy = table.horizontalHeader()->sortIndicatorSection();
  auto* choices = new QActionGroup(menu);
  QString taken;
  for (int column = 0; column < SortKeys(model); ++column) {
    const QString caption = model.headerData(column, Qt::Horizontal).toString();
    QAction* item = menu->addAction(ToQString(Translated("Sort by ")) + WithAccessKey(caption, taken),
                                    [&table, column] { SortByNextOrder(table, column); });
    item->setShortcut(SortKey(column));  // shown only: the list has its own
    item->setShortcutVisibleInContextMenu(true);
    item->setCheckable(true);
    choices->addAction(item);
    item->setChecked(column == sortedBy);
  }
  menu->addSeparator();
  QAction* arrival =
      menu->addAction(WithAccessKey(ToQString(Translated("Order of Arrival")), taken),
                      [&table] { table.horizontalHeader()->setSortIndicator(-1, Qt::AscendingOrder); });
  arrival->setCheckable(true);
  choices->addAction(arrival);
  arrival->setChecked(sortedBy < 0);
  return menu;
}

CellWriter CellTexts(const QAbstractItemModel& model) {
  if (const auto* writes = dynamic_cast<const WritesCells*>(&model)) {
    return writes->CellTexts();
  }
  return [&model](std::string& to, int row, int column) {
    const QModelIndex cell = model.index(row, column);
    const QVariant whole = cell.data(kWholeTextRole);
    to += ToUtf8((whole.isValid() ? whole : cell.data()).toString());
  };
}

qsizetype RowCount(const std::vector<std::pair<int, int>>& ranges) {
  qsizetype count = 0;
  for (const auto& [first, last] : ranges) {
    count += last - first + 1;
  }
  return count;
}

}  // namespace

std::vector<std::pair<int, int>> SelectedRanges(const QTableView& table) {
  std::vector<std::pair<int, int>> ranges;
  for (const QItemSelectionRange& range : table.selectionModel()->selection()) {
    ranges.emplace_back(range.top(), range.bottom());
  }
  std::ranges::sort(ranges);
  std::vector<std::pair<int, int>> merged;
  for (const auto& range : ranges) {
    if (!merged.empty() && range.first <= merged.back().second) {
      merged.back().second = std::max(merged.back().second, range.second);
    } else {
      merged.push_back(range);
    }
  }
  return merged;
}

void SetEmptyText(QAbstractItemView& view, const QString& text) {
  if (auto* shown = view.viewport()->findChild<QLabel*>(kEmptyTextName)) {
    static_cast<EmptyText*>(shown)->Say(text);  // nobody else makes one of this name
    return;
  }
  new EmptyText(view, text);  // the viewport owns it
}

QByteArray SelectedRowsText(const QTableView& table) {
  const std::vector<std::pair<int, int>> ranges = SelectedRanges(table);
  const std::vector<int> columns = ShownColumns(table);
  const CellWriter write = CellTexts(*table.model());
  const qsizetype rows = RowCount(ranges);
  QByteArray text;
  qsizetype done = 0;
  std::string line;
  for (const auto& [first, last] : ranges) {
    for (int row = first; row <= last; ++row, ++done) {
      line.clear();
      for (const int column : columns) {
        line += column == columns.front() ? "" : "\t";
        write(line, row, column);
      }
      line += '\n';
      if (done == kSampleRows) {
        // Growing by doubling would take twice the memory.
        text.reserve(text.size() / kSampleRows * rows * 5 / 4);
      }
      text.append(line.data(), static_cast<qsizetype>(line.size()));
    }
  }
  return text;
}

void CopySelectedRows(const QTableView& table) {
  const WaitPointer wait(RowCount(SelectedRanges(table)) >= kManyRows);
  const QByteArray text = SelectedRowsText(table);
  if (!text.isEmpty()) {
    auto* copied = new QMimeData;  // the clipboard owns it
    copied->setData(QStringLiteral("text/plain"), text);
    QApplication::clipboard()->setMimeData(copied);
  }
}

void CopyRowsByShortcut(QTableView& table) {
  auto* copy = new QShortcut(QKeySequence(QKeySequence::Copy), &table);
  copy->setContext(Qt::WidgetShortcut);
  QObject::connect(copy, &QShortcut::activated, &table, [&table] { CopySelectedRows(table); });
}

QKeySequence SortKey(int column) {
  return QKeySequence(Qt::CTRL | static_cast<Qt::Key>(Qt::Key_1 + column));
}

void SortByNextOrder(QTableView& table, int column) {
  QHeaderView& header = *table.horizontalHeader();
  const Qt::SortOrder first = FirstOrder(*table.model(), column);
  if (header.sortIndicatorSection() != column) {
    header.setSortIndicator(column, first);
  } else if (header.sortIndicatorOrder() == first) {
    header.setSortIndicator(column, first == Qt::AscendingOrder ? Qt::DescendingOrder : Qt::AscendingOrder);
  } else {
    header.setSortIndicator(-1, Qt::AscendingOrder);
  }
}

void SortByShortcuts(QTableView& table) {
  for (int column = 0; column < SortKeys(*table.model()); ++column) {
    auto* sort = new QShortcut(SortKey(column), &table);
    sort->setContext(Qt::WidgetShortcut);
    QObject::connect(sort, &QShortcut::activated, &table,
                     [&table, column] { SortByNextOrder(table, column); });
  }
  QHeaderView* header = table.horizontalHeader();
  header->setContextMenuPolicy(Qt::CustomContextMenu);
  QObject::connect(header, &QWidget::customContextMenuRequested, &table, [&table](const QPoint& place) {
    MakeSortMenu(table)->popup(table.horizontalHeader()->viewport()->mapToGlobal(place));
  });
}

// The column from 1, negative when descending, 0 for the order of arrival.
void KeepSorting(QTableView& table, platform::SettingsStore& settings, const std::string& name) {
  const std::string text = settings.GetSetting(platform::kSettingsSection, name, {});
  const int kept = NumberIn<std::int16_t>(text).value_or(0);
  const bool known = kept != 0 && std::abs(kept) <= SortKeys(*table.model());
  QHeaderView* header = table.horizontalHeader();
  header->setSortIndicatorClearable(true);
  header->setSortIndicator(known ? std::abs(kept) - 1 : -1,
                           kept < 0 ? Qt::DescendingOrder : Qt::AscendingOrder);
  table.setSortingEnabled(true);
  QObject::connect(
      header, &QHeaderView::sortIndicatorChanged, &table, [&settings, name](int column, Qt::SortOrder order) {
        settings.SaveSetting(platform::kSettingsSection, name,
                             std::to_string(order == Qt::DescendingOrder ? -(column + 1) : column + 1));
      });
}

QVariant HeaderHint(int column, int role, const QString& caption, std::optional<Qt::SortOrder> sortedBy) {
  switch (role) {
    case Qt::ToolTipRole:
      return ToQString(Translated("Sort (%1)")).arg(SortKey(column).toString(QKeySequence::NativeText));
    case Qt::AccessibleTextRole:
      if (!sortedBy) {
        return caption;
      }
      return QString(caption + (*sortedBy == Qt::AscendingOrder
                                    ? ToQString(Translated(", sorted ascending"))
                                    : ToQString(Translated(", sorted descending"))));
    default:
      return {};
  }
}

}  // namespace korvane
