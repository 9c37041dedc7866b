// The dialog "Filter Traps": the filters as a list, to be added, edited and removed.  When it closes, however
// that is done, what was changed here is saved, the filters are read anew, and everything that was derived
// from them is worked out again.  It stays open while the operator wants to mend filters that could not be
// saved.  One object per use; user-interface thread.
#pragma once

#include <QDialog>
#include <memory>
#include <optional>

#include "common/qt/ColumnWidths.h"
#include "params/FilterServices.h"
#include "params/FiltersForm.h"

class QSortFilterProxyModel;

namespace korvane {
class NoticeBar;
}

namespace Ui {
class frmFilters;
}

namespace korvane::params {

class FiltersTableModel;

class frmFilters : public QDialog {
  Q_OBJECT

 public:
  // Everything must outlive the dialog.
  explicit frmFilters(const FilterServices& services, QWidget* parent = nullptr);
  ~frmFilters() override;

  // The filters were changed elsewhere: shows the list anew, with what is not saved here, and keeps the
  // selection.  Waits until the question or dialog is answered that stands in front.
  void StoreChanged();

  void reject() override;  // the one way out: Close, Escape and the close box
  // Without a way back, as when the session ends: what can be saved is.
  void done(int result) override;

 private:
  void SetUpList();
  void ShowRows();
  void Do(void (frmFilters::*act)());
  void AddFilter();
  void EditFilter();
  void RemoveFilter();
  std::optional<FilterValues> AskForFilter(const FilterValues& filter);
  std::optional<std::size_t> SelectedRow() const;  // of the form
  void SelectRow(std::size_t row);
  void EnableButtons();
  void SaveAndClose();

  FilterServices services_;
  FiltersForm form_;
  std::unique_ptr<Ui::frmFilters> ui_;
  FiltersTableModel* table_;
  QSortFilterProxyModel* order_;
  std::unique_ptr<ColumnWidths> widths_;
  NoticeBar* notice_ = nullptr;
  bool acting_ = false;   // a question or dialog may stand in front
  bool changed_ = false;  // elsewhere, meanwhile
};

}  // namespace korvane::params
