#include "params/WindowParametersForm.h"

#include <exception>

#include "common/Translation.h"
#include "store/Codes.h"
#include "store/DatabaseError.h"
#include "store/FailureWords.h"

namespace korvane::params {

WindowParametersForm::WindowParametersForm(WindowParameters& parameters, ParametersLists& lists,
                                           Prompts& prompts, const ParametersCaptions& captions)
    : parameters_(parameters), lists_(lists), prompts_(prompts) {
  controls_.FormCaption = Translated(ReadOnly() ? captions.ReadOnlyForm : captions.NewForm);
  controls_.FrameCaption = Translated(ReadOnly() ? captions.ReadOnlyFrame : captions.NewFrame);
  controls_.txtWindowName.Text = parameters_.WindowName;
  for (ListControl* list : {&controls_.cboEvtGrps, &controls_.cboEnterprise, &controls_.lvTraps}) {
    list->Items = {std::string(kAll)};
  }
  controls_.cboSeverity.Items = AllAnd(store::kSeverityNames);
  controls_.cboGeneric.Items = AllAnd(store::kGenericTrapNames);
  if (ReadOnly()) {
    ShowRecord();
  } else {
    FillLists();
    ChooseEvtGrp();
  }
}

bool WindowParametersForm::ReadOnly() const {
  return parameters_.Mode == kModeShowParameters;
}

void WindowParametersForm::FillLists() {
  try {
    Append(controls_.cboEvtGrps.Items, lists_.CategoryNames());
    Append(controls_.cboEnterprise.Items, lists_.EnterpriseNames());
  } catch (const store::DatabaseError& error) {
    store::ShowFailure(prompts_,
                       Translated("The categories and enterprises to choose from could not be read."), error,
                       store::Attempt::Reading);
  }
}

void WindowParametersForm::ShowRecord() {
  const bool byCategory = !ConditionOf(parameters_.Category).empty();
  controls_.optEvtGrp.Checked = byCategory;
  controls_.optCustom.Checked = !byCategory;
  controls_.cboEvtGrps.Items = {TextOf(parameters_.Category)};
  controls_.txtSource.Text = kAll;
  if (!byCategory) {
    controls_.txtSource.Text = TextOf(parameters_.Source);
    controls_.cboSeverity.Position = PositionOf(parameters_.Severity, controls_.cboSeverity);
    controls_.cboGeneric.Position = PositionOf(parameters_.Generic, controls_.cboGeneric);
    controls_.cboEnterprise.Items = {TextOf(parameters_.Enterprise)};
    controls_.lvTraps.Items = {TextOf(parameters_.TrapName)};
    controls_.txtVarBinds.Text = parameters_.VarBindsMatch;
  }
  for (TextControl* text : {&controls_.txtWindowName, &controls_.txtSource, &controls_.txtVarBinds}) {
    text->Enabled = false;
  }
  for (OptionControl* option : {&controls_.optEvtGrp, &controls_.optCustom}) {
    option->Enabled = false;
  }
  for (ListControl* list : {&controls_.cboEvtGrps, &controls_.cboSeverity, &controls_.cboGeneric,
                            &controls_.cboEnterprise, &controls_.lvTraps}) {
    list->Enabled = false;
  }
}

void WindowParametersForm::ChooseEvtGrp() {
  if (ReadOnly()) {
    return;
  }
  controls_.optEvtGrp.Checked = true;
  controls_.optCustom.Checked = false;
  controls_.cboEvtGrps.Enabled = true;
  controls_.txtSource = {.Text = std::string(kAll), .Enabled = false};
  controls_.cboSeverity.Position = 0;
  controls_.cboSeverity.Enabled = false;
  ChooseGeneric(0);  // takes the enterprise and its traps back too, so no hidden condition stays behind
  controls_.cboGeneric.Enabled = false;
  controls_.lvTraps.Enabled = false;
  controls_.txtVarBinds = {.Text = {}, .Enabled = false};
}

void WindowParametersForm::ChooseCustom() {
  if (ReadOnly()) {
    return;
  }
  controls_.optEvtGrp.Checked = false;
  controls_.optCustom.Checked = true;
  controls_.cboEvtGrps.Position = 0;
  controls_.cboEvtGrps.Enabled = false;
  controls_.txtSource.Enabled = true;
  controls_.cboSeverity.Enabled = true;
  controls_.cboGeneric.Enabled = true;
  controls_.lvTraps.Enabled = true;
  controls_.txtVarBinds.Enabled = true;
}

void WindowParametersForm::ChooseCategory(std::size_t position) {
  Choose(controls_.cboEvtGrps, position);
}

void WindowParametersForm::ChooseSeverity(std::size_t position) {
  Choose(controls_.cboSeverity, position);
}

void WindowParametersForm::ChooseGeneric(std::size_t position) {
  if (ReadOnly()) {
    return;
  }
  Choose(controls_.cboGeneric, position);
  controls_.cboEnterprise.Enabled = controls_.cboGeneric.Position == kEnterpriseSpecificPosition;
  if (!controls_.cboEnterprise.Enabled) {
    ChooseEnterprise(0);
  }
}

void WindowParametersForm::ChooseEnterprise(std::size_t position) {
  if (ReadOnly() || position == controls_.cboEnterprise.Position) {
    return;
  }
  Choose(controls_.cboEnterprise, position);
  ListTrapsOfEnterprise();
}

void WindowParametersForm::ListTrapsOfEnterprise() {
  controls_.lvTraps.Items = {std::string(kAll)};
  controls_.lvTraps.Position = 0;
  if (controls_.cboEnterprise.Position == 0) {
    return;
  }
  try {
    Append(controls_.lvTraps.Items, lists_.TrapNamesOf(controls_.cboEnterprise.Text()));
  } catch (const store::DatabaseError& error) {
    store::ShowFailure(prompts_, Translated("The traps of this enterprise could not be read."), error,
                       store::Attempt::Reading);
  }
}

void WindowParametersForm::ChooseTrap(std::size_t position) {
  Choose(controls_.lvTraps, position);
  if (controls_.lvTraps.Position == 0) {
    return;
  }
  try {
    if (const auto generic = lists_.GenericTrapOf(controls_.cboEnterprise.Text(), controls_.lvTraps.Text())) {
      ChooseGeneric(static_cast<std::size_t>(*generic) + 1);  // behind "-All-"
    }
  } catch (const store::DatabaseError& error) {
    store::ShowFailure(prompts_, Translated("The generic trap of this trap could not be read."), error,
                       store::Attempt::Reading);
  }
}

void WindowParametersForm::EditWindowName(std::string_view text) {
  controls_.txtWindowName.Text = text;
}

void WindowParametersForm::EditSource(std::string_view text) {
  controls_.txtSource.Text = text;
}

void WindowParametersForm::EditVarBinds(std::string_view text) {
  controls_.txtVarBinds.Text = text;
}

std::string WindowParametersForm::NameSuffix() const {
  if (controls_.optCustom.Checked) {
    return Translated(" (Custom View)");
  }
  const std::string& category = controls_.cboEvtGrps.Text();
  return category == kAll ? Translated(" (No Custom Selection)") : " (" + category + ")";
}

void WindowParametersForm::Ok() {
  if (ReadOnly()) {
    return;
  }
  parameters_.WindowName = controls_.txtWindowName.Text + NameSuffix();
  parameters_.Category = ConditionOf(controls_.cboEvtGrps.Text());
  parameters_.Enterprise = ConditionOf(controls_.cboEnterprise.Text());
  parameters_.TrapName = ConditionOf(controls_.lvTraps.Text());
  parameters_.Severity = CodeOf(controls_.cboSeverity);
  parameters_.Generic = CodeOf(controls_.cboGeneric);
  parameters_.Source = ConditionOf(controls_.txtSource.Text);
  parameters_.VarBindsMatch = ConditionOf(controls_.txtVarBinds.Text);
  parameters_.Cancelled = false;
}

}  // namespace korvane::params
