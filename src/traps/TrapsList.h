// The habits of a list of traps over its table view: looks, keyboard, columns, and above all that it never
// moves what is being read: the traps on the screen keep their lines, whatever arrives, leaves or is merged
// in above them.  A live list follows the newest trap while it is scrolled to the end in arrival order; a
// report opens at its top. One object per list, used by Traps and Report windows; owned by the window.
// User-interface thread only.
#pragma once

#include <QObject>
#include <QPersistentModelIndex>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/Platform.h"
#include "traps/TrapsTableModel.h"

class QTableView;

namespace korvane {
class ColumnWidths;
}

namespace korvane::traps {

class TrapsList : public QObject {
  Q_OBJECT

 public:
  enum class Kind { Live, Report };

  // widthsSetting: under which name the column widths are kept.  Sets the view up; everything must outlive
  // this object.
  TrapsList(QTableView& view, TrapsTableModel& model, platform::SettingsStore& settings,
            std::string widthsSetting, const QString& emptyText, Kind kind = Kind::Live);
  ~TrapsList() override;

  // Storage rows of the selection, top to bottom as the list shows them.
  std::vector<std::uint32_t> SelectedRows() const;
  // Of the current row when it is selected, else of the first selected row.
  std::optional<int> SelectedPosition() const;
  // Selects this row alone and scrolls it into view.
  void SelectPosition(int position);
  // After a reset: the traps that come back under the numbers of those that were there are others.
  void ForgetTraps() { beforeReset_.reset(); }

 Q_SIGNALS:
  void SelectionMoved();
  void Activated();  // Enter or a double click on a row
  void ContextMenuRequested(const QPoint& globalPosition);

 private:
  // The place of the reader, kept over one batch of changes.
  struct Place {
    std::vector<QPersistentModelIndex> Rows;   // those on the screen and the next one
    std::vector<QPersistentModelIndex> Above;  // some above the screen, ever wider apart
    std::optional<int> CurrentLine;            // of the current row, counted from the top of the screen
  };
  struct PlaceBeforeReset {
    std::optional<std::int32_t> TopTrap;  // SequenceNumbers
    std::optional<std::int32_t> CurrentTrap;
  };

  void SetUpColumns(platform::SettingsStore& settings, std::string widthsSetting);
  void SetUpEnds();
  void SetUpKeys();
  void SelectAlone(int position);
  void SelectUpTo(int position);  // from the current row
  void RememberPlace();
  void RememberTraps();
  void RestorePlace();
  void ShowSorted();
  void RestoreTop();
  void RestoreCurrent();
  void RestoreTraps();
  void NoteScrolled();
  void ShowNewest();

  QTableView& view_;
  TrapsTableModel& model_;
  std::unique_ptr<ColumnWidths> widths_;
  Kind kind_;
  bool following_;
  int changing_ = 0;  // depth of batches
  Place place_;
  std::optional<PlaceBeforeReset> beforeReset_;
};

}  // namespace korvane::traps
