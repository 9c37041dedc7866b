// The rules of the dialog "Configure Action" without its window: what each page holds when it opens, and what
// OK checks and saves.  The dialog shows the pages, writes the operator's edits back into them and calls Ok.
// User-interface thread only; database errors are shown here.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "alerts/ActionStore.h"
#include "alerts/AlertServices.h"
#include "alerts/AlertStore.h"

namespace korvane::alerts {

struct BeepPage {
  std::string Description = {};
  // As typed; an empty one counts as 0.
  std::string Count = {};
  std::string Duration = {};
  std::string Delay = {};
  std::string Frequency = {};
};

struct EmailPage {
  std::vector<std::string> SmtpServers = {};  // entered earlier
  std::vector<std::string> Recipients = {};
  EmailAction Mail = {};
};

struct HistoryPage {
  std::vector<std::string> Entered = {};  // earlier
  std::string Text = {};
};

class ActionsForm {
 public:
  // Everything must outlive the form.
  explicit ActionsForm(const AlertServices& services);

  void ClearTabs();
  // Loads the page; an ID of 1 or less opens it as for a new action.  A tab that is there already is not
  // added.
  void AddTab(ActionKind kind, std::int32_t id);
  const std::vector<ActionKind>& Tabs() const { return tabs_; }

  BeepPage Beep;
  EmailPage Email;
  HistoryPage Message;
  HistoryPage Custom;

  // Whether OK takes it for a number of a beep.
  static bool IsNumber(const std::string& text);
  // Checks and saves each tab in order, all of them or none.  The first that fails has had its message: it is
  // answered, and the dialog stays.  Nothing: all is saved.
  std::optional<ActionKind> Ok();
  // Of the tabs, after Ok; kNoAction for the others.
  const ActionIds& Ids() const { return ids_; }

 private:
  void Load(ActionKind kind, std::int32_t id);
  void LoadBeep(std::int32_t id);
  void LoadEmail(std::int32_t id);
  // Empty: nothing is missing.
  std::string Missing(ActionKind kind) const;
  std::int32_t Save(ActionKind kind);

  AlertServices services_;
  ActionStore store_;
  std::vector<ActionKind> tabs_;
  ActionIds ids_;
};

}  // namespace korvane::alerts
