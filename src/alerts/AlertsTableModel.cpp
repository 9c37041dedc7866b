#include "alerts/AlertsTableModel.h"

#include <QGuiApplication>
#include <QPalette>
#include <array>

#include "common/Translation.h"
#include "common/qt/CellText.h"
#include "common/qt/Icons.h"
#include "common/qt/QtText.h"

namespace korvane::alerts {
namespace {

constexpr std::array<std::string_view, 7> kCaptions = {
    Translatable("Description"), Translatable("Beep"),   Translatable("Email"),
    Translatable("Message"),     Translatable("Custom"), Translatable("Last Acted"),
    Translatable("Last Failure")};

ActionKind KindOf(int column) {
  return kActionKinds[static_cast<std::size_t>(column - AlertsTableModel::kFirstActionColumn)];
}

}  // namespace

AlertsTableModel::AlertsTableModel(AlertsForm& form, QObject* parent)
    : QAbstractTableModel(parent),
      form_(form),
      yes_(ActionIcon(true)),
      no_(ActionIcon(false)),
      failing_(MessageIcon(MessagePicture::Exclamation)) {}

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
  return ToQString(Translated(kCaptions[static_cast<std::size_t>(section)]));
}

QVariant AlertsTableModel::data(const QModelIndex& index, int role) const {
  if (!index.isValid() || index.row() >= rowCount()) {
    return {};
  }
  const Alert& alert = form_.Alerts()[static_cast<std::size_t>(index.row())];
  if (role == Qt::ForegroundRole) {
    // One that is off stands back.
    return alert.Off ? QVariant(QGuiApplication::palette().brush(QPalette::PlaceholderText)) : QVariant();
  }
  switch (index.column()) {
    case 0:
      return DescriptionCell(alert, role);
    case kActedColumn:
      return ActedCell(alert, role);
    case kFailureColumn:
      return FailureCell(alert, role);
    default:
      return ActionCell(alert, KindOf(index.column()), role);
  }
}

QVariant AlertsTableModel::DescriptionCell(const Alert& alert, int role) const {
  switch (role) {
    case Qt::DisplayRole:
      return ToVisibleQString(alert.Description);
    case Qt::CheckStateRole:
      return alert.Off ? Qt::Unchecked : Qt::Checked;
    case Qt::ToolTipRole:  // a long one is cut in its cell
      return PlainToolTip(ToVisibleQString(alert.Description) +
                          (alert.Off ? tr("\nSwitched off: it does not act. The check switches it on.")
                                     : tr("\nIt is on. The check switches it off.")));
    default:
      return {};
  }
}

QVariant AlertsTableModel::ActionCell(const Alert& alert, ActionKind kind, int role) const {
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

QVariant AlertsTableModel::ActedCell(const Alert& alert, int role) const {
  return role == Qt::DisplayRole ? QVariant(ToQString(form_.TimeText(form_.StateOf(alert).LastActed)))
                                 : QVariant();
}

QVariant AlertsTableModel::FailureCell(const Alert& alert, int role) const {
  const AlertState state = form_.StateOf(alert);
  if (state.LastFailure == 0) {
    return {};
  }
  const QString text =
      ToQString(form_.TimeText(state.LastFailure)) + QStringLiteral("  ") + ToVisibleQString(state.Reason);
  switch (role) {
    case Qt::DisplayRole:
      return text;
    case Qt::ToolTipRole:
      return PlainToolTip(text);
    case Qt::DecorationRole:  // nothing went well since
      return state.LastFailure >= state.LastActed ? failing_ : QVariant();
    default:
      return {};
  }
}

Qt::ItemFlags AlertsTableModel::flags(const QModelIndex& index) const {
  const Qt::ItemFlags flags = QAbstractTableModel::flags(index);
  return index.isValid() && index.column() == 0 ? flags | Qt::ItemIsUserCheckable : flags;
}

bool AlertsTableModel::setData(const QModelIndex& index, const QVariant& value, int role) {
  if (role != Qt::CheckStateRole || !index.isValid() || index.column() != 0 || index.row() >= rowCount()) {
    return false;
  }
  const std::int32_t groupId = form_.Alerts()[static_cast<std::size_t>(index.row())].GroupId;
  if (!form_.Switch(groupId, value.toInt() != Qt::Checked)) {
    return false;
  }
  Q_EMIT Switched(groupId);
  return true;
}

void AlertsTableModel::Reset() {
  beginResetModel();
  endResetModel();
}

void AlertsTableModel::StatesChanged() {
  if (rowCount() > 0) {
    Q_EMIT dataChanged(index(0, kActedColumn), index(rowCount() - 1, kFailureColumn));
  }
}

}  // namespace korvane::alerts
