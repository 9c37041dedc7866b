#include "mainwnd/CommandDispatch.h"

#include "common/OpenForms.h"
#include "common/Translation.h"

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

// A command of a window's own pop-up can't be reached from elsewhere and has nothing to say.
bool CommandDispatch::Refuse(std::string_view reason) const {
  if (!reason.empty()) {
    prompts_.Show(reason, PromptIcon::Information);
  }
  return false;
}

bool CommandDispatch::CheckActiveWindow(const Command& command) const {
  if (command.Needs == ActiveWindow::NotAsked) {
    return true;
  }
  const std::optional<std::string_view> active = windows_.ActiveFormName();
  if (!active) {
    return Refuse(Translated(command.NoWindow));
  }
  return Accepts(command.Needs, *active) || Refuse(Translated(command.WrongKind));
}

}  // namespace korvane::mainwnd
