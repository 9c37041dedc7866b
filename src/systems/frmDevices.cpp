#include "systems/frmDevices.h"

#include <QHeaderView>
#include <QItemSelectionModel>
#include <QKeySequence>
#include <QLabel>
#include <QShortcut>
#include <QStatusBar>
#include <QTimer>
#include <algorithm>
#include <iterator>
#include <string>

#include "common/Translation.h"
#include "common/qt/ColumnWidths.h"
#include "common/qt/CountPillDelegate.h"
#include "common/qt/KorvaneStyle.h"
#include "common/qt/ListHabits.h"
#include "common/qt/QtText.h"
#include "common/qt/StatusText.h"
#include "systems/SystemsTableModel.h"
#include "ui_frmDevices.h"

namespace korvane::systems {
namespace {

constexpr std::string_view kSortingSetting = "SystemsSorting";
constexpr int kCheckTrapsMilliseconds = 3000;
// In a storm the list is looked at again as soon as the windows are painted, and this often when it is empty.
constexpr int kLookAgainMilliseconds = 30;
constexpr int kLooksAfterAStorm = 10;
constexpr int kResolveMilliseconds = 4000;
constexpr int kLeastNameWidth = 190;
constexpr int kMostNameWidth = 380;
constexpr int kLeastAddressWidth = 150;
constexpr int kMostAddressWidth = 290;  // the longest IPv6 address
constexpr int kCountWidth = 88;

// The status texts that lead to what they count.
struct TotalText {
  std::size_t Text;
  std::optional<std::int32_t> Severity;  // none: any
  std::string_view Hint;
};
constexpr TotalText kTotals[] = {
    {1, 5, Translatable("Select the next system that has critical traps, those with news first")},
    {2, 4, Translatable("Select the next system that has warnings, those with news first")},
    {3, 3, Translatable("Select the next system that has major traps, those with news first")},
    {4, {}, Translatable("Select the next system that has traps, those with news first")}};

}  // namespace

frmDevices::frmDevices(SystemsModel& model, Desk& desk, const params::TrapFilters& filters,
                       intake::ViewWindows& windows, QWidget* parent)
    : QWidget(parent),
      model_(model),
      desk_(desk),
      filters_(filters),
      windows_(windows),
      ui_(std::make_unique<Ui::frmDevices>()),
      table_(new SystemsTableModel(model, this)) {
  ui_->setupUi(this);
  setFocusProxy(ui_->lvDevices);
  SetUpList();
  SetUpStatusBar();
  SetUpTimers();
}

frmDevices::~frmDevices() = default;

void frmDevices::SetUpList() {
  QTableView& list = *ui_->lvDevices;
  StyleTable(list);
  list.setModel(table_);
  for (std::size_t i = 0; i < kCountColumnSeverities.size(); ++i) {
    list.setItemDelegateForColumn(static_cast<int>(kFirstCountColumn + i),
                                  new CountPillDelegate(kCountColumnSeverities[i], &list));
  }
  KeepSorting(list, desk_.Settings, std::string(kSortingSetting));
  widths_ = std::make_unique<ColumnWidths>(list, desk_.Settings, "SystemsColumnWidths",
                                           static_cast<int>(kSystemsCaptions.size()));
  FillWidth();
  list.viewport()->installEventFilter(this);
  SetEmptyText(list, EmptyText());
  CopyRowsByShortcut(list);
  SortByShortcuts(list);

  connect(&list, &QTableView::customContextMenuRequested, this, &frmDevices::RequestPopUp);
  connect(&list, &QTableView::doubleClicked, this, &frmDevices::ShowPerDeviceWindow);
  for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Enter}) {
    auto* open = new QShortcut(QKeySequence(key), &list);
    open->setContext(Qt::WidgetShortcut);
    connect(open, &QShortcut::activated, this, &frmDevices::ShowPerDeviceWindow);
  }
  // A click on the row that is selected already is a look at its news as well.
  connect(&list, &QTableView::clicked, this, &frmDevices::ClearNewsOfSelection);
  connect(list.selectionModel(), &QItemSelectionModel::selectionChanged, this,
          &frmDevices::ClearNewsOfSelection);
  connect(table_, &QAbstractItemModel::modelAboutToBeReset, this, &frmDevices::KeepSelection);
  connect(table_, &QAbstractItemModel::modelReset, this, &frmDevices::RestoreSelection);
}

void frmDevices::SetUpStatusBar() {
  QStatusBar& bar = *ui_->sbDevicesInfo;
  for (std::size_t i = 0; i < showStatusText_.size(); ++i) {
    const QString name = QStringLiteral("sbDevicesInfoText%1").arg(i + 1);
    const auto* total = std::ranges::find(kTotals, i, &TotalText::Text);
    if (total == std::end(kTotals)) {
      QLabel* label = AddStatusText(bar, name);
      showStatusText_[i] = [label](const QString& text) { label->setText(text); };
      continue;
    }
    StatusButton* button = AddStatusButton(bar, name, ToQString(Translated(total->Hint)));
    connect(button, &QAbstractButton::clicked, this,
            [this, severity = total->Severity] { SelectNext(severity); });
    showStatusText_[i] = [button](const QString& text) { button->setText(text); };
  }
  filtersLabel_ = AddStatusText(bar, QStringLiteral("lblFilters"));
  connect(table_, &SystemsTableModel::StatusTextsChanged, this, &frmDevices::ShowStatus);
  ShowStatus();
}

void frmDevices::SetUpTimers() {
  tmrCheckTraps_ = new QTimer(this);
  tmrCheckTraps_->setObjectName(QStringLiteral("tmrCheckTraps"));
  tmrResolve_ = new QTimer(this);
  tmrResolve_->setObjectName(QStringLiteral("tmrResolve"));
  connect(tmrCheckTraps_, &QTimer::timeout, this, &frmDevices::TickTraps);
  connect(tmrResolve_, &QTimer::timeout, this, &frmDevices::TickResolve);
  tmrMoreTraps_ = new QTimer(this);
  tmrMoreTraps_->setSingleShot(true);
  connect(tmrMoreTraps_, &QTimer::timeout, this, &frmDevices::TakeMoreTraps);
  tmrCheckTraps_->start(kCheckTrapsMilliseconds);
  tmrResolve_->start(kResolveMilliseconds);
}

void frmDevices::Load() {
  model_.Load();
}

void frmDevices::Reset() {
  model_.Reset();
}

void frmDevices::Custom_Activate() {
  model_.RefreshStatus();
}

void frmDevices::StopTimers() {
  tmrMoreTraps_->stop();
  tmrCheckTraps_->stop();
  tmrResolve_->stop();
}

void frmDevices::RepaintNow() {
  repaint();
}

void frmDevices::TickTraps() {
  table_->KeepPlaces(OperatorReads());
  emptyLooks_ = kLooksAfterAStorm;
  FollowStorm(model_.CheckTraps());
}

void frmDevices::TakeMoreTraps() {
  table_->KeepPlaces(OperatorReads());
  FollowStorm(model_.TakeMoreTraps());
}

// A list that is drained as fast as it fills is never so long that draining it holds up the windows.
void frmDevices::FollowStorm(bool more) {
  emptyLooks_ = more ? 0 : emptyLooks_ + 1;
  if (emptyLooks_ < kLooksAfterAStorm) {
    tmrMoreTraps_->start(more ? 0 : kLookAgainMilliseconds);
  }
}

void frmDevices::TickResolve() {
  model_.ResolveNames();
}

bool frmDevices::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() == QEvent::Resize) {
    FillWidth();
  }
  return QWidget::eventFilter(watched, event);
}

// The rows fill the list until the operator has set a column: names and addresses take what they can use of
// the room, the counts share the rest.
void frmDevices::FillWidth() {
  if (widths_->ByHand()) {
    return;
  }
  const auto counts = static_cast<int>(kCountColumnSeverities.size());
  const int room =
      ui_->lvDevices->viewport()->width() - kLeastNameWidth - kLeastAddressWidth - counts * kCountWidth;
  const int forName = std::clamp(room, 0, kMostNameWidth - kLeastNameWidth);
  const int forAddress = std::clamp(room - forName, 0, kMostAddressWidth - kLeastAddressWidth);
  const int forCounts = std::max(0, room - forName - forAddress);
  std::vector<int> widths = {kLeastNameWidth + forName, kLeastAddressWidth + forAddress};
  for (int i = 0; i < counts; ++i) {
    const int share = forCounts * (i + 1) / counts - forCounts * i / counts;
    widths.push_back(kCountWidth + share);
  }
  widths_->Set(widths);
}

// Whoever points into the list, or works in it by keyboard with a row selected, must find the row where it
// is.
bool frmDevices::OperatorReads() const {
  const QTableView& list = *ui_->lvDevices;
  return list.viewport()->underMouse() || (list.hasFocus() && list.selectionModel()->hasSelection());
}

void frmDevices::ShowStatus() {
  const auto texts = model_.StatusTexts(GroupedNumber);
  for (std::size_t i = 0; i < texts.size(); ++i) {
    showStatusText_[i](ToQString(texts[i]));
  }
  filtersLabel_->setText(ToQString(params::FiltersInForceText(filters_.Filters().size())));
  SetEmptyText(*ui_->lvDevices, EmptyText());
}

void frmDevices::SayHowToSend(const std::string& words) {
  howToSend_ = ToQString(words);
  SetEmptyText(*ui_->lvDevices, EmptyText());
}

QString frmDevices::EmptyText() const {
  switch (model_.WhyNoRows()) {
    case NoRows::NotLoaded:
      return tr("Not loaded");
    case NoRows::NoneEver:
      return tr("No traps from any system yet") + QStringLiteral("\n\n") + howToSend_;
    case NoRows::NoNewTraps:
      return tr("No new traps from any system yet");
    case NoRows::Hidden:
      return tr("All unacknowledged traps are hidden by filters");
    case NoRows::NoTraps:
      break;
  }
  return tr("No unacknowledged traps from any system");
}

// The list has the keyboard afterwards: Enter opens the system's window.
void frmDevices::SelectNext(std::optional<std::int32_t> severity) {
  QTableView& list = *ui_->lvDevices;
  const QModelIndex current = list.selectionModel()->hasSelection() ? list.currentIndex() : QModelIndex();
  const QModelIndex next = table_->NextWithTraps(current.row(), severity);
  if (next.isValid()) {
    list.selectionModel()->setCurrentIndex(next,
                                           QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    list.scrollTo(next);
    list.setFocus();
  }
}

void frmDevices::ClearNewsOfSelection() {
  if (restoring_) {
    return;
  }
  for (const QItemSelectionRange& range : ui_->lvDevices->selectionModel()->selection()) {
    for (int place = range.top(); place <= range.bottom(); ++place) {
      model_.OperatorSawRow(table_->RowOf(table_->index(place, 0)));
    }
  }
}

void frmDevices::KeepSelection() {
  const QItemSelectionModel& selection = *ui_->lvDevices->selectionModel();
  selectedBefore_.clear();
  for (const QItemSelectionRange& range : selection.selection()) {
    for (int place = range.top(); place <= range.bottom(); ++place) {
      selectedBefore_.push_back(SystemAt(table_->index(place, 0)));
    }
  }
  currentBefore_ = SystemAt(selection.currentIndex());
  topBefore_ = SystemAt(ui_->lvDevices->indexAt({0, 0}));
}

// The same systems stay selected, and where the operator was stays in view; that is no new look at their
// news.
void frmDevices::RestoreSelection() {
  restoring_ = true;
  QTableView& list = *ui_->lvDevices;
  QItemSelection selected;
  for (const intake::System* system : selectedBefore_) {
    if (const QModelIndex index = IndexOf(system); index.isValid()) {
      selected.select(index, index);
    }
  }
  list.selectionModel()->select(selected, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
  list.selectionModel()->setCurrentIndex(IndexOf(currentBefore_), QItemSelectionModel::NoUpdate);
  list.doItemsLayout();  // the scroll bar learns of the rows only then
  if (const QModelIndex top = IndexOf(topBefore_); top.isValid()) {
    list.scrollTo(top, QAbstractItemView::PositionAtTop);
  }
  restoring_ = false;
}

const intake::System* frmDevices::SystemAt(const QModelIndex& index) const {
  return index.isValid() ? &model_.SystemOfRow(table_->RowOf(index)) : nullptr;
}

// Invalid for null and for a system without a row.
QModelIndex frmDevices::IndexOf(const intake::System* system) const {
  const auto row = system != nullptr ? model_.RowOfSystem(*system) : std::nullopt;
  return row ? table_->IndexOf(*row) : QModelIndex();
}

const intake::System* frmDevices::SelectedSystem() const {
  const QItemSelectionModel& selection = *ui_->lvDevices->selectionModel();
  const QModelIndex current = selection.currentIndex();
  if (current.isValid() && selection.isRowSelected(current.row())) {
    return SystemAt(current);
  }
  const QItemSelection ranges = selection.selection();
  return ranges.isEmpty() ? nullptr : SystemAt(table_->index(ranges.first().top(), 0));
}

void frmDevices::ShowPerDeviceWindow() {
  const intake::System* system = SelectedSystem();
  if (system == nullptr) {
    return;
  }
  if (const auto row = model_.RowOfSystem(*system)) {
    model_.OperatorSawRow(*row);
  }
  windows_.OpenSystemTraps(*system);
}

// A click beside the rows means no system; the menu key means the row it was pressed on.
void frmDevices::RequestPopUp(const QPoint& position) {
  QTableView& list = *ui_->lvDevices;
  const bool byMouse = list.viewport()->rect().contains(position) && !list.indexAt(position).isValid();
  if (byMouse) {
    list.clearSelection();
  }
  Q_EMIT PopUpMenuRequested(list.viewport()->mapToGlobal(position), SelectedSystem());
}

}  // namespace korvane::systems
