// The rules of the window parameters dialog without a window: what each control shows, when it is enabled,
// and what OK makes of it.  The dialog turns clicks into calls of this class and shows Controls() after each.
// The report's dialog uses the same rules with its own captions.  User-interface thread only.
#pragma once

#include <cstddef>
#include <exception>
#include <string>
#include <string_view>

#include "common/Prompts.h"
#include "common/Translation.h"
#include "params/FormControls.h"
#include "params/ParametersLists.h"
#include "params/WindowParameters.h"

namespace korvane::params {

struct ParametersCaptions {
  std::string_view NewForm = Translatable("Select Window Parameters");
  std::string_view NewFrame = Translatable("Select View Parameters:");
  std::string_view ReadOnlyForm = Translatable("Window Parameters");
  std::string_view ReadOnlyFrame = Translatable("Window Parameters (Read Only):");
};

struct ParametersControls {
  std::string FormCaption;
  std::string FrameCaption;
  TextControl txtWindowName;
  OptionControl optEvtGrp;
  ListControl cboEvtGrps;
  OptionControl optCustom;
  TextControl txtSource;
  ListControl cboSeverity;
  ListControl cboGeneric;
  ListControl cboEnterprise;
  ListControl lvTraps;
  TextControl txtVarBinds;
};

class WindowParametersForm {
 public:
  // parameters is read now and written by Ok; its Mode decides which of the two dialogs this is.  In mode 11
  // the lists are read now; a database error is shown and leaves a list with "-All-" alone.
  // Everything must outlive the form.
  WindowParametersForm(WindowParameters& parameters, ParametersLists& lists, Prompts& prompts,
                       const ParametersCaptions& captions = {});

  const ParametersControls& Controls() const { return controls_; }
  bool ReadOnly() const;

  void ChooseEvtGrp();
  void ChooseCustom();
  void ChooseCategory(std::size_t position);
  void ChooseSeverity(std::size_t position);
  void ChooseGeneric(std::size_t position);
  void ChooseEnterprise(std::size_t position);
  void ChooseTrap(std::size_t position);
  void EditWindowName(std::string_view text);
  void EditSource(std::string_view text);
  void EditVarBinds(std::string_view text);

  // Mode 11: writes the record and clears Cancelled.  Mode 12: nothing.
  void Ok();

 private:
  void FillLists();
  void ShowRecord();
  void ListTrapsOfEnterprise();
  std::string NameSuffix() const;

  WindowParameters& parameters_;
  ParametersLists& lists_;
  Prompts& prompts_;
  ParametersControls controls_;
};

}  // namespace korvane::params
