// Habits that the product's lists share beyond their looks: what an empty list says, how its selection is
// copied, how it is sorted and keeps its order.  Called once by a window for its table view; user-interface
// thread only.
#pragma once

#include <QByteArray>
#include <QKeySequence>
#include <QString>
#include <QVariant>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/Platform.h"

class QAbstractItemView;
class QTableView;

namespace korvane {

// The data role of a cell's whole text, for models whose DisplayRole cuts what is very long.
inline constexpr int kWholeTextRole = Qt::UserRole + 1000;

// Appends the whole text of a cell as UTF-8.  For one pass over the rows of a model that stays as it is.
using CellWriter = std::function<void(std::string& to, int row, int column)>;

// A model of very many rows can be this beside a table model: copying them then makes no value for each cell.
class WritesCells {
 public:
  virtual ~WritesCells() = default;
  virtual CellWriter CellTexts() const = 0;
};

// Selected rows as ranges, first and last, from the top and without overlaps: cheap for any selection.
std::vector<std::pair<int, int>> SelectedRanges(const QTableView& table);

// Shows the text in the middle of the list while its model has no rows, its first paragraph alone where there
// is no room for all.  The model must be set before; a later call changes the text.
void SetEmptyText(QAbstractItemView& view, const QString& text);

// Ctrl+C copies the selected rows, top to bottom, as lines of tab-separated texts of the shown columns.
void CopyRowsByShortcut(QTableView& table);

// The same at once; nothing without a selection.
void CopySelectedRows(const QTableView& table);

// That text as UTF-8; empty without a selection.  Walks selection ranges and holds the text once, so that a
// list of a million rows can be copied whole.
QByteArray SelectedRowsText(const QTableView& table);

// Ctrl+1, Ctrl+2 ... do what a click on the header of that column does, and a right click on the header
// offers the same by name.  What a model can be sorted by beside its columns it names in the header data
// behind the last one, and takes as that column in sort.
void SortByShortcuts(QTableView& table);
QKeySequence SortKey(int column);  // of these
// One order, the other, the order of arrival: as a click on the column's header, or on what stands for the
// further key.
void SortByNextOrder(QTableView& table, int column);

// Sorts the list as the operator left it, and keeps from then on how it is sorted.  name: of the setting.
void KeepSorting(QTableView& table, platform::SettingsStore& settings, const std::string& name);

// What a header says beside its caption: the tool tip names the key that sorts by it, and screen readers hear
// how the list is sorted.  For headerData; sortedBy: when the list is sorted by this column.
QVariant HeaderHint(int column, int role, const QString& caption, std::optional<Qt::SortOrder> sortedBy);

}  // namespace korvane
