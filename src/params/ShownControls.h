// Shows what a form says of its controls (FormControls.h) in the toolkit's.  Texts of lists are shown with
// their control characters visible; nothing here makes a control tell of a change.  User-interface thread.
#pragma once

#include <cstddef>

class QComboBox;
class QLineEdit;
class QListView;
class QStringListModel;

namespace korvane::params {

struct ListControl;
struct TextControl;

void ShowText(QLineEdit& edit, const TextControl& control);
// The chosen text is also the tool tip, since a long one is cut off in the box.
void ShowCombo(QComboBox& combo, const ListControl& control);
// The chosen item is selected, also when the operator took the selection away, and scrolled into view.
void ShowList(QListView& list, QStringListModel& items, const ListControl& control);

// Entering a box that shows "-All-" selects it, so that what is typed takes its place.
void SelectAllOnEntering(QLineEdit& edit);

// Of a combo box or list: none is the first, "-All-".
std::size_t ToPosition(int index);

}  // namespace korvane::params
