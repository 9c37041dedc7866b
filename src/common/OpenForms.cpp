#include "common/OpenForms.h"

#include <algorithm>

namespace korvane {

void RefreshTrapWindows(OpenForms& forms) {
  std::vector<Form*> open = forms.InCreationOrder();
  std::ranges::reverse(open);
  for (Form* form : open) {
    if (form->FormName() == kTrapsFormName || form->FormName() == kSystemsFormName) {
      form->RepaintNow();
    }
  }
}

}  // namespace korvane
