#include "reports/frmReport.h"

#include <QLabel>
#include <utility>

#include "common/Translation.h"
#include "common/qt/Caption.h"
#include "common/qt/ListHabits.h"
#include "common/qt/NoticeBar.h"
#include "common/qt/QtText.h"
#include "common/qt/StatusText.h"
#include "params/ParametersLists.h"
#include "reports/frmSetReport.h"
#include "traplist/PrintedReport.h"
#include "traps/FindBar.h"
#include "traps/ListTools.h"
#include "traps/TrapsList.h"
#include "traps/TrapsModel.h"
#include "traps/frmTrapDetail.h"
#include "ui_frmReport.h"

namespace korvane::reports {
namespace {

constexpr std::string_view kReportWidthsSetting = "ReportColumnWidths";
// How long the window is held up by rows that arrive before it paints and listens again.
constexpr std::chrono::milliseconds kTakingTurn{15};
// A list that fills its screen many times over grows in fewer and larger steps: each one paints the screen.
constexpr std::size_t kLongList = 20'000;
constexpr std::chrono::milliseconds kLongListTurn{30};

}  // namespace

frmReport::frmReport(ReportServices& services, intake::ViewWindows& windows,
                     params::ReportParameters parameters, QWidget* parent)
    : QWidget(parent),
      services_(services),
      windows_(windows),
      model_(services, std::move(parameters), ModelEvents()),
      table_(model_.Rows(), services.Desk.State, traplist::SourceShown::SystemName),
      ui_(std::make_unique<Ui::frmReport>()) {
  ui_->setupUi(this);
  SetCaption(*this, model_.Parameters().Window.WindowName);
  selectedTrap_ = AddStatusText(*ui_->sbTrapsInfo, QStringLiteral("lblSelectedTrap"));
  totalTraps_ = AddStatusText(*ui_->sbTrapsInfo, QStringLiteral("lblTotalTraps"));
  filters_ = AddStatusText(*ui_->sbTrapsInfo, QStringLiteral("lblFilters"));
  list_ = std::make_unique<traps::TrapsList>(*ui_->lvTraps, table_, services.Desk.Settings,
                                             std::string(kReportWidthsSetting), EmptyText(),
                                             traps::TrapsList::Kind::Report);
  tools_ = std::make_unique<traps::ListTools>(*ui_->lvTraps, table_, *list_, services.Desk, *this);
  ui_->rows->insertWidget(ui_->rows->indexOf(ui_->lvTraps) + 1, tools_->Bar());
  setFocusProxy(ui_->lvTraps);
  notice_ = new NoticeBar(tr("Load Again"), this);
  ui_->rows->insertWidget(0, notice_);
  table_.UseAcknowledgers(model_.Acknowledgers());
  model_.UseListener(&table_);
  turn_.setSingleShot(true);

  connect(&turn_, &QTimer::timeout, this, &frmReport::TakeTurn);
  connect(notice_, &NoticeBar::WayOutTaken, this, &frmReport::Reset);
  connect(list_.get(), &traps::TrapsList::SelectionMoved, this, &frmReport::UpdateStatusBar);
  connect(list_.get(), &traps::TrapsList::Activated, this, &frmReport::ShowTrapDetail);
  connect(list_.get(), &traps::TrapsList::ContextMenuRequested, this, &frmReport::ContextMenuRequested);
  connect(&table_, &traps::TrapsTableModel::BatchChanged, this, &frmReport::UpdateStatusBar);
  ShowState();
}

frmReport::~frmReport() {
  model_.UseListener(nullptr);
}

ReportModel::Events frmReport::ModelEvents() {
  return {
      .BatchesReady =
          [this] { QMetaObject::invokeMethod(&turn_, qOverload<>(&QTimer::start), Qt::QueuedConnection); },
      .StateChanged = [this] { ShowState(); }};
}

bool frmReport::IsLong() const {
  return model_.Rows().Count() >= kLongList;
}

void frmReport::TakeTurn() {
  if (model_.TakeBatches(IsLong() ? kLongListTurn : kTakingTurn)) {
    turn_.start(0);
  }
}

QString frmReport::EmptyText() const {
  switch (model_.State()) {
    case ReportState::NotLoaded:
    case ReportState::Loading:
      return tr("Loading…");
    case ReportState::Complete:
      switch (model_.Emptiness()) {
        case traplist::WhyEmpty::Hidden:
          return tr("All that this report would show is hidden by filters");
        case traplist::WhyEmpty::NotSelected:
          return tr("No trap in this time range is what this report selects");
        default:
          return tr("No traps in this time range");
      }
    case ReportState::Stopped:
    case ReportState::Failed:
      break;
  }
  return tr("No traps were loaded");
}

void frmReport::ShowState() {
  notice_->Say(ToVisibleQString(model_.Notice(GroupedNumber)), model_.State() == ReportState::Failed
                                                                   ? MessagePicture::Exclamation
                                                                   : MessagePicture::Information);
  SetEmptyText(*ui_->lvTraps, EmptyText());
  table_.SetLoading(model_.State() == ReportState::Loading);
  UpdateStatusBar();
}

void frmReport::Reset() {
  model_.Reset();
}

void frmReport::UpdateStatusBar() {
  const auto selected = list_->SelectedPosition();
  selectedTrap_->setText(ToQString(traps::TrapsModel::SelectedTrapText(
      selected ? static_cast<std::size_t>(*selected) + 1 : 0, GroupedNumber)));
  totalTraps_->setText(ToQString(model_.TotalTrapsText(GroupedNumber)));
  filters_->setText(ToQString(params::FiltersInForceText(model_.FiltersInForce())));
}

void frmReport::ShowTrapDetail() {
  if (model_.Rows().Empty()) {
    services_.Desk.Prompt.Show(Translated(traps::kNoTrapsInWindow), PromptIcon::Information);
    return;
  }
  // A report shows what was, settled or not: nothing is acknowledged from there.
  traps::ShowTrapDetailDialog({services_.Desk, services_.Connection, windows_, {}, replaced_}, table_, *list_,
                              this);
}

void frmReport::ShowWindowParameters() {
  params::ReportParameters shown = model_.Parameters();
  shown.Window.Mode = params::kModeShowParameters;
  shown.Window.Cancelled = true;
  params::StoredParametersLists lists(services_.Connection, services_.Names);
  frmSetReport(shown, lists, services_.Desk.Prompt, services_.Desk.Clock, services_.Desk.State.gTimeZoneBias,
               this)
      .exec();
}

void frmReport::Printable() {
  table_.FinishSorting();
  services_.Printer.Print(CaptionOf(*this), table_.Shown());
}

void frmReport::Custom_Activate() {
  UpdateStatusBar();
}

void frmReport::ApplyChange(const store::Change& change) {
  if (!replaced_) {
    model_.ApplyChange(change);
  }
}

void frmReport::NotesSaved(std::int32_t sequenceNumber, std::string_view notes) {
  if (replaced_) {
    return;
  }
  model_.NotesSaved(sequenceNumber, notes);
}

}  // namespace korvane::reports
