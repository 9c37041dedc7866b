#include "categories/frmCategoryChoice.h"

#include <QHeaderView>
#include <QPushButton>
#include <QStandardItemModel>

#include "common/qt/KorvaneStyle.h"
#include "common/qt/ListHabits.h"
#include "common/qt/QtText.h"
#include "ui_frmCategoryChoice.h"

namespace korvane::categories {
namespace {

constexpr int kNameColumn = 0;
constexpr int kNameWidth = 280;

QStandardItem* Cell(const QString& text) {
  auto* item = new QStandardItem(text);
  item->setEditable(false);
  return item;
}

}  // namespace

frmCategoryChoice::frmCategoryChoice(std::vector<OfferedCategory>& offered, const QString& caption,
                                     const QString& text, const QString& accept, QWidget* parent)
    : QDialog(parent),
      offered_(offered),
      ui_(std::make_unique<Ui::frmCategoryChoice>()),
      table_(new QStandardItemModel(this)) {
  ui_->setupUi(this);
  setWindowTitle(caption);
  ui_->lblHelp->setText(text);
  Fill();
  cmdOK_ = ui_->buttons->addButton(accept, QDialogButtonBox::AcceptRole);
  cmdOK_->setObjectName(QStringLiteral("cmdOK"));
  cmdOK_->setDefault(true);
  ui_->buttons->addButton(tr("&Cancel"), QDialogButtonBox::RejectRole)
      ->setObjectName(QStringLiteral("cmdCancel"));
  connect(ui_->buttons, &QDialogButtonBox::accepted, this, &frmCategoryChoice::Accept);
  connect(ui_->buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  connect(ui_->cmdAll, &QPushButton::clicked, this, [this] { CheckAll(true); });
  connect(ui_->cmdNone, &QPushButton::clicked, this, [this] { CheckAll(false); });
  connect(table_, &QStandardItemModel::itemChanged, this, &frmCategoryChoice::EnableButtons);
  EnableButtons();
}

frmCategoryChoice::~frmCategoryChoice() = default;

void frmCategoryChoice::Fill() {
  table_->setHorizontalHeaderLabels({tr("Category"), tr("Traps"), tr("In The Database")});
  for (const OfferedCategory& each : offered_) {
    QStandardItem* name = Cell(ToVisibleQString(each.Category.Name));
    name->setCheckable(true);
    name->setCheckState(each.Chosen ? Qt::Checked : Qt::Unchecked);
    table_->appendRow({name, Cell(QString::number(each.Category.Details.Traps.size())),
                       Cell(each.Exists ? tr("Yes: is replaced when checked") : tr("No"))});
  }
  StyleTable(*ui_->lvCategories);
  ui_->lvCategories->setFrameShape(QFrame::StyledPanel);
  ui_->lvCategories->setSelectionMode(QAbstractItemView::SingleSelection);
  ui_->lvCategories->setModel(table_);
  ui_->lvCategories->horizontalHeader()->setStretchLastSection(true);
  ui_->lvCategories->setColumnWidth(kNameColumn, kNameWidth);
  SetEmptyText(*ui_->lvCategories, tr("No categories"));
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

void frmCategoryChoice::Accept() {
  for (std::size_t row = 0; row < offered_.size(); ++row) {
    offered_[row].Chosen = table_->item(static_cast<int>(row), kNameColumn)->checkState() == Qt::Checked;
  }
  accept();
}

}  // namespace korvane::categories
