#include "common/qt/ListHabits.h"

#include <QApplication>
#include <QClipboard>
#include <QEvent>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QLabel>
#include <QMimeData>
#include <QShortcut>
#include <QStatusBar>
#include <QTableView>
#include <algorithm>
#include <utility>
#include <vector>

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
  EmptyText(QAbstractItemView& view, const QString& text) : QLabel(text, view.viewport()), view_(view) {
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

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override {
    if (event->type() == QEvent::Resize) {
      Follow();
    }
    return QLabel::eventFilter(watched, event);
  }

 private:
  void Follow() {
    setGeometry(view_.viewport()->rect());
    setVisible(view_.model()->rowCount() == 0);
  }

  QAbstractItemView& view_;
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

// As the header itself does on a click: one order, the other, arrival order.
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

QKeySequence SortKey(int column) {
  return QKeySequence(Qt::CTRL | static_cast<Qt::Key>(Qt::Key_1 + column));
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
    shown->setText(text);
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

QLabel* AddStatusText(QStatusBar& bar, const QString& name) {
  auto* label = new StatusText(&bar);
  label->setObjectName(name);
  bar.addWidget(label);
  return label;
}

void SortByShortcuts(QTableView& table) {
  for (int column = 0; column < table.model()->columnCount(); ++column) {
    auto* sort = new QShortcut(SortKey(column), &table);
    sort->setContext(Qt::WidgetShortcut);
    QObject::connect(sort, &QShortcut::activated, &table,
                     [&table, column] { SortByNextOrder(table, column); });
  }
}

QVariant HeaderHint(int column, int role, const QString& caption, std::optional<Qt::SortOrder> sortedBy) {
  switch (role) {
    case Qt::ToolTipRole:
      return QStringLiteral("Sort (%1)").arg(SortKey(column).toString(QKeySequence::NativeText));
    case Qt::AccessibleTextRole:
      if (!sortedBy) {
        return caption;
      }
      return QString(caption + (*sortedBy == Qt::AscendingOrder ? QLatin1String(", sorted ascending")
                                                                : QLatin1String(", sorted descending")));
    default:
      return {};
  }
}

}  // namespace korvane
