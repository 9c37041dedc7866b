#include "common/OpenForms.h"

#include <ranges>

namespace korvane {

void RefreshTrapWindows(OpenForms& forms) {
  const std::vector<Form*> open = forms.InCreationOrder();
  for (Form* form : open | std::views::reverse) {
    if (form->FormName() == kTrapsFormName || form->FormName() == kSystemsFormName) {
      form->RepaintNow();
    }
  }
}

}  // namespace korvane
