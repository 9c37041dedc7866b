// Habits that the product's lists share beyond their looks: what an empty list says, and how its selection is
// copied.  Called once by a window for its table view; user-interface thread only.
#pragma once

#include <QString>

class QTableView;

namespace korvane::views {

// Shows the text in the middle of the list while its model has no rows.  The model must be set before.
void SetEmptyText(QTableView& table, const QString& text);

// Ctrl+C copies the selected rows, top to bottom, as lines of tab-separated texts of the shown columns.
void CopyRowsByShortcut(QTableView& table);

// That text; empty without a selection.  Walks selection ranges, so a whole big list costs its rows only.
QString SelectedRowsText(const QTableView& table);

}  // namespace korvane::views
