#include "alerts/frmAlerts.h"

#include <QHeaderView>
#include <QItemSelectionModel>
#include <QMenu>
#include <QShortcut>
#include <algorithm>
#include <array>
#include <chrono>

#include "alerts/AlertsTableModel.h"
#include "alerts/frmActions.h"
#include "alerts/frmAlertCnfg.h"
#include "common/qt/DialogButtons.h"
#include "common/qt/KorvaneStyle.h"
#include "common/qt/ListHabits.h"
#include "common/qt/NoticeBar.h"
#include "common/qt/QtText.h"
#include "ui_frmAlerts.h"

namespace korvane::alerts {
namespace {

// All but the last, which takes what is left.
constexpr int kKeptColumns = AlertsTableModel::kFailureColumn;
constexpr int kFollowMilliseconds = 1000;

}  // namespace

frmAlerts::frmAlerts(const AlertServices& services, QWidget* parent)
    : QDialog(parent),
      services_(services),
      form_(services),
      ui_(std::make_unique<Ui::frmAlerts>()),
      table_(new AlertsTableModel(form_, this)),
      mnuActions_(new QMenu(tr("Actions"), this)),
      trial_(new NoticeBar(tr("&Hide"), this)) {
  ui_->setupUi(this);
  SetButtonGap(*ui_->buttons);
  SetUpList();
  SetUpMenu();
  SetUpTrial();
  connect(ui_->cmdAdd, &QPushButton::clicked, this, &frmAlerts::Add);
  connect(ui_->cmdEdit, &QPushButton::clicked, this, &frmAlerts::Edit);
  connect(ui_->cmdRemove, &QPushButton::clicked, this, &frmAlerts::Remove);
  connect(ui_->cmdTest, &QPushButton::clicked, this, &frmAlerts::SendTest);
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
  widths_ = std::make_unique<ColumnWidths>(list, services_.Settings, "AlertsColumnWidths", kKeptColumns);
  if (!widths_->ByHand()) {
    widths_->Set(std::array{240, 60, 60, 80, 74, 130});
  }
  connect(
      table_, &AlertsTableModel::Switched, this, [this](std::int32_t groupId) { ShowList(groupId); },
      Qt::QueuedConnection);  // the list still works on the click
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
  add("mnuBeep", tr("&Beep"), {ActionKind::Beep});
  add("mnuEmail", tr("&EMail"), {ActionKind::Email});
  add("mnuMessage", tr("&Message"), {ActionKind::Message});
  add("mnuCustom", tr("&Custom"), {ActionKind::Custom});
  mnuActions_->addSeparator()->setObjectName(QStringLiteral("mnuSep1"));
  add("mnuAll", tr("&All"), {std::begin(kActionKinds), std::end(kActionKinds)});
}

void frmAlerts::SetUpTrial() {
  ui_->rows->addWidget(trial_);
  connect(trial_, &NoticeBar::WayOutTaken, this, [this] {
    form_.Trial().End();
    ShowTrial();
  });
  connect(&follow_, &QTimer::timeout, this, &frmAlerts::Follow);
  follow_.start(kFollowMilliseconds);
}

std::optional<Alert> frmAlerts::SelectedAlert() const {
  const QModelIndexList selected = ui_->lvAlerts->selectionModel()->selectedRows();
  const auto row =
      selected.isEmpty() ? form_.Alerts().size() : static_cast<std::size_t>(selected.first().row());
  return row < form_.Alerts().size() ? std::optional(form_.Alerts()[row]) : std::nullopt;
}

void frmAlerts::ShowList(std::optional<std::int32_t> groupId) {
  const int column = std::max(0, ui_->lvAlerts->currentIndex().column());
  table_->Reset();
  const std::optional<std::size_t> row = groupId ? form_.RowOf(*groupId) : std::nullopt;
  if (row) {
    ui_->lvAlerts->setCurrentIndex(table_->index(static_cast<int>(*row), column));
  }
  EnableButtons();
}

void frmAlerts::SelectAlert(std::int32_t groupId) {
  ShowList(groupId);
  ui_->lvAlerts->scrollTo(ui_->lvAlerts->currentIndex());
  ui_->lvAlerts->setFocus();  // for the keys that act on it
}

void frmAlerts::Reload() {
  const std::optional<Alert> selected = SelectedAlert();
  form_.Reload();
  form_.RefreshStates();
  ShowList(selected ? std::optional(selected->GroupId) : std::nullopt);
}

void frmAlerts::EnableButtons() {
  const bool selected = SelectedAlert().has_value();
  ui_->cmdEdit->setEnabled(selected);
  ui_->cmdRemove->setEnabled(selected);
  ui_->cmdTest->setEnabled(selected);
}

void frmAlerts::Add() {
  frmAlertCnfg dialog(services_, std::nullopt, this);
  if (dialog.exec() == QDialog::Accepted) {
    form_.Saved();
    SelectAlert(dialog.GroupId());
  }
}

void frmAlerts::Edit() {
  const std::optional<Alert> alert = SelectedAlert();
  if (!alert) {
    return;
  }
  frmAlertCnfg dialog(services_, alert, this);
  if (dialog.WasRead() && dialog.exec() == QDialog::Accepted) {
    form_.Saved();
    SelectAlert(alert->GroupId);
  }
}

void frmAlerts::Remove() {
  const std::optional<Alert> alert = SelectedAlert();
  const int row = ui_->lvAlerts->currentIndex().row();
  if (!alert || !form_.Remove(alert->GroupId)) {
    return;
  }
  table_->Reset();
  ui_->lvAlerts->selectRow(std::min(row, table_->rowCount() - 1));
  ui_->lvAlerts->setFocus();
  EnableButtons();
}

void frmAlerts::SendTest() {
  if (const std::optional<Alert> alert = SelectedAlert()) {
    form_.Test(alert->GroupId);
    sinceAsked_.start();
    ShowTrial();
  }
}

void frmAlerts::Follow() {
  if (form_.RefreshStates()) {
    table_->StatesChanged();
  }
  if (form_.Trial().IsOpen() && form_.StoreAnswers()) {
    form_.Trial().Follow(std::chrono::seconds(sinceAsked_.elapsed() / 1000));
    ShowTrial();
  }
}

void frmAlerts::ShowTrial() {
  const TrialState state = form_.Trial().State();
  trial_->Say(ToQString(form_.Trial().Text()), state == TrialState::NoAnswer || state == TrialState::Failed
                                                   ? MessagePicture::Exclamation
                                                   : MessagePicture::Information);
}

void frmAlerts::ConfigureActions(const std::vector<ActionKind>& kinds) {
  const std::optional<Alert> alert = SelectedAlert();
  if (!alert) {
    return;
  }
  if (const std::optional<ActionIds> ids =
          alerts::ConfigureActions(services_, kinds, alert->Actions.value_or(ActionIds()), this)) {
    form_.SetActions(alert->GroupId, kinds, *ids);
    SelectAlert(alert->GroupId);
  }
}

void frmAlerts::ClearCurrentAction() {
  const std::optional<Alert> alert = SelectedAlert();
  const int column = ui_->lvAlerts->currentIndex().column() - AlertsTableModel::kFirstActionColumn;
  if (alert && column >= 0 && column < static_cast<int>(std::size(kActionKinds)) &&
      form_.ClearAction(alert->GroupId, kActionKinds[static_cast<std::size_t>(column)])) {
    ShowList(alert->GroupId);
  }
}

void frmAlerts::ShowMenu(const QPoint& position) {
  const QModelIndex index = ui_->lvAlerts->indexAt(position);
  if (index.isValid()) {
    ui_->lvAlerts->setCurrentIndex(index);
  }
  if (SelectedAlert()) {
    mnuActions_->popup(ui_->lvAlerts->viewport()->mapToGlobal(position));
  }
}

// Close, Escape, the close box and the end of the session are one: the receiver learns of the changes.
void frmAlerts::done(int result) {
  form_.Close();
  QDialog::done(result);
}

}  // namespace korvane::alerts
