#include "mainwnd/FrameDialogs.h"

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

namespace korvane::mainwnd {

FrameDialogs::FrameDialogs(QWidget& frame, const FrameServices& services, std::function<void()> reload,
                           std::function<void()> repaint)
    : frame_(frame), services_(services), reload_(std::move(reload)), repaint_(std::move(repaint)) {}

FrameDialogs::~FrameDialogs() = default;

std::optional<params::WindowParameters> FrameDialogs::AskForNewWindow() {
  params::WindowParameters parameters;
  parameters.Mode = params::kModeNewWindow;
  params::frmNewWindParams(parameters, services_.Lists, services_.View.Prompt, &frame_).exec();
  return parameters.Cancelled ? std::nullopt : std::optional(std::move(parameters));
}

std::optional<params::ReportParameters> FrameDialogs::AskForReport() {
  params::ReportParameters parameters;
  parameters.Window.Mode = params::kModeNewWindow;
  reports::frmSetReport(parameters, services_.Lists, services_.View.Prompt, services_.View.Clock,
                        services_.View.State.gTimeZoneBias, &frame_)
      .exec();
  return parameters.Window.Cancelled ? std::nullopt : std::optional(std::move(parameters));
}

void FrameDialogs::EditFilters() {
  params::frmFilters({.Connection = services_.View.Connection,
                      .Names = services_.View.Names,
                      .Filters = services_.Filters,
                      .Prompt = services_.View.Prompt,
                      .Busy = services_.View.Busy,
                      .Settings = services_.View.Settings,
                      .Windows = *this},
                     &frame_)
      .exec();
}

void FrameDialogs::FiltersChanged() {
  reload_();
}

void FrameDialogs::EditAlerts() {
  alerts::frmAlerts({.Connection = services_.View.Connection,
                     .Names = services_.View.Names,
                     .Prompt = services_.View.Prompt,
                     .Registry = services_.Registry,
                     .Settings = services_.View.Settings,
                     .Library = services_.View.Library},
                    &frame_)
      .exec();
}

void FrameDialogs::Configure() {
  config::frmConfig({.Registry = services_.Registry,
                     .Services = services_.Services,
                     .Clock = services_.View.Clock,
                     .Prompt = services_.View.Prompt,
                     .Busy = services_.View.Busy},
                    &frame_)
      .exec();
}

categories::CategoryServices FrameDialogs::ForCategories() {
  return {.Shared = services_.View.Connection,
          .OpenConnection = services_.View.OpenConnection,
          .Names = services_.View.Names,
          .Categories = services_.View.Categories,
          .Prompt = services_.View.Prompt,
          .Busy = services_.View.Busy,
          .Clock = services_.View.Clock,
          .Settings = services_.View.Settings,
          .Windows = *this};
}

void FrameDialogs::ManageCategories() {
  categories::frmCategories(ForCategories(), &frame_).exec();
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

void FrameDialogs::ShowAbout() {
  frmAbout(services_.Registry, &frame_).exec();
}

void FrameDialogs::ShowHelp(std::string_view failure) {
  if (!help_) {
    help_ = std::make_unique<frmHelp>(services_.View.Settings);
  }
  if (!help_->ShowContents(services_.View.InstallPath + "/" + std::string(kHelpFile))) {
    services_.View.Prompt.Show(failure, PromptIcon::Critical);
  }
}

void FrameDialogs::CloseHelp() {
  help_.reset();
}

}  // namespace korvane::mainwnd
