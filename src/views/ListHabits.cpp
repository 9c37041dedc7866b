#include "views/ListHabits.h"

#include <QApplication>
#include <QClipboard>
#include <QEvent>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QLabel>
#include <QShortcut>
#include <QTableView>
#include <algorithm>
#include <utility>
#include <vector>

namespace korvane::views {
namespace {

// Follows the size of the viewport it lies on and the rows of the model it speaks for.
class EmptyText : public QLabel {
 public:
  EmptyText(QTableView& table, const QString& text) : QLabel(text, table.viewport()), table_(table) {
    setObjectName(QStringLiteral("lblEmptyList"));
    setTextFormat(Qt::PlainText);
    setAlignment(Qt::AlignCenter);
    setWordWrap(true);
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setForegroundRole(QPalette::PlaceholderText);
    table.viewport()->installEventFilter(this);
    const QAbstractItemModel* model = table.model();
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
    setGeometry(table_.viewport()->rect());
    setVisible(table_.model()->rowCount() == 0);
  }

  QTableView& table_;
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

void SetEmptyText(QTableView& table, const QString& text) {
  new EmptyText(table, text);  // the viewport owns it
}

QString SelectedRowsText(const QTableView& table) {
  const std::vector<int> columns = ShownColumns(table);
  const QAbstractItemModel& model = *table.model();
  QString text;
  for (const auto& [first, last] : SelectedRanges(table)) {
    for (int row = first; row <= last; ++row) {
      for (std::size_t i = 0; i < columns.size(); ++i) {
        if (i > 0) {
          text += QLatin1Char('\t');
        }
        const QModelIndex cell = model.index(row, columns[i]);
        const QVariant whole = cell.data(kWholeTextRole);
        text += (whole.isValid() ? whole : cell.data()).toString();
      }
      text += QLatin1Char('\n');
    }
  }
  return text;
}

void CopyRowsByShortcut(QTableView& table) {
  auto* copy = new QShortcut(QKeySequence(QKeySequence::Copy), &table);
  copy->setContext(Qt::WidgetShortcut);
  QObject::connect(copy, &QShortcut::activated, &table, [&table] {
    const QString text = SelectedRowsText(table);
    if (!text.isEmpty()) {
      QApplication::clipboard()->setText(text);
    }
  });
}

}  // namespace korvane::views
