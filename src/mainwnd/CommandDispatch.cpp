#include "mainwnd/CommandDispatch.h"

#include "common/OpenForms.h"

namespace korvane::mainwnd {
namespace {

bool Accepts(ActiveWindow needed, std::string_view formName) {
  switch (needed) {
    case ActiveWindow::NotAsked:
    case ActiveWindow::Any:
      return true;
    case ActiveWindow::Traps:
      return formName == kTrapsFormName;
    case ActiveWindow::TrapsOrReport:
      return formName == kTrapsFormName || formName == kReportFormName;
  }
  return false;
}

}  // namespace

bool CommandDispatch::CheckActiveWindow(const Command& command) const {
  if (command.Needs == ActiveWindow::NotAsked) {
    return true;
  }
  const std::optional<std::string_view> active = windows_.ActiveFormName();
  if (!active) {
    prompts_.Show(command.NoWindow, PromptIcon::Information);
    return false;
  }
  if (!Accepts(command.Needs, *active)) {
    prompts_.Show(command.WrongKind, PromptIcon::Information);
    return false;
  }
  return true;
}

}  // namespace korvane::mainwnd
