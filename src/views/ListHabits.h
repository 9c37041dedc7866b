// Habits that the product's lists share beyond their looks: what an empty list says, and how its selection is
// copied.  Called once by a window for its table view; user-interface thread only.
#pragma once

#include <QString>
#include <utility>
#include <vector>

class QTableView;

namespace korvane::views {

// The data role of a cell's whole text, for models whose DisplayRole cuts what is very long.
inline constexpr int kWholeTextRole = Qt::UserRole + 1000;

// Selected rows as ranges, first and last, from the top and without overlaps: cheap for any selection.
std::vector<std::pair<int, int>> SelectedRanges(const QTableView& table);

// Shows the text in the middle of the list while its model has no rows.  The model must be set before.
void SetEmptyText(QTableView& table, const QString& text);

// Ctrl+C copies the selected rows, top to bottom, as lines of tab-separated texts of the shown columns.
void CopyRowsByShortcut(QTableView& table);

// That text; empty without a selection.  Walks selection ranges, so a whole big list costs its rows only.
QString SelectedRowsText(const QTableView& table);

}  // namespace korvane::views
