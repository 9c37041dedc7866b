#include "mainwnd/FrameDialogs.h"

#include <QDialog>
#include <QWidget>
#include <string>
#include <utility>

#include "alerts/frmAlerts.h"
#include "categories/CategoryExchange.h"
#include "categories/frmCategories.h"
#include "config/frmConfig.h"
#include "mainwnd/frmAbout.h"
#include "params/frmNewWindParams.h"
#include "reports/frmSetReport.h"
#include "traps/frmTrapDetail.h"

namespace korvane::mainwnd {

FrameDialogs::FrameDialogs(QWidget& frame, const FrameServices& services, std::function<void()> reload,
                           std::function<void()> repaint)
    : frame_(frame), services_(services), reload_(std::move(reload)), repaint_(std::move(repaint)) {}

FrameDialogs::~FrameDialogs() = default;

// Whatever the dialog showed last, a message or the busy box, the keys go on to the frame.
void FrameDialogs::Run(QDialog&& dialog) {
  dialog.exec();
  frame_.activateWindow();
}

std::optional<params::WindowParameters> FrameDialogs::AskForNewWindow() {
  params::WindowParameters parameters;
  parameters.Mode = params::kModeNewWindow;
  Run(params::frmNewWindParams(parameters, services_.Lists, services_.Desk.Prompt, &frame_));
  return parameters.Cancelled ? std::nullopt : std::optional(std::move(parameters));
}

std::optional<params::ReportParameters> FrameDialogs::AskForReport() {
  params::ReportParameters parameters;
  parameters.Window.Mode = params::kModeNewWindow;
  Run(reports::frmSetReport(parameters, services_.Lists, services_.Desk.Prompt, services_.Desk.Clock,
                            services_.Desk.State.gTimeZoneBias, &frame_));
  return parameters.Window.Cancelled ? std::nullopt : std::optional(std::move(parameters));
}

void FrameDialogs::EditFilters() {
  Run(params::frmFilters({.Connection = services_.Traps.Connection,
                          .Names = services_.Traps.Names,
                          .Filters = services_.Filters,
                          .Prompt = services_.Desk.Prompt,
                          .Busy = services_.Desk.Busy,
                          .Settings = services_.Desk.Settings,
                          .Windows = *this},
                         &frame_));
}

void FrameDialogs::FiltersChanged() {
  reload_();
}

void FrameDialogs::EditAlerts() {
  Run(alerts::frmAlerts({.Connection = services_.Traps.Connection,
                         .Names = services_.Traps.Names,
                         .Prompt = services_.Desk.Prompt,
                         .Registry = services_.Registry,
                         .Settings = services_.Desk.Settings,
                         .Library = services_.Library,
                         .TimeZoneBias = services_.Desk.State.gTimeZoneBias,
                         .SignalFailureTold = signalFailureTold_},
                        &frame_));
}

void FrameDialogs::Configure() {
  Run(config::frmConfig({.Registry = services_.Registry,
                         .Services = services_.Services,
                         .Clock = services_.Desk.Clock,
                         .Prompt = services_.Desk.Prompt,
                         .Busy = services_.Desk.Busy},
                        &frame_));
}

categories::CategoryServices FrameDialogs::ForCategories() {
  return {.Shared = services_.Traps.Connection,
          .OpenConnection = services_.OpenConnection,
          .Names = services_.Traps.Names,
          .Categories = services_.Traps.Categories,
          .Prompt = services_.Desk.Prompt,
          .Busy = services_.Desk.Busy,
          .Clock = services_.Desk.Clock,
          .Settings = services_.Desk.Settings,
          .Windows = *this};
}

void FrameDialogs::ManageCategories() {
  Run(categories::frmCategories(ForCategories(), &frame_));
}

void FrameDialogs::ExportCategories() {
  categories::ExportCategories(ForCategories(), &frame_);
}

void FrameDialogs::ImportCategories() {
  categories::ImportCategories(ForCategories(), &frame_);
}

void FrameDialogs::CategoriesChanged() {
  repaint_();
  reload_();
}

void FrameDialogs::Changed(const store::Change& change) {
  using store::ChangeKind;
  const auto tell = [this]<class Dialog>(void (Dialog::*what)()) {
    if (auto* dialog = frame_.findChild<Dialog*>()) {
      (dialog->*what)();
    }
  };
  switch (change.Kind) {
    case ChangeKind::Acknowledged:
    case ChangeKind::Unacknowledged:
    case ChangeKind::Purged:
      if (auto* dialog = frame_.findChild<traps::frmTrapDetail*>()) {
        dialog->ApplyChange(change);
      }
      return;
    case ChangeKind::Filters:
      return tell(&params::frmFilters::StoreChanged);
    case ChangeKind::Categories:
      return tell(&categories::frmCategories::StoreChanged);
    case ChangeKind::Alerts:
      return tell(&alerts::frmAlerts::Reload);
    case ChangeKind::Notes:
    case ChangeKind::TrapNames:
    case ChangeKind::Unknown:
      return;
  }
}

void FrameDialogs::ShowAbout() {
  Run(frmAbout(services_.Registry, &frame_));
}

void FrameDialogs::ShowHelp(std::string_view failure) {
  if (!help_) {
    help_ = std::make_unique<help::frmHelp>(services_.Desk.Settings);
  }
  if (!help_->ShowContents(services_.InstallPath + "/" + std::string(help::kHelpFile))) {
    services_.Desk.Prompt.Show(failure, PromptIcon::Critical);
  }
}

void FrameDialogs::CloseHelp() {
  help_.reset();
}

}  // namespace korvane::mainwnd
