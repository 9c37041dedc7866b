#include "ModulesModel.h"

#include <QStringList>
#include <algorithm>

#include <fmt/format.h>

#include "common/qt/Icons.h"
#include "common/qt/QtText.h"

namespace korvane::mibc {
namespace {

QString FaultLines(const std::vector<Fault>& faults) {
  QStringList lines;
  for (const Fault& fault : faults) {
    lines << ToVisibleQString(FaultText(fault));
  }
  lines << QString() << ModulesModel::tr("Nothing of this file was stored.");
  return lines.join(QLatin1Char('\n'));
}

QString TrapLines(const std::vector<Definition>& definitions) {
  QStringList lines;
  for (const Definition& definition : definitions) {
    lines << ToVisibleQString(fmt::format("{}  ({} {}, {})", definition.SpecificTrap, definition.Name,
                                          definition.EnterpriseOid, definition.RequestType));
  }
  return lines.isEmpty() ? ModulesModel::tr("This module defines no traps; other modules may import it.")
                         : lines.join(QLatin1Char('\n'));
}

}  // namespace

int ModulesModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

int ModulesModel::columnCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : ColumnCount;
}

QVariant ModulesModel::data(const QModelIndex& index, int role) const {
  if (!index.isValid()) {
    return {};
  }
  const Row& row = rows_[static_cast<std::size_t>(index.row())];
  if (role == Qt::DisplayRole) {
    return index.column() == ModuleColumn ? row.Module : index.column() == FileColumn ? row.File : row.Result;
  }
  if (role == Qt::DecorationRole && index.column() == ModuleColumn) {
    return row.Refused ? MessageIcon(MessagePicture::Critical) : ActionIcon(row.HasTraps);
  }
  if (role == Qt::ToolTipRole) {
    return index.column() == FileColumn ? row.Path : index.column() == ResultColumn ? row.Result : QString();
  }
  return {};
}

QVariant ModulesModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation != Qt::Horizontal || role != Qt::DisplayRole) {
    return {};
  }
  return section == ModuleColumn ? tr("Module") : section == ResultColumn ? tr("Result") : tr("File");
}

void ModulesModel::Clear() {
  beginResetModel();
  rows_.clear();
  modules_ = 0;
  refusedFiles_ = 0;
  stored_ = {};
  endResetModel();
}

void ModulesModel::Add(const CompiledFile& compiled) {
  const QString file = ToVisibleQString(compiled.File.filename().string());
  const QString path = ToVisibleQString(compiled.File.string());
  std::vector<Row> rows;
  if (compiled.Refused()) {
    ++refusedFiles_;
    QStringList names;
    for (const CompiledModule& module : compiled.Modules) {
      names << ToVisibleQString(module.Name);
    }
    const QString result = tr("Refused: %1").arg(ToVisibleQString(compiled.Faults.front().Reason));
    rows.push_back({names.isEmpty() ? tr("(none)") : names.join(QStringLiteral(", ")), result, file, path,
                    FaultLines(compiled.Faults), true, false});
  } else {
    for (const CompiledModule& module : compiled.Modules) {
      ++modules_;
      const StoredCounts counts = module.Stored.value_or(StoredCounts());
      stored_.Added += counts.Added;
      stored_.Updated += counts.Updated;
      stored_.Unchanged += counts.Unchanged;
      QString result = ToQString(ResultText(module));
      result[0] = result[0].toUpper();
      rows.push_back({ToVisibleQString(module.Name), result, file, path, TrapLines(module.Definitions), false,
                      !module.Definitions.empty()});
    }
  }
  if (rows.empty()) {
    return;
  }
  const int first = rowCount();
  beginInsertRows({}, first, first + static_cast<int>(rows.size()) - 1);
  std::move(rows.begin(), rows.end(), std::back_inserter(rows_));
  endInsertRows();
}

QString ModulesModel::Details(int row) const {
  return row >= 0 && row < rowCount() ? rows_[static_cast<std::size_t>(row)].Details : QString();
}

int ModulesModel::FirstRefused() const {
  const auto found = std::ranges::find_if(rows_, &Row::Refused);
  return found == rows_.end() ? -1 : static_cast<int>(found - rows_.begin());
}

QString ModulesModel::Summary() const {
  const auto counted = [](std::size_t count, const QString& one, const QString& many) {
    return count == 1 ? one : many.arg(count);
  };
  QString text = counted(modules_, tr("1 module"), tr("%1 modules"));
  text += QStringLiteral(": ") + counted(stored_.Added, tr("1 trap added"), tr("%1 traps added")) +
          tr(", %1 updated, %2 unchanged.").arg(stored_.Updated).arg(stored_.Unchanged);
  if (refusedFiles_ > 0) {
    text +=
        QLatin1Char(' ') + counted(refusedFiles_, tr("1 file was refused."), tr("%1 files were refused."));
  }
  return text;
}

}  // namespace korvane::mibc
