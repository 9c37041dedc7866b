// The dialog "Filter Traps": the filters as a list, to be added, edited and removed.  When it closes, however
// that is done, every row is saved, the filters are read anew, and everything that was derived from them is
// worked out again.  It stays open while the operator wants to mend filters that could not be saved.  One
// object per use; user-interface thread.
#pragma once

#include <QDialog>
#include <memory>
#include <optional>

#include "common/qt/ColumnWidths.h"
#include "params/FilterServices.h"
#include "params/FiltersForm.h"

class QSortFilterProxyModel;

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

  void reject() override;  // the one way out: Close, Escape and the close box

 private:
  void SetUpList();
  void AddFilter();
  void EditFilter();
  void RemoveFilter();
  std::optional<FilterValues> AskForFilter(const FilterValues& filter);
  std::optional<std::size_t> SelectedRow() const;  // of the form
  void SelectRow(std::size_t row);
  void EnableButtons();

  FilterServices services_;
  FiltersForm form_;
  std::unique_ptr<Ui::frmFilters> ui_;
  FiltersTableModel* table_;
  QSortFilterProxyModel* order_;
  std::unique_ptr<ColumnWidths> widths_;
};

}  // namespace korvane::params
