#include "categories/frmCategories.h"

#include <QCloseEvent>
#include <QGuiApplication>
#include <QHeaderView>
#include <QKeyEvent>
#include <QMenu>
#include <QPushButton>
#include <QScreen>
#include <algorithm>
#include <array>

#include "categories/frmTrpCatWiz.h"
#include "common/NumberList.h"
#include "common/qt/CellText.h"
#include "common/qt/DialogButtons.h"
#include "common/qt/Icons.h"
#include "common/qt/KorvaneStyle.h"
#include "common/qt/ListHabits.h"
#include "common/qt/QtText.h"
#include "traps/TrapCellDelegate.h"
#include "ui_frmCategories.h"

namespace korvane::categories {
namespace {

constexpr std::string_view kPlaceSetting = "CategoriesPlace";  // width, height, bar between the lists
constexpr char kColumnsSetting[] = "CategoriesColumns";
constexpr std::array kTrapColumnWidths = {105, 140, 115, 115, 100};
constexpr int kHelpPicture = 16;

constexpr std::string_view kHelp =
    "Categories are used to organize traps in an ordered and user friendly"
    " manner. Category Management is used extensively in Reports showing only the"
    " traps that you find interesting. This interface provides you with"
    " all the tools required to create, manipulate and manage Categories.";

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
  setSizeGripEnabled(true);
  ui_->lblHelp->setText(ToQString(kHelp));
  ShowHelpPicture();
  SetUpLists();
  SetUpButtons();
  SetUpMenus();
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
  connect(ui_->tvEvtGrps, &QAbstractItemView::doubleClicked, this, &frmCategories::Edit);

  QTableView& list = *ui_->lvEvtDetails;
  list.setModel(&traps_);
  StyleTable(list);
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
  connect(&list, &QAbstractItemView::doubleClicked, this, &frmCategories::EditTrap);
  ui_->tvEvtGrps->installEventFilter(this);
  list.installEventFilter(this);
}

void frmCategories::SetUpButtons() {
  AddOkAndCancel(*ui_->buttons, tr("&Cancel"));
  connect(ui_->buttons, &QDialogButtonBox::accepted, this, &frmCategories::accept);
  connect(ui_->buttons, &QDialogButtonBox::rejected, this, &frmCategories::reject);
  connect(ui_->cmdCreateEvtGrp, &QPushButton::clicked, this, &frmCategories::Create);
  connect(ui_->cmdEditEvtGrp, &QPushButton::clicked, this, &frmCategories::Edit);
  connect(ui_->cmdDeleteEvtGrp, &QPushButton::clicked, this, &frmCategories::Delete);
  connect(ui_->cmdAddEvtDet, &QPushButton::clicked, this, &frmCategories::AddTraps);
  connect(ui_->cmdEditEvtDet, &QPushButton::clicked, this, &frmCategories::EditTrap);
  connect(ui_->cmdRemoveEvtDet, &QPushButton::clicked, this, &frmCategories::RemoveTrap);
}

QAction* frmCategories::AddItem(QMenu& menu, const QString& caption, const char* name,
                                void (frmCategories::*act)()) {
  QAction* item = menu.addAction(caption, this, act);
  item->setObjectName(QString::fromLatin1(name));
  return item;
}

void frmCategories::SetUpMenus() {
  mnuPopEvtGrp_ = new QMenu(this);
  mnuPopEvtGrp_->setObjectName(QStringLiteral("mnuPopEvtGrp"));
  mnuPopNewEvtGrp_ = AddItem(*mnuPopEvtGrp_, tr("New"), "mnuPopNewEvtGrp", &frmCategories::Create);
  mnuPopEditEvtGrp_ = AddItem(*mnuPopEvtGrp_, tr("Edit"), "mnuPopEditEvtGrp", &frmCategories::Edit);
  mnuPopRemEvtGrp_ = AddItem(*mnuPopEvtGrp_, tr("Remove"), "mnuPopRemEvtGrp", &frmCategories::Delete);
  mnuPopEvtDet_ = new QMenu(this);
  mnuPopEvtDet_->setObjectName(QStringLiteral("mnuPopEvtDet"));
  mnuPopNewEvtDet_ = AddItem(*mnuPopEvtDet_, tr("New"), "mnuPopNewEvtDet", &frmCategories::AddTraps);
  mnuPopEditEvtDet_ = AddItem(*mnuPopEvtDet_, tr("Edit"), "mnuPopEditEvtDet", &frmCategories::EditTrap);
  mnuPopRemEvtDet_ = AddItem(*mnuPopEvtDet_, tr("Remove"), "mnuPopRemEvtDet", &frmCategories::RemoveTrap);
  connect(ui_->tvEvtGrps, &QWidget::customContextMenuRequested, this, &frmCategories::PopUpTree);
  connect(ui_->lvEvtDetails, &QWidget::customContextMenuRequested, this, &frmCategories::PopUpList);
}

void frmCategories::PopUpTree(const QPoint& position) {
  const bool overNode = ui_->tvEvtGrps->indexAt(position).isValid();
  mnuPopEditEvtGrp_->setEnabled(overNode);
  mnuPopRemEvtGrp_->setEnabled(overNode);
  mnuPopEvtGrp_->popup(ui_->tvEvtGrps->viewport()->mapToGlobal(position));
}

void frmCategories::PopUpList(const QPoint& position) {
  const QModelIndex cell = ui_->lvEvtDetails->indexAt(position);
  const bool overRow = cell.isValid();
  if (overRow) {
    // What the menu is about, when several rows are selected.
    ui_->lvEvtDetails->selectRow(cell.row());
  }
  mnuPopNewEvtDet_->setEnabled(form_.Selected().has_value());
  mnuPopEditEvtDet_->setEnabled(overRow);
  mnuPopRemEvtDet_->setEnabled(overRow);
  mnuPopEvtDet_->popup(ui_->lvEvtDetails->viewport()->mapToGlobal(position));
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
  frmTrpCatWiz wizard(task, transaction, services_.Names, services_.Prompt, this);
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

std::optional<int> frmCategories::SelectedRow() const {
  const auto ranges = SelectedRanges(*ui_->lvEvtDetails);
  return ranges.size() == 1 && ranges.front().first == ranges.front().second
             ? std::optional(ranges.front().first)
             : std::nullopt;
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

void frmCategories::ReportNames() {
  if (const auto error = form_.TakeNamesError()) {
    services_.Prompt.Show(*error, PromptIcon::Critical);
  }
}

bool frmCategories::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() == QEvent::KeyPress) {
    const auto& key = *static_cast<QKeyEvent*>(event);
    const Qt::KeyboardModifiers modifiers = key.modifiers() & ~Qt::KeypadModifier;
    if (modifiers == Qt::NoModifier &&
        (watched == ui_->tvEvtGrps ? TreeKey(key.key()) : ListKey(key.key()))) {
      return true;
    }
  }
  return QDialog::eventFilter(watched, event);
}

// Enter is taken in any case: it must not reach OK from a list.
bool frmCategories::TreeKey(int key) {
  switch (key) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
    case Qt::Key_F2:
      Edit();
      return true;
    case Qt::Key_Insert:
      Create();
      return true;
    case Qt::Key_Delete:
      Delete();
      return true;
    default:
      return false;
  }
}

bool frmCategories::ListKey(int key) {
  switch (key) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
    case Qt::Key_F2:
      EditTrap();
      return true;
    case Qt::Key_Insert:
      AddTraps();
      return true;
    case Qt::Key_Delete:
      RemoveTrap();
      return true;
    default:
      return false;
  }
}

void frmCategories::accept() {
  if (form_.Ok()) {
    QDialog::accept();
  }
}

void frmCategories::reject() {
  if (form_.Cancel()) {
    QDialog::reject();
  }
}

void frmCategories::closeEvent(QCloseEvent* event) {
  form_.CloseBox();
  if (isVisible()) {
    done(Rejected);
  }
  event->accept();
}

void frmCategories::done(int result) {
  services_.Settings.SaveSetting(platform::kSettingsSection, kPlaceSetting,
                                 NumberListText(std::array{width(), height(), ui_->panes->Position()}));
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
