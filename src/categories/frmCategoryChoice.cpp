#include "categories/frmCategoryChoice.h"

#include <QHeaderView>
#include <QPushButton>
#include <QStandardItemModel>
#include <array>

#include "common/qt/CellText.h"
#include "common/qt/KorvaneStyle.h"
#include "common/qt/ListHabits.h"
#include "ui_frmCategoryChoice.h"

namespace korvane::categories {
namespace {

constexpr int kNameColumn = 0;
constexpr int kInStoreColumn = 2;
constexpr std::array kChoiceColumnWidths = {210, 60, 190};

QStandardItem* Cell(const QString& text) {
  auto* item = new QStandardItem(text);
  item->setEditable(false);
  if (!text.isEmpty()) {
    item->setToolTip(PlainToolTip(text));
  }
  return item;
}

}  // namespace

frmCategoryChoice::frmCategoryChoice(CategoryChoice choice, std::vector<OfferedCategory>& offered,
                                     QWidget* parent)
    : QDialog(parent),
      offered_(offered),
      ui_(std::make_unique<Ui::frmCategoryChoice>()),
      table_(new QStandardItemModel(this)) {
  ui_->setupUi(this);
  const bool import = choice == CategoryChoice::Import;
  setWindowTitle(import ? tr("Import Categories") : tr("Export Categories"));
  ui_->lblHelp->setText(
      import ? tr("The checked categories are imported. One that is in the database already is replaced as a "
                  "whole; it is left alone while it is not checked.")
             : tr("The checked categories are written into one file, with their traps."));
  Fill();
  SetUpList(choice);
  cmdOK_ = ui_->buttons->addButton(import ? tr("&Import") : tr("&Export..."), QDialogButtonBox::AcceptRole);
  cmdOK_->setObjectName(QStringLiteral("cmdOK"));
  cmdOK_->setDefault(true);
  ui_->buttons->addButton(tr("&Cancel"), QDialogButtonBox::RejectRole)
      ->setObjectName(QStringLiteral("cmdCancel"));
  connect(ui_->buttons, &QDialogButtonBox::accepted, this, &frmCategoryChoice::accept);
  connect(ui_->buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  connect(ui_->cmdAll, &QPushButton::clicked, this, [this] { CheckAll(true); });
  connect(ui_->cmdNone, &QPushButton::clicked, this, [this] { CheckAll(false); });
  connect(table_, &QStandardItemModel::itemChanged, this, &frmCategoryChoice::EnableButtons);
  EnableButtons();
}

frmCategoryChoice::~frmCategoryChoice() = default;

void frmCategoryChoice::Fill() {
  table_->setHorizontalHeaderLabels({tr("Category"), tr("Traps"), tr("In The Database"), tr("Description")});
  for (const OfferedCategory& each : offered_) {
    QStandardItem* name = Cell(ShownText(each.Category.Name));
    name->setCheckable(true);
    name->setCheckState(each.Chosen ? Qt::Checked : Qt::Unchecked);
    table_->appendRow({name, Cell(QString::number(each.Category.Details.Traps.size())),
                       Cell(each.Exists ? tr("Yes: is replaced when checked") : tr("No")),
                       Cell(ShownText(each.Category.Details.Description))});
  }
}

void frmCategoryChoice::SetUpList(CategoryChoice choice) {
  StyleTable(*ui_->lvCategories);
  ui_->lvCategories->setFrameShape(QFrame::StyledPanel);
  ui_->lvCategories->setSelectionMode(QAbstractItemView::SingleSelection);
  ui_->lvCategories->setModel(table_);
  ui_->lvCategories->horizontalHeader()->setStretchLastSection(true);
  for (std::size_t column = 0; column < kChoiceColumnWidths.size(); ++column) {
    ui_->lvCategories->setColumnWidth(static_cast<int>(column), kChoiceColumnWidths[column]);
  }
  // What is exported is in the database.
  ui_->lvCategories->setColumnHidden(kInStoreColumn, choice == CategoryChoice::Export);
  ui_->cmdAll->setEnabled(table_->rowCount() > 0);
  ui_->cmdNone->setEnabled(table_->rowCount() > 0);
  SetEmptyText(*ui_->lvCategories, choice == CategoryChoice::Export ? tr("There are no categories yet")
                                                                    : tr("The file holds no categories"));
}

void frmCategoryChoice::CheckAll(bool checked) {
  for (int row = 0; row < table_->rowCount(); ++row) {
    table_->item(row, kNameColumn)->setCheckState(checked ? Qt::Checked : Qt::Unchecked);
  }
}

std::size_t frmCategoryChoice::ChosenCount() const {
  std::size_t count = 0;
  for (int row = 0; row < table_->rowCount(); ++row) {
    count += table_->item(row, kNameColumn)->checkState() == Qt::Checked ? 1 : 0;
  }
  return count;
}

void frmCategoryChoice::EnableButtons() {
  cmdOK_->setEnabled(ChosenCount() > 0);
}

void frmCategoryChoice::accept() {
  for (std::size_t row = 0; row < offered_.size(); ++row) {
    offered_[row].Chosen = table_->item(static_cast<int>(row), kNameColumn)->checkState() == Qt::Checked;
  }
  QDialog::accept();
}

}  // namespace korvane::categories
