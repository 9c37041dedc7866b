#include "categories/frmTrpCatWiz.h"

#include <QHeaderView>
#include <QItemSelectionModel>
#include <QPushButton>
#include <QScreen>
#include <QShortcut>
#include <QStandardItemModel>
#include <algorithm>
#include <array>

#include "common/qt/CellText.h"
#include "common/qt/Icons.h"
#include "common/qt/KorvaneStyle.h"
#include "common/qt/ListHabits.h"
#include "common/qt/QtText.h"
#include "common/qt/TextLength.h"
#include "params/ShownControls.h"
#include "params/ShownCriteria.h"
#include "store/ColumnLengths.h"
#include "traps/TrapCellDelegate.h"
#include "traps/ValueField.h"
#include "ui_frmTrpCatWiz.h"

namespace korvane::categories {
namespace {

constexpr int kFirstPageHeight = 310;
constexpr int kDescriptionLines = 6;
constexpr int kTitleBar = 40;                                        // what a window manager puts above
constexpr std::array kMemberColumnWidths = {90, 130, 110, 110, 90};  // severity takes the rest

}  // namespace

frmTrpCatWiz::frmTrpCatWiz(WizardTask& task, CategoryTransaction& transaction, const WizardServices& services,
                           QWidget* parent)
    : QDialog(parent),
      form_(task, transaction, services),
      ui_(std::make_unique<Ui::frmTrpCatWiz>()),
      criteria_(nullptr),
      pending_(new QStandardItemModel(this)),
      cmdNextFinish_(nullptr) {
  ui_->setupUi(this);
  fullHeight_ = height();
  LimitLength(*ui_->txtCatName, store::LengthOf(store::kCategoryGroupMaster, "Category_Name"));
  setWindowTitle(ToQString(form_.Title()));
  criteria_ = new params::ShownCriteria(form_.Criteria(),
                                        {.txtSource = *ui_->txtSource,
                                         .cboGeneric = *ui_->cboGeneric,
                                         .lblEnterprise = *ui_->lblEnterprise,
                                         .cboEnterprise = *ui_->cboEnterprise,
                                         .lvTraps = *ui_->lvEnterpriseTraps,
                                         .txtVarBinds = *ui_->txtVarBinds},
                                        this);
  SetUpPendingList();
  if (form_.NameIsFixed()) {
    ui_->txtCatName->setText(ToVisibleQString(form_.Name()));
    traps::ShowAsLabel(*ui_->txtCatName);
  }
  ui_->txtCatDescription->setPlainText(ToQString(form_.Description()));
  ui_->txtCatDescription->setMaximumHeight(kDescriptionLines * fontMetrics().lineSpacing() + 2 * kMargin);
  ui_->fraPending->setVisible(form_.ListShows());
  params::ShowCombo(*ui_->cboSeverity, form_.Severity());
  for (int code = 0; code < ui_->cboSeverity->count(); ++code) {
    ui_->cboSeverity->setItemIcon(code, SeverityIcon(code));
  }
  cmdNextFinish_ = ui_->buttons->addButton(QString(), QDialogButtonBox::AcceptRole);
  cmdNextFinish_->setObjectName(QStringLiteral("cmdNextFinish"));
  cmdNextFinish_->setDefault(true);
  QPushButton* cancel = ui_->buttons->addButton(tr("&Cancel"), QDialogButtonBox::RejectRole);
  cancel->setObjectName(QStringLiteral("cmdCancel"));
  ConnectControls();
  ShowPage();
}

frmTrpCatWiz::~frmTrpCatWiz() = default;

void frmTrpCatWiz::SetUpPendingList() {
  QTableView& list = *ui_->lvTraps;
  QStringList captions;
  for (const std::string_view caption : kTrapDetailColumns) {
    captions.append(ToQString(caption));
  }
  pending_->setHorizontalHeaderLabels(captions);
  StyleTable(list);
  list.setItemDelegate(new traps::TrapCellDelegate(&list));
  list.setSelectionMode(QAbstractItemView::SingleSelection);
  list.setFrameShape(QFrame::StyledPanel);
  list.setModel(pending_);
  for (std::size_t column = 0; column < kMemberColumnWidths.size(); ++column) {
    list.setColumnWidth(static_cast<int>(column), kMemberColumnWidths[column]);
  }
  CopyRowsByShortcut(list);
  list.horizontalHeader()->setStretchLastSection(true);
  SetEmptyText(list, tr("Traps that you add are listed here until Finish"));
}

// Only what the operator does is passed on, never what is shown.
void frmTrpCatWiz::ConnectControls() {
  connect(ui_->txtCatName, &QLineEdit::textEdited, this,
          [this](const QString& text) { form_.EditName(ToUtf8(text)); });
  connect(ui_->txtCatDescription, &QPlainTextEdit::textChanged, this,
          [this] { form_.EditDescription(ToUtf8(ui_->txtCatDescription->toPlainText())); });
  connect(criteria_, &params::ShownCriteria::Chosen, this, [this] {
    ShowTrapDescription();
    ShowDefault();
  });
  connect(ui_->cboSeverity, &QComboBox::currentIndexChanged, this, [this](int index) {
    form_.ChooseSeverity(params::ToPosition(index));
    ShowDefault();
  });
  for (const QLineEdit* field : {ui_->txtSource, ui_->txtVarBinds}) {
    connect(field, &QLineEdit::textEdited, this, &frmTrpCatWiz::ShowDefault);
  }
  connect(ui_->cmdAdd, &QPushButton::clicked, this, [this] {
    form_.Add();
    ShowAdded();
  });
  connect(ui_->cmdRemove, &QPushButton::clicked, this, &frmTrpCatWiz::RemovePending);
  connect(ui_->lvTraps->selectionModel(), &QItemSelectionModel::selectionChanged, this,
          &frmTrpCatWiz::ShowCommands);
  auto* remove = new QShortcut(QKeySequence(Qt::Key_Delete), ui_->lvTraps);
  remove->setContext(Qt::WidgetShortcut);
  connect(remove, &QShortcut::activated, this, &frmTrpCatWiz::RemovePending);
  connect(ui_->buttons, &QDialogButtonBox::accepted, this, &frmTrpCatWiz::NextOrFinish);
  connect(ui_->buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
}

void frmTrpCatWiz::ShowPage() {
  const bool first = form_.Page() == WizardPage::Category;
  QWidget* const page = first ? ui_->pagCategory : ui_->pagTraps;
  if (page != ui_->pages->currentWidget() || !isVisible()) {
    ui_->pages->setCurrentWidget(page);
    GiveRoom();
  }
  (first ? ui_->lblInfo1 : ui_->lblInfo2)->setText(ToQString(form_.InfoText()));
  cmdNextFinish_->setText(ToQString(form_.NextCaption()));
  criteria_->Show();
  ShowTrapDescription();
  ShowCommands();
  ShowDefault();
  QWidget* firstField = first ? (form_.NameIsFixed() ? static_cast<QWidget*>(ui_->txtCatDescription)
                                                     : static_cast<QWidget*>(ui_->txtCatName))
                              : static_cast<QWidget*>(ui_->txtSource);
  firstField->setFocus();
}

void frmTrpCatWiz::ShowTrapDescription() {
  ui_->txtDescription->SetText(form_.TrapDescription());
  ui_->txtDescription->setPlaceholderText(
      form_.Criteria().Controls().lvTraps.Position == 0 ? tr("No trap chosen") : tr("No description"));
}

void frmTrpCatWiz::ShowAdded() {
  for (auto place = static_cast<std::size_t>(pending_->rowCount()); place < form_.Pending().size(); ++place) {
    const PendingTrap& entry = form_.Pending()[place];
    QList<QStandardItem*> row;
    for (const std::string& text : entry.Texts) {
      const QString shown = ShownText(text);
      auto* item = new QStandardItem(shown);
      item->setEditable(false);
      if (!shown.isEmpty()) {
        item->setToolTip(PlainToolTip(shown));
      }
      row.append(item);
    }
    row.last()->setIcon(SeverityIcon(entry.Trap.Severity));
    pending_->appendRow(row);
    ui_->lvTraps->scrollToBottom();
  }
  ShowDefault();
}

// Enter adds what was entered, and finishes when all of it is in the list.
void frmTrpCatWiz::ShowDefault() {
  (form_.Unadded() ? ui_->cmdAdd : cmdNextFinish_)->setDefault(true);
}

// The button hands its focus on when it is disabled, and it must not be Finish that gets it.
void frmTrpCatWiz::ShowCommands() {
  const bool selected = ui_->lvTraps->selectionModel()->hasSelection();
  if (!selected && focusWidget() == ui_->cmdRemove) {
    ui_->lvTraps->setFocus();
  }
  ui_->cmdRemove->setEnabled(selected);
}

void frmTrpCatWiz::RemovePending() {
  const QModelIndexList selected = ui_->lvTraps->selectionModel()->selectedRows();
  if (!selected.isEmpty()) {
    const int row = selected.first().row();
    form_.RemovePending(static_cast<std::size_t>(row));
    pending_->removeRow(row);
    ui_->lvTraps->selectRow(std::min(row, pending_->rowCount() - 1));
  }
}

void frmTrpCatWiz::NextOrFinish() {
  if (form_.NextOrFinish()) {
    accept();
  } else {
    ShowAdded();
    ShowPage();
  }
}

// The first page needs half the room of the second one.
void frmTrpCatWiz::GiveRoom() {
  const bool first = form_.Page() == WizardPage::Category;
  const auto policy = first ? QSizePolicy::Ignored : QSizePolicy::Preferred;
  ui_->pagTraps->setSizePolicy(policy, policy);
  const int wanted = first ? kFirstPageHeight : std::max(height(), fullHeight_);
  resize(width(), std::min(wanted, screen()->availableSize().height() - kTitleBar));
}

}  // namespace korvane::categories
