#include "categories/frmCategories.h"

#include <QCloseEvent>
#include <QGuiApplication>
#include <QHeaderView>
#include <QItemSelection>
#include <QPushButton>
#include <QScreen>
#include <QScrollBar>
#include <algorithm>
#include <array>
#include <unordered_set>
#include <utility>

#include "categories/frmTrpCatWiz.h"
#include "common/NumberList.h"
#include "common/Translation.h"
#include "common/qt/CellText.h"
#include "common/qt/DialogButtons.h"
#include "common/qt/Icons.h"
#include "common/qt/KorvaneStyle.h"
#include "common/qt/ListHabits.h"
#include "common/qt/NoticeBar.h"
#include "common/qt/QtText.h"
#include "traps/TrapCellDelegate.h"
#include "ui_frmCategories.h"

namespace korvane::categories {
namespace {

constexpr PaneNames kCategoryCommands{.Menu = "mnuPopEvtGrp",
                                      .New = "mnuPopNewEvtGrp",
                                      .Edit = "mnuPopEditEvtGrp",
                                      .Remove = "mnuPopRemEvtGrp",
                                      .Up = "mnuPopUpEvtGrp",
                                      .Down = "mnuPopDownEvtGrp"};
constexpr PaneNames kTrapCommands{.Menu = "mnuPopEvtDet",
                                  .New = "mnuPopNewEvtDet",
                                  .Edit = "mnuPopEditEvtDet",
                                  .Remove = "mnuPopRemEvtDet",
                                  .Up = "mnuPopUpEvtDet",
                                  .Down = "mnuPopDownEvtDet"};

constexpr std::string_view kPlaceSetting = "CategoriesPlace";  // width, height, bar between the lists
constexpr char kColumnsSetting[] = "CategoriesColumns";
constexpr std::array kTrapColumnWidths = {80, 115, 115, 180, 95};
constexpr int kHelpPicture = 16;

constexpr std::string_view kHelp = Translatable(
    "Categories are used to organize traps in an ordered and user friendly"
    " manner. Category Management is used extensively in Reports showing only the"
    " traps that you find interesting. This interface provides you with"
    " all the tools required to create, manipulate and manage Categories.");

// The rows of both lists are of one height.
class NodeDelegate : public traps::TrapCellDelegate {
 public:
  NodeDelegate(int height, QObject* parent) : TrapCellDelegate(parent), height_(height) {}
  QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override {
    return {TrapCellDelegate::sizeHint(option, index).width(), height_};
  }

 private:
  int height_;
};

}  // namespace

frmCategories::frmCategories(const CategoryServices& services, QWidget* parent)
    : QDialog(parent),
      services_(services),
      form_(services, *this),
      names_(form_),
      // A message box has no place inside a paint event.
      traps_(form_,
             [this] { QMetaObject::invokeMethod(this, &frmCategories::ReportNames, Qt::QueuedConnection); }),
      ui_(std::make_unique<Ui::frmCategories>()) {
  ui_->setupUi(this);
  // Behind the others: a dialog whose first control is a button begins with its default button.
  notice_ = new NoticeBar(tr("&Hide"), this);
  setSizeGripEnabled(true);
  ui_->lblHelp->setText(ToQString(Translated(kHelp)));
  ShowHelpPicture();
  SetUpLists();
  SetUpCommands();
  ui_->rows->insertWidget(1, notice_);
  connect(notice_, &NoticeBar::WayOutTaken, this, [this] { notice_->Say({}, MessagePicture::Information); });
  RestorePlace();
  ShowCategories();
}

frmCategories::~frmCategories() = default;

void frmCategories::RestorePlace() {
  const auto place =
      ParseNumberList(services_.Settings.GetSetting(platform::kSettingsSection, kPlaceSetting, {}));
  if (place && place->size() == 3) {
    const QSize kept((*place)[0], (*place)[1]);
    resize(kept.boundedTo(screen()->availableSize()).expandedTo(minimumSizeHint()));
    ui_->panes->KeepPosition((*place)[2]);
  }
}

void frmCategories::SetUpLists() {
  ui_->panes->Arrange({.TreeTitle = ui_->lblTitle1,
                       .ListTitle = ui_->lblTitle2,
                       .Tree = ui_->tvEvtGrps,
                       .List = ui_->lvEvtDetails,
                       .Splitter = ui_->imgSplitter,
                       .DragBar = ui_->picSplitter});
  ui_->tvEvtGrps->setModel(&names_);
  SetEmptyText(*ui_->tvEvtGrps, tr("No categories yet"));
  connect(ui_->tvEvtGrps->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
          &frmCategories::CategoryChosen);

  QTableView& list = *ui_->lvEvtDetails;
  list.setModel(&traps_);
  StyleTable(list);
  list.setFrameShape(QFrame::StyledPanel);
  ui_->tvEvtGrps->setItemDelegate(
      new NodeDelegate(list.verticalHeader()->defaultSectionSize(), ui_->tvEvtGrps));
  list.setItemDelegate(new traps::TrapCellDelegate(&list));
  SetEmptyText(list, {});
  CopyRowsByShortcut(list);
  list.horizontalHeader()->setStretchLastSection(true);
  widths_ = std::make_unique<ColumnWidths>(list, services_.Settings, kColumnsSetting,
                                           static_cast<int>(kTrapColumnWidths.size()));
  if (!widths_->ByHand()) {
    widths_->Set(kTrapColumnWidths);
  }
  connect(list.selectionModel(), &QItemSelectionModel::selectionChanged, this, &frmCategories::ShowCommands);
}

void frmCategories::SetUpCommands() {
  const auto doing = [this](void (frmCategories::*act)()) {
    return [this, act] { Do([&] { (this->*act)(); }); };
  };
  new PaneCommands(*ui_->tvEvtGrps, kCategoryCommands,
                   {.New = doing(&frmCategories::Create),
                    .Edit = doing(&frmCategories::Edit),
                    .Remove = doing(&frmCategories::Delete),
                    .Move = [this](Direction to) { Do([&] { MoveCategory(to); }); },
                    .CanAdd = [] { return true; },
                    .CanMove = [this](Direction to) { return form_.CanMoveCategory(to); }});
  new PaneCommands(*ui_->lvEvtDetails, kTrapCommands,
                   {.New = doing(&frmCategories::AddTraps),
                    .Edit = doing(&frmCategories::EditTrap),
                    .Remove = doing(&frmCategories::RemoveTrap),
                    .Move = [this](Direction to) { Do([&] { MoveTraps(to); }); },
                    .CanAdd = [this] { return form_.Selected().has_value(); },
                    .CanMove =
                        [this](Direction to) {
                          const auto rows = SelectedRows();
                          return rows && form_.CanMoveTraps(*rows, to);
                        }});
  const std::pair<QPushButton*, void (frmCategories::*)()> buttons[] = {
      {ui_->cmdCreateEvtGrp, &frmCategories::Create}, {ui_->cmdEditEvtGrp, &frmCategories::Edit},
      {ui_->cmdDeleteEvtGrp, &frmCategories::Delete}, {ui_->cmdAddEvtDet, &frmCategories::AddTraps},
      {ui_->cmdEditEvtDet, &frmCategories::EditTrap}, {ui_->cmdRemoveEvtDet, &frmCategories::RemoveTrap}};
  for (const auto& [button, act] : buttons) {
    connect(button, &QPushButton::clicked, this, doing(act));
  }
  connect(ui_->tvEvtGrps, &QAbstractItemView::doubleClicked, this, doing(&frmCategories::Edit));
  connect(ui_->lvEvtDetails, &QAbstractItemView::doubleClicked, this, doing(&frmCategories::EditTrap));
  AddOkAndCancel(*ui_->buttons, tr("&Cancel"));
  connect(ui_->buttons, &QDialogButtonBox::accepted, this, &frmCategories::accept);
  connect(ui_->buttons, &QDialogButtonBox::rejected, this, &frmCategories::reject);
}

void frmCategories::Do(const std::function<void()>& act) {
  acting_ = true;
  act();
  acting_ = false;
  if (std::exchange(changed_, false) && isVisible()) {
    StoreChanged();
  }
}

void frmCategories::StoreChanged() {
  if (acting_) {
    changed_ = true;
    return;
  }
  std::unordered_set<std::int32_t> selected;
  for (const auto& [first, last] : SelectedRanges(*ui_->lvEvtDetails)) {
    for (int row = first; row <= last; ++row) {
      selected.insert(form_.Traps()[static_cast<std::size_t>(row)].TrapTableId);
    }
  }
  const int top = ui_->lvEvtDetails->verticalScrollBar()->value();
  form_.StoreChanged();
  ShowCategories();
  QItemSelection rows;
  for (int row = 0; row < traps_.rowCount(); ++row) {
    if (selected.contains(form_.Traps()[static_cast<std::size_t>(row)].TrapTableId)) {
      rows.select(traps_.index(row, 0), traps_.index(row, traps_.columnCount() - 1));
    }
  }
  ui_->lvEvtDetails->selectionModel()->select(rows, QItemSelectionModel::Select);
  ui_->lvEvtDetails->verticalScrollBar()->setValue(top);
  if (form_.Modified()) {
    notice_->Say(
        tr("The categories were changed at another console. The lists show them as they are now, with "
           "your own changes, which OK saves."),
        MessagePicture::Information);
  }
}

bool frmCategories::Open() {
  const bool open = form_.Open();
  ShowCategories();
  return open;
}

int frmCategories::exec() {
  return Open() ? QDialog::exec() : Rejected;
}

void frmCategories::RunWizard(WizardTask& task, CategoryTransaction& transaction) {
  frmTrpCatWiz wizard(task, transaction, {services_.Names, services_.Prompt, services_.Busy}, this);
  if (wizard.WasRead()) {
    wizard.exec();
  }
}

void frmCategories::ShowBusyPointer(bool busy) {
  if (busy) {
    QGuiApplication::setOverrideCursor(Qt::WaitCursor);
  } else {
    QGuiApplication::restoreOverrideCursor();
  }
}

void frmCategories::SizeControls(int position) {
  ui_->panes->SizeControls(position);
}

void frmCategories::LoadTrapDetails(std::string_view categoryName) {
  const auto& names = form_.Categories();
  const auto found = std::ranges::find(names, categoryName);
  if (found != names.end()) {
    form_.SelectCategory(static_cast<std::size_t>(found - names.begin()));
    ShowCategories();
  }
}

void frmCategories::ShowCategories() {
  showing_ = true;
  names_.Refresh();
  ShowSelected();
  showing_ = false;
  ShowTraps();
}

void frmCategories::ShowSelected() {
  if (form_.Selected()) {
    const QModelIndex node = names_.index(static_cast<int>(*form_.Selected()));
    ui_->tvEvtGrps->setCurrentIndex(node);
    ui_->tvEvtGrps->scrollTo(node);
  }
}

void frmCategories::ShowTraps() {
  traps_.Refresh();
  ui_->panes->SetTitles(form_.Selected() ? ToVisibleQString(form_.SelectedName()) : tr("Categories"),
                        form_.Description().empty() ? tr("Traps") : ToVisibleQString(form_.Description()));
  SetEmptyText(*ui_->lvEvtDetails, form_.Selected() ? tr("No traps in this category") : QString());
  ShowCommands();
}

void frmCategories::ShowCommands() {
  const bool category = form_.Selected().has_value();
  const bool trap = SelectedRow().has_value();
  const QWidget* focus = focusWidget();
  // A button that is disabled hands its focus on, and in the end OK would have it.
  if (!category && (focus == ui_->cmdEditEvtGrp || focus == ui_->cmdDeleteEvtGrp)) {
    ui_->tvEvtGrps->setFocus();
  } else if ((!trap && (focus == ui_->cmdEditEvtDet || focus == ui_->cmdRemoveEvtDet)) ||
             (!category && focus == ui_->cmdAddEvtDet)) {
    ui_->lvEvtDetails->setFocus();
  }
  ui_->cmdEditEvtGrp->setEnabled(category);
  ui_->cmdDeleteEvtGrp->setEnabled(category);
  ui_->cmdAddEvtDet->setEnabled(category);
  ui_->cmdEditEvtDet->setEnabled(trap);
  ui_->cmdRemoveEvtDet->setEnabled(trap);
}

void frmCategories::CategoryChosen() {
  const QModelIndex node = ui_->tvEvtGrps->currentIndex();
  if (showing_ || !node.isValid()) {
    return;
  }
  form_.SelectCategory(static_cast<std::size_t>(node.row()));
  ShowTraps();
}

std::optional<RowRange> frmCategories::SelectedRows() const {
  const auto ranges = SelectedRanges(*ui_->lvEvtDetails);
  return ranges.size() == 1 ? std::optional(RowRange{.First = static_cast<std::size_t>(ranges.front().first),
                                                     .Last = static_cast<std::size_t>(ranges.front().second)})
                            : std::nullopt;
}

std::optional<int> frmCategories::SelectedRow() const {
  const auto rows = SelectedRows();
  return rows && rows->First == rows->Last ? std::optional(static_cast<int>(rows->First)) : std::nullopt;
}

void frmCategories::SelectTrap(int row) {
  if (row >= 0 && row < traps_.rowCount()) {
    ui_->lvEvtDetails->setCurrentIndex(traps_.index(row, 0));
    ui_->lvEvtDetails->scrollTo(traps_.index(row, 0));
  }
}

void frmCategories::Create() {
  if (form_.CreateCategory()) {
    ShowCategories();
  }
}

void frmCategories::Edit() {
  if (form_.EditCategory()) {
    ShowCategories();
  }
}

void frmCategories::Delete() {
  const auto position = form_.Selected();
  if (!form_.DeleteCategory()) {
    return;
  }
  showing_ = true;
  names_.RowGone(static_cast<int>(*position));
  ShowSelected();
  showing_ = false;
  ShowTraps();
}

void frmCategories::AddTraps() {
  const auto before = SelectedRow();
  const auto added = form_.AddTraps();
  ShowTraps();
  SelectTrap(added ? static_cast<int>(*added) : before.value_or(-1));
}

void frmCategories::EditTrap() {
  if (const auto row = SelectedRow()) {
    const auto edited = form_.EditTrap(static_cast<std::size_t>(*row));
    ShowTraps();
    SelectTrap(edited ? static_cast<int>(*edited) : -1);
  }
}

void frmCategories::RemoveTrap() {
  const auto row = SelectedRow();
  if (row && form_.RemoveTrap(static_cast<std::size_t>(*row))) {
    traps_.RowGone(*row);
    SelectTrap(std::min(*row, traps_.rowCount() - 1));
  }
}

void frmCategories::MoveCategory(Direction to) {
  const auto from = form_.Selected();
  if (form_.MoveCategory(to)) {
    names_.RowMoved(static_cast<int>(*from), to);
    ui_->tvEvtGrps->scrollTo(ui_->tvEvtGrps->currentIndex());
  }
}

void frmCategories::MoveTraps(Direction to) {
  const auto rows = SelectedRows();
  if (rows && form_.MoveTraps(*rows, to)) {
    traps_.RowsMoved(*rows, to);
    ui_->lvEvtDetails->scrollTo(
        traps_.index(static_cast<int>(to == Direction::Up ? rows->First - 1 : rows->Last + 1), 0));
  }
}

void frmCategories::ReportNames() {
  if (const auto error = form_.TakeNamesError()) {
    services_.Prompt.Show(*error, PromptIcon::Critical);
  }
}

void frmCategories::accept() {
  Do([this] {
    if (form_.Ok()) {
      QDialog::accept();
    }
  });
}

void frmCategories::reject() {
  Do([this] {
    if (form_.Cancel()) {
      QDialog::reject();
    }
  });
}

void frmCategories::closeEvent(QCloseEvent* event) {
  form_.CloseBox();
  if (isVisible()) {
    done(Rejected);
  }
  event->accept();
}

void frmCategories::done(int result) {
  const QSize size = isMaximized() || isFullScreen() ? normalGeometry().size() : this->size();
  services_.Settings.SaveSetting(
      platform::kSettingsSection, kPlaceSetting,
      NumberListText(std::array{size.width(), size.height(), ui_->panes->Position()}));
  QDialog::done(result);
  form_.Unload();
}

void frmCategories::ShowHelpPicture() {
  ui_->imgHelp->setPixmap(ToolbarIcon("Help").pixmap(QSize(kHelpPicture, kHelpPicture), devicePixelRatio()));
}

void frmCategories::changeEvent(QEvent* event) {
  if (event->type() == QEvent::PaletteChange) {
    ShowHelpPicture();
  }
  QDialog::changeEvent(event);
}

}  // namespace korvane::categories
