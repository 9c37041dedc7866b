#include "alerts/frmAlerts.h"

#include <QHeaderView>
#include <QItemSelectionModel>
#include <QMenu>
#include <QShortcut>
#include <algorithm>
#include <array>

#include "alerts/AlertsTableModel.h"
#include "alerts/frmActions.h"
#include "alerts/frmAlertCnfg.h"
#include "common/qt/KorvaneStyle.h"
#include "common/qt/ListHabits.h"
#include "ui_frmAlerts.h"

namespace korvane::alerts {
namespace {

constexpr int kActionColumns = 4;

}  // namespace

frmAlerts::frmAlerts(const AlertServices& services, QWidget* parent)
    : QDialog(parent),
      services_(services),
      form_(services),
      ui_(std::make_unique<Ui::frmAlerts>()),
      table_(new AlertsTableModel(form_, this)),
      mnuActions_(new QMenu(tr("Actions"), this)) {
  ui_->setupUi(this);
  SetUpList();
  SetUpMenu();
  connect(ui_->cmdAdd, &QPushButton::clicked, this, &frmAlerts::Add);
  connect(ui_->cmdEdit, &QPushButton::clicked, this, &frmAlerts::Edit);
  connect(ui_->cmdRemove, &QPushButton::clicked, this, &frmAlerts::Remove);
  connect(ui_->cmdOK, &QPushButton::clicked, this, &frmAlerts::reject);
  if (!form_.Alerts().empty()) {
    ui_->lvAlerts->selectRow(0);
  }
  EnableButtons();
}

frmAlerts::~frmAlerts() = default;

void frmAlerts::SetUpList() {
  QTableView& list = *ui_->lvAlerts;
  StyleTable(list);
  list.setSelectionMode(QAbstractItemView::SingleSelection);
  list.setFrameShape(QFrame::StyledPanel);
  list.setModel(table_);
  SetEmptyText(list, tr("No alerts: nobody is notified of any trap"));
  CopyRowsByShortcut(list);
  list.horizontalHeader()->setStretchLastSection(true);
  widths_ = std::make_unique<ColumnWidths>(list, services_.Settings, "AlertsColumnWidths", kActionColumns);
  if (!widths_->ByHand()) {
    widths_->Set(std::array{360, 72, 72, 90});
  }
  list.setContextMenuPolicy(Qt::CustomContextMenu);
  connect(&list, &QWidget::customContextMenuRequested, this, &frmAlerts::ShowMenu);
  connect(list.selectionModel(), &QItemSelectionModel::selectionChanged, this, &frmAlerts::EnableButtons);
  connect(&list, &QTableView::doubleClicked, this, &frmAlerts::Edit);
  const auto onKey = [&](Qt::Key key, void (frmAlerts::*act)()) {
    auto* shortcut = new QShortcut(QKeySequence(key), &list);
    shortcut->setContext(Qt::WidgetShortcut);
    connect(shortcut, &QShortcut::activated, this, act);
  };
  onKey(Qt::Key_Return, &frmAlerts::Edit);
  onKey(Qt::Key_Enter, &frmAlerts::Edit);
  onKey(Qt::Key_Delete, &frmAlerts::ClearCurrentAction);
}

void frmAlerts::SetUpMenu() {
  mnuActions_->setObjectName(QStringLiteral("mnuActions"));
  const auto add = [this](const char* name, const QString& caption, std::vector<ActionKind> kinds) {
    QAction* item = mnuActions_->addAction(caption);
    item->setObjectName(QString::fromLatin1(name));
    connect(item, &QAction::triggered, this, [this, kinds = std::move(kinds)] { ConfigureActions(kinds); });
  };
  add("mnuBeep", tr("Beep"), {ActionKind::Beep});
  add("mnuEmail", tr("EMail"), {ActionKind::Email});
  add("mnuMessage", tr("Message"), {ActionKind::Message});
  add("mnuCustom", tr("Custom"), {ActionKind::Custom});
  mnuActions_->addSeparator()->setObjectName(QStringLiteral("mnuSep1"));
  add("mnuAll", tr("All"), {std::begin(kActionKinds), std::end(kActionKinds)});
}

std::optional<std::size_t> frmAlerts::SelectedRow() const {
  const QModelIndexList selected = ui_->lvAlerts->selectionModel()->selectedRows();
  return selected.isEmpty() ? std::nullopt : std::optional(static_cast<std::size_t>(selected.first().row()));
}

void frmAlerts::SelectAlert(std::int32_t groupId) {
  if (const std::optional<std::size_t> row = form_.RowOf(groupId)) {
    ui_->lvAlerts->selectRow(static_cast<int>(*row));
    ui_->lvAlerts->scrollTo(ui_->lvAlerts->currentIndex());
  }
  EnableButtons();
}

void frmAlerts::EnableButtons() {
  const bool selected = SelectedRow().has_value();
  ui_->cmdEdit->setEnabled(selected);
  ui_->cmdRemove->setEnabled(selected);
}

void frmAlerts::Add() {
  frmAlertCnfg dialog(services_, std::nullopt, this);
  if (dialog.exec() == QDialog::Accepted) {
    form_.Saved();
    table_->Reset();
    SelectAlert(dialog.GroupId());
  }
}

void frmAlerts::Edit() {
  const std::optional<std::size_t> row = SelectedRow();
  if (!row) {
    return;
  }
  const Alert alert = form_.Alerts()[*row];
  frmAlertCnfg dialog(services_, alert, this);
  if (dialog.WasRead() && dialog.exec() == QDialog::Accepted) {
    form_.Saved();
    table_->Reset();
    SelectAlert(alert.GroupId);
  }
}

void frmAlerts::Remove() {
  const std::optional<std::size_t> row = SelectedRow();
  if (!row || !form_.Remove(*row)) {
    return;
  }
  table_->Reset();
  ui_->lvAlerts->selectRow(std::min(static_cast<int>(*row), table_->rowCount() - 1));
  ui_->lvAlerts->setFocus();
  EnableButtons();
}

void frmAlerts::ConfigureActions(const std::vector<ActionKind>& kinds) {
  const std::optional<std::size_t> row = SelectedRow();
  if (!row) {
    return;
  }
  const Alert alert = form_.Alerts()[*row];
  if (const std::optional<ActionIds> ids =
          alerts::ConfigureActions(services_, kinds, alert.Actions.value_or(ActionIds()), this)) {
    form_.SetActions(*row, kinds, *ids);
    table_->Reset();
    SelectAlert(alert.GroupId);
  }
}

void frmAlerts::ClearCurrentAction() {
  const std::optional<std::size_t> row = SelectedRow();
  const int column = ui_->lvAlerts->currentIndex().column() - AlertsTableModel::kFirstActionColumn;
  if (row && column >= 0 && form_.ClearAction(*row, kActionKinds[static_cast<std::size_t>(column)])) {
    const QModelIndex cell = ui_->lvAlerts->currentIndex();
    Q_EMIT table_->dataChanged(cell, cell);
  }
}

void frmAlerts::ShowMenu(const QPoint& position) {
  const QModelIndex index = ui_->lvAlerts->indexAt(position);
  if (index.isValid()) {
    ui_->lvAlerts->setCurrentIndex(index);
  }
  if (SelectedRow()) {
    mnuActions_->popup(ui_->lvAlerts->viewport()->mapToGlobal(position));
  }
}

// Close, Escape and the close box are one.
void frmAlerts::reject() {
  form_.Close();
  QDialog::reject();
}

}  // namespace korvane::alerts
