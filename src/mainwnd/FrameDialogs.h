// The frame window's dialogs: puts together what each is given, runs it, and carries its consequences to the
// open windows.  Owned by the frame; user-interface thread only.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string_view>

#include "alerts/AlertServices.h"
#include "categories/CategoryServices.h"
#include "help/frmHelp.h"
#include "mainwnd/FrameServices.h"
#include "params/ReportParameters.h"
#include "params/WindowParameters.h"
#include "params/frmFilters.h"
#include "store/ChangeLog.h"

class QDialog;
class QWidget;

namespace korvane::mainwnd {

class FrameDialogs : private params::FilteredWindows, private categories::CategorisedWindows {
 public:
  // reload: counts and lists once more, after what hides or grades traps was changed.
  // repaint: of the windows that show traps, at once.
  FrameDialogs(QWidget& frame, const FrameServices& services, std::function<void()> reload,
               std::function<void()> repaint);
  ~FrameDialogs() override;

  // Nothing when it was cancelled.
  std::optional<params::WindowParameters> AskForNewWindow();
  std::optional<params::ReportParameters> AskForReport();

  void EditFilters();
  void EditAlerts();
  void Configure();
  void ManageCategories();
  void ExportCategories();
  void ImportCategories();
  void ShowAbout();
  // Tells the dialog that is open on it.
  void Changed(const store::Change& change);
  // failure: what is said when there is no help.
  void ShowHelp(std::string_view failure);
  void CloseHelp();

 private:
  void Run(QDialog&& dialog);
  void FiltersChanged() override;
  void CategoriesChanged() override;
  categories::CategoryServices ForCategories();

  QWidget& frame_;
  const FrameServices& services_;
  std::function<void()> reload_;
  std::function<void()> repaint_;
  bool signalFailureTold_ = false;  // by the Alerts window
  // Has no parent, so that the frame can be brought before it and dialogs of the frame leave it readable.
  std::unique_ptr<help::frmHelp> help_;
};

}  // namespace korvane::mainwnd
