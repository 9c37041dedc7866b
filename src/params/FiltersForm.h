// The rules of the dialog "Filter Traps" without a window: the list's rows, what removing, adding and editing
// does to them, and the order of what happens when the dialog closes.  User-interface thread only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "params/FilterServices.h"
#include "params/FilterStore.h"
#include "params/FilterTexts.h"
#include "store/DatabaseError.h"

namespace korvane::params {

class FiltersForm {
 public:
  // Reads the filters now; a database error is shown.  Everything must outlive the form.
  explicit FiltersForm(const FilterServices& services);

  // False when reading failed: an empty list then says nothing about the filters.
  bool WasRead() const { return wasRead_; }
  std::size_t RowCount() const { return rows_.size(); }
  const FilterTexts& TextsAt(std::size_t row) const { return rows_[row].Texts; }
  const FilterValues& FilterAt(std::size_t row) const { return rows_[row].Values; }

  // Rows are stored when the dialog closes; a removed filter is gone from the tables at once.
  void Add(FilterValues filter);
  void Replace(std::size_t row, FilterValues filter);
  // Asks first.  False when the row stays: the answer was No, or the database refused, which was shown.
  bool Remove(std::size_t row);

  // After somebody else changed the filters: the list is that of the store, with the rows that were added or
  // edited here.  An edited one stays where the filter stands that it replaces; where that is gone it is a
  // new one.  When they can't be read the list stays.
  void StoreChanged();

  // Saves what was added or edited here, then takes away what edited rows have replaced.  Other rows are not
  // written: somebody else may have removed them meanwhile.  A row that fails is reported and does not stop
  // the others, unless the database is gone.  While new or edited filters are not stored, the
  // operator may try again, give them up, or go back to the list; true: the dialog is to close.
  bool Save();
  // The first row that is not stored as it stands.
  std::optional<std::size_t> FirstUnsaved() const;

  // Once the dialog closes: reads the filters anew and passes the change on.
  void Apply();

 private:
  struct Row {
    FilterValues Values;
    FilterTexts Texts;
    std::int32_t TrapTableId = 0;  // of the stored filter that this row is or replaces; 0: none
    FilterValues Stored = {};

    bool Unsaved() const { return TrapTableId == 0 || Values != Stored; }
  };
  // One text of the database, with the lines of the filters it was about.
  struct Failure {
    store::DatabaseError Error;
    std::vector<std::string> Filters;
  };

  void ReadRows();
  Row RowOf(StoredFilter filter);
  FilterTexts ShownTexts(const FilterValues& filter);
  void SaveAll();
  void SaveRow(Row& row);
  void RemoveReplaced();
  bool IsInUse(std::int32_t trapTableId) const;
  void NoteFailure(const store::DatabaseError& error, std::string filter);
  void ReportFailures();
  std::size_t UnsavedCount() const;

  FilterServices services_;
  FilterStore store_;
  std::vector<Row> rows_;
  std::vector<std::int32_t> replaced_;  // still stored, though their rows now hold other filters
  std::vector<Failure> failures_;
  bool wasRead_ = false;
  bool namesKnown_ = true;
};

}  // namespace korvane::params
