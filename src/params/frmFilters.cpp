#include "params/frmFilters.h"

#include <QHeaderView>
#include <QItemSelectionModel>
#include <QShortcut>
#include <algorithm>
#include <array>
#include <utility>
#include <vector>

#include "common/qt/DialogButtons.h"
#include "common/qt/KorvaneStyle.h"
#include "common/qt/ListHabits.h"
#include "common/qt/NoticeBar.h"
#include "params/FiltersTableModel.h"
#include "params/frmFilterInfo.h"
#include "ui_frmFilters.h"

namespace korvane::params {

frmFilters::frmFilters(const FilterServices& services, QWidget* parent)
    : QDialog(parent),
      services_(services),
      form_(services),
      ui_(std::make_unique<Ui::frmFilters>()),
      table_(new FiltersTableModel(this)),
      order_(new FiltersOrder(this)) {
  ui_->setupUi(this);
  SetButtonGap(*ui_->buttons);
  // Behind the others: a dialog whose first control is a button begins with its default button.
  notice_ = new NoticeBar(tr("&Hide"), this);
  SetUpList();
  ui_->rows->insertWidget(1, notice_);
  connect(notice_, &NoticeBar::WayOutTaken, this, [this] { notice_->Say({}, MessagePicture::Information); });
  connect(ui_->cmdAdd, &QPushButton::clicked, this, [this] { Do(&frmFilters::AddFilter); });
  connect(ui_->cmdEdit, &QPushButton::clicked, this, [this] { Do(&frmFilters::EditFilter); });
  connect(ui_->cmdRemove, &QPushButton::clicked, this, [this] { Do(&frmFilters::RemoveFilter); });
  connect(ui_->cmdOK, &QPushButton::clicked, this, &frmFilters::reject);
  if (form_.RowCount() > 0) {
    SelectRow(0);
  }
  EnableButtons();
}

frmFilters::~frmFilters() = default;

void frmFilters::SetUpList() {
  QTableView& list = *ui_->lvEvtFilters;
  ShowRows();
  order_->setSourceModel(table_);
  StyleTable(list);
  list.setSelectionMode(QAbstractItemView::SingleSelection);
  list.setFrameShape(QFrame::StyledPanel);
  list.setModel(order_);
  SetEmptyText(list,
               form_.WasRead() ? tr("No filters: every trap is shown") : tr("The filters could not be read"));
  CopyRowsByShortcut(list);

  QHeaderView& header = *list.horizontalHeader();
  header.setStretchLastSection(true);
  header.setSortIndicatorClearable(true);
  header.setSortIndicator(-1, Qt::AscendingOrder);
  list.setSortingEnabled(true);
  SortByShortcuts(list);
  widths_ = std::make_unique<ColumnWidths>(list, services_.Settings, "FiltersColumnWidths",
                                           static_cast<int>(kFilterColumns.size()) - 1);
  if (!widths_->ByHand()) {
    widths_->Set(std::array{160, 145, 160, 170});
  }

  connect(list.selectionModel(), &QItemSelectionModel::selectionChanged, this, &frmFilters::EnableButtons);
  connect(&list, &QTableView::doubleClicked, this, [this] { Do(&frmFilters::EditFilter); });
  const auto onKey = [&](Qt::Key key, void (frmFilters::*act)()) {
    auto* shortcut = new QShortcut(QKeySequence(key), &list);
    shortcut->setContext(Qt::WidgetShortcut);
    connect(shortcut, &QShortcut::activated, this, [this, act] { Do(act); });
  };
  onKey(Qt::Key_Return, &frmFilters::EditFilter);
  onKey(Qt::Key_Enter, &frmFilters::EditFilter);
  onKey(Qt::Key_Delete, &frmFilters::RemoveFilter);
}

void frmFilters::ShowRows() {
  std::vector<FilterTexts> rows;
  for (std::size_t row = 0; row < form_.RowCount(); ++row) {
    rows.push_back(form_.TextsAt(row));
  }
  table_->Show(std::move(rows));
}

void frmFilters::Do(void (frmFilters::*act)()) {
  acting_ = true;
  (this->*act)();
  acting_ = false;
  if (std::exchange(changed_, false) && isVisible()) {
    StoreChanged();
  }
}

void frmFilters::StoreChanged() {
  if (acting_) {
    changed_ = true;
    return;
  }
  const std::optional<std::size_t> row = SelectedRow();
  const FilterValues selected = row ? form_.FilterAt(*row) : FilterValues{};
  form_.StoreChanged();
  ShowRows();
  for (std::size_t now = 0; row && now < form_.RowCount(); ++now) {
    if (form_.FilterAt(now) == selected) {
      SelectRow(now);
      break;
    }
  }
  EnableButtons();
  if (form_.WasRead()) {
    SetEmptyText(*ui_->lvEvtFilters, tr("No filters: every trap is shown"));
  }
  if (form_.FirstUnsaved()) {
    notice_->Say(
        tr("The filters were changed at another console. The list shows them as they are now, with your "
           "own changes, which are saved when you close it."),
        MessagePicture::Information);
  }
}

std::optional<FilterValues> frmFilters::AskForFilter(const FilterValues& filter) {
  frmFilterInfo dialog(filter, services_.Names, services_.Prompt, this);
  return dialog.exec() == QDialog::Accepted ? std::optional(dialog.Filter()) : std::nullopt;
}

void frmFilters::AddFilter() {
  if (const std::optional<FilterValues> filter = AskForFilter({})) {
    form_.Add(*filter);
    table_->Append(form_.TextsAt(form_.RowCount() - 1));
    SelectRow(form_.RowCount() - 1);
  }
}

void frmFilters::EditFilter() {
  const std::optional<std::size_t> row = SelectedRow();
  if (!row) {
    return;
  }
  if (const std::optional<FilterValues> filter = AskForFilter(form_.FilterAt(*row))) {
    form_.Replace(*row, *filter);
    table_->Set(static_cast<int>(*row), form_.TextsAt(*row));
    SelectRow(*row);
  }
}

void frmFilters::RemoveFilter() {
  const std::optional<std::size_t> row = SelectedRow();
  if (!row) {
    return;
  }
  const int place = ui_->lvEvtFilters->currentIndex().row();
  if (!form_.Remove(*row)) {
    return;
  }
  table_->Remove(static_cast<int>(*row));
  ui_->lvEvtFilters->selectRow(std::min(place, order_->rowCount() - 1));
  ui_->lvEvtFilters->setFocus();  // its button is off when that was the last one
}

std::optional<std::size_t> frmFilters::SelectedRow() const {
  const QModelIndexList selected = ui_->lvEvtFilters->selectionModel()->selectedRows();
  return selected.isEmpty()
             ? std::nullopt
             : std::optional(static_cast<std::size_t>(order_->mapToSource(selected.first()).row()));
}

void frmFilters::SelectRow(std::size_t row) {
  const QModelIndex index = order_->mapFromSource(table_->index(static_cast<int>(row), 0));
  ui_->lvEvtFilters->selectRow(index.row());
  ui_->lvEvtFilters->scrollTo(index);
  ui_->lvEvtFilters->setFocus();  // for the keys that act on it
}

void frmFilters::EnableButtons() {
  const bool selected = SelectedRow().has_value();
  ui_->cmdEdit->setEnabled(selected);
  ui_->cmdRemove->setEnabled(selected);
}

void frmFilters::reject() {
  Do(&frmFilters::SaveAndClose);
}

void frmFilters::SaveAndClose() {
  if (!form_.Save()) {
    if (const std::optional<std::size_t> row = form_.FirstUnsaved()) {
      SelectRow(*row);
    }
    return;
  }
  QDialog::done(QDialog::Rejected);
  form_.Apply();
}

void frmFilters::done(int result) {
  form_.Save();
  QDialog::done(result);
  form_.Apply();
}

}  // namespace korvane::params
