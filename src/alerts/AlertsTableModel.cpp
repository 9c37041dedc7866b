#include "alerts/AlertsTableModel.h"

#include <array>

#include "common/qt/CellText.h"
#include "common/qt/Icons.h"
#include "common/qt/QtText.h"

namespace korvane::alerts {
namespace {

constexpr std::array<std::string_view, 5> kCaptions = {"Description", "Beep", "Email", "Message", "Custom"};

ActionKind KindOf(int column) {
  return kActionKinds[static_cast<std::size_t>(column - AlertsTableModel::kFirstActionColumn)];
}

}  // namespace

AlertsTableModel::AlertsTableModel(const AlertsForm& form, QObject* parent)
    : QAbstractTableModel(parent), form_(form), yes_(ActionIcon(true)), no_(ActionIcon(false)) {}

int AlertsTableModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(form_.Alerts().size());
}

int AlertsTableModel::columnCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(kCaptions.size());
}

QVariant AlertsTableModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation != Qt::Horizontal || role != Qt::DisplayRole || section < 0 || section >= columnCount()) {
    return {};
  }
  return ToQString(kCaptions[static_cast<std::size_t>(section)]);
}

QVariant AlertsTableModel::data(const QModelIndex& index, int role) const {
  if (!index.isValid() || index.row() >= rowCount()) {
    return {};
  }
  const Alert& alert = form_.Alerts()[static_cast<std::size_t>(index.row())];
  if (index.column() < kFirstActionColumn) {
    switch (role) {
      case Qt::DisplayRole:
        return ToVisibleQString(alert.Description);
      case Qt::ToolTipRole:  // a long one is cut in its cell
        return PlainToolTip(ToVisibleQString(alert.Description));
      default:
        return {};
    }
  }
  const ActionKind kind = KindOf(index.column());
  const bool used = AlertsForm::Uses(alert, kind);
  switch (role) {
    case Qt::DisplayRole:
      return used ? tr("Yes") : tr("No");
    case Qt::DecorationRole:
      return used ? yes_ : no_;
    case kActionIdRole:
      return AlertsForm::ActionOf(alert, kind);
    default:
      return {};
  }
}

void AlertsTableModel::Reset() {
  beginResetModel();
  endResetModel();
}

}  // namespace korvane::alerts
