// Keeps the column widths of a list between runs, in the per-user settings as "150,120,220".  One object per
// list, owned by the list's window; user-interface thread.  A damaged setting is as good as none.
#pragma once

#include <QObject>
#include <QTimer>
#include <span>
#include <string>
#include <vector>

#include "platform/Platform.h"

class QTableView;

namespace korvane {

class ColumnWidths : public QObject {
  Q_OBJECT

 public:
  // columns: how many from the left are kept; a last column that takes what is left is not.  Applies the
  // widths of an earlier run.  The view has its model; view and settings outlive this object.
  ColumnWidths(QTableView& view, platform::SettingsStore& settings, std::string setting, int columns);
  ~ColumnWidths() override;

  // The operator has set a column, in this run or an earlier one.
  bool ByHand() const { return byHand_; }
  // Sets the columns from the left without that being the operator's act.
  void Set(std::span<const int> widths);

 private:
  std::vector<int> Parse(std::string_view text) const;
  void Save();

  QTableView& view_;
  platform::SettingsStore& settings_;
  std::string setting_;
  int columns_;
  QTimer save_;
  bool byHand_ = false;
  bool applying_ = false;
};

}  // namespace korvane
