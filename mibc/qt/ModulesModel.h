// The modules of a run, one row each, in the order in which they were compiled: what became of them, and the
// details that the window shows for the selected one.  User-interface thread.
#pragma once

#include <QAbstractTableModel>
#include <QString>
#include <cstddef>
#include <vector>

#include "Compiler.h"

namespace korvane::mibc {

class ModulesModel : public QAbstractTableModel {
  Q_OBJECT

 public:
  enum Column { ModuleColumn, ResultColumn, FileColumn, ColumnCount };

  using QAbstractTableModel::QAbstractTableModel;

  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

  void Clear();
  void Add(const CompiledFile& compiled);

  // Faults with file and line, or the traps that the module defines.
  QString Details(int row) const;
  int FirstRefused() const;  // -1: none
  // "5 modules: 12 traps added, 3 updated. 1 file was refused."
  QString Summary() const;

 private:
  struct Row {
    QString Module;
    QString Result;
    QString File;
    QString Path;
    QString Details;
    bool Refused = false;
    bool HasTraps = false;
  };

  std::vector<Row> rows_;
  std::size_t modules_ = 0;
  std::size_t refusedFiles_ = 0;
  StoredCounts stored_;
};

}  // namespace korvane::mibc
