#include "traps/frmTraps.h"

#include <QCloseEvent>
#include <QLabel>
#include <utility>

#include "common/Translation.h"
#include "common/qt/Caption.h"
#include "common/qt/ListHabits.h"
#include "common/qt/NoticeBar.h"
#include "common/qt/QtText.h"
#include "common/qt/StatusText.h"
#include "params/ParametersLists.h"
#include "params/frmNewWindParams.h"
#include "traplist/PrintedReport.h"
#include "traps/Acknowledging.h"
#include "traps/FindBar.h"
#include "traps/ListTools.h"
#include "traps/TrapsList.h"
#include "traps/frmTrapDetail.h"
#include "ui_frmTraps.h"

namespace korvane::traps {
namespace {

constexpr std::string_view kTrapsWidthsSetting = "TrapsColumnWidths";
constexpr std::string_view kTrapsSortingSetting = "TrapsSorting";

}  // namespace

frmTraps::frmTraps(TrapsServices& services, intake::ViewWindows& windows, WindowKind kind,
                   params::WindowParameters parameters, const intake::System* system, QWidget* parent)
    : QWidget(parent),
      services_(services),
      windows_(windows),
      model_(services, windows, kind, std::move(parameters), system),
      table_(model_.Rows(), services.Desk.State, traplist::SourceShown::SourceText),
      ui_(std::make_unique<Ui::frmTraps>()) {
  ui_->setupUi(this);
  SetCaption(*this, model_.Parameters().WindowName);
  maximumTraps_ = AddStatusText(*ui_->sbTrapsInfo, QStringLiteral("lblMaximumTraps"));
  selectedTrap_ = AddStatusText(*ui_->sbTrapsInfo, QStringLiteral("lblSelectedTrap"));
  totalTraps_ = AddStatusText(*ui_->sbTrapsInfo, QStringLiteral("lblTotalTraps"));
  filters_ = AddStatusText(*ui_->sbTrapsInfo, QStringLiteral("lblFilters"));
  list_ = std::make_unique<TrapsList>(*ui_->lvTraps, table_, services.Desk.Settings,
                                      std::string(kTrapsWidthsSetting), EmptyText());
  KeepSorting(*ui_->lvTraps, services.Desk.Settings, std::string(kTrapsSortingSetting));
  notice_ = new NoticeBar(tr("Load Again"), this);
  ui_->rows->insertWidget(0, notice_);
  tools_ = std::make_unique<ListTools>(*ui_->lvTraps, table_, *list_, services.Desk, *this);
  ui_->rows->insertWidget(ui_->rows->indexOf(ui_->lvTraps) + 1, tools_->Bar());
  setFocusProxy(ui_->lvTraps);
  model_.UseListener(&table_);

  connect(notice_, &NoticeBar::WayOutTaken, this, &frmTraps::Reset);
  connect(list_.get(), &TrapsList::SelectionMoved, this, &frmTraps::ShowStatus);
  connect(list_.get(), &TrapsList::Activated, this, &frmTraps::ShowTrapDetail);
  connect(list_.get(), &TrapsList::ContextMenuRequested, this, &frmTraps::ContextMenuRequested);
  connect(&table_, &TrapsTableModel::BatchChanged, this, &frmTraps::ShowState);
  ShowState();
}

frmTraps::~frmTraps() {
  model_.UseListener(nullptr);
}

void frmTraps::RepaintNow() {
  ui_->lvTraps->viewport()->repaint();
}

void frmTraps::PublicAddTraps(const store::IncomingTrap& trap) {
  model_.PublicAddTraps(trap);
}

void frmTraps::UpdateStatusBar() {
  model_.UpdateStatusBar();
  ShowState();
}

void frmTraps::StoreReplaced() {
  model_.StoreReplaced();
  list_->ForgetTraps();
}

QString frmTraps::EmptyText() const {
  using traplist::WhyEmpty;
  switch (model_.Emptiness()) {
    case WhyEmpty::NotLoaded:
      return tr("Not loaded");
    case WhyEmpty::Hidden:
      return tr("All that this window would show is hidden by filters");
    case WhyEmpty::NotSelected:
      return tr("No unacknowledged trap is what this window selects");
    case WhyEmpty::NoneEver:
      return tr("No traps yet") + QStringLiteral("\n\n") + ToQString(services_.HowToSend);
    case WhyEmpty::NoNewTraps:
      return tr("No new traps yet");
    case WhyEmpty::NoTraps:
      break;
  }
  return tr("No unacknowledged traps");
}

// Empty: nothing is.
QString frmTraps::WhatIsMissing() const {
  if (const QString failure = ToVisibleQString(model_.LoadFailure()); !failure.isEmpty()) {
    return tr("These traps could not be loaded, and are as soon as the store can be read: %1").arg(failure);
  }
  switch (model_.Stopped()) {
    case LoadStop::Part:
      return tr("Loading was stopped: only a part of the stored traps is shown, and what has come since.");
    case LoadStop::Kept:
      return tr("Loading was stopped: the traps of before are shown, and what has come since.");
    case LoadStop::None:
      break;
  }
  return {};
}

void frmTraps::ShowState() {
  notice_->Say(WhatIsMissing(), MessagePicture::Exclamation);
  SetEmptyText(*ui_->lvTraps, EmptyText());
  ShowStatus();
}

void frmTraps::ShowStatus() {
  const auto selected = list_->SelectedPosition();
  maximumTraps_->setText(ToQString(model_.MaximumTrapsText(GroupedNumber)));
  selectedTrap_->setText(ToQString(
      TrapsModel::SelectedTrapText(selected ? static_cast<std::size_t>(*selected) + 1 : 0, GroupedNumber)));
  totalTraps_->setText(ToQString(model_.TotalTrapsText(GroupedNumber)));
  filters_->setText(ToQString(params::FiltersInForceText(services_.Filters.Filters().size())));
}

void frmTraps::Reset() {
  model_.Reset();
}

void frmTraps::AcknowledgeTrap() {
  model_.AcknowledgeSelected(list_->SelectedRows());
}

bool frmTraps::HasTraps() {
  if (!model_.Rows().Empty()) {
    return true;
  }
  services_.Desk.Prompt.Show(Translated(kNoTrapsInWindow), PromptIcon::Information);
  return false;
}

void frmTraps::ShowTrapDetail() {
  if (!HasTraps()) {
    return;
  }
  const auto acknowledge = [this](const store::TrapKey& trap, std::string_view ofSystem) {
    return AcknowledgeOne(services_, trap, ofSystem);
  };
  ShowTrapDetailDialog({services_.Desk, services_.Connection, windows_, acknowledge, false}, table_, *list_,
                       this);
}

void frmTraps::Printable() {
  if (HasTraps()) {
    services_.Printer.Print(CaptionOf(*this), table_.Shown());
  }
}

void frmTraps::ShowWindowParameters() {
  params::WindowParameters shown = model_.Parameters();
  shown.Mode = params::kModeShowParameters;
  shown.Cancelled = true;
  params::StoredParametersLists lists(services_.Connection, services_.Names);
  params::frmNewWindParams dialog(shown, lists, services_.Desk.Prompt, this);
  dialog.exec();
}

void frmTraps::Custom_Activate() {
  ShowStatus();
}

void frmTraps::NotesSaved(std::int32_t sequenceNumber, std::string_view notes) {
  model_.NotesSaved(sequenceNumber, notes);
}

void frmTraps::TrapsAcknowledged(std::span<const store::TrapSelection> traps) {
  model_.RemoveAcknowledged(traps);
}

void frmTraps::closeEvent(QCloseEvent* event) {
  if (!model_.MayClose()) {
    event->ignore();
    return;
  }
  if (model_.AsksOnClosing()) {
    model_.Close();
  }
  event->accept();
}

}  // namespace korvane::traps
