// The buttons of dialogs: the two that most end with, and the room between any.  User-interface thread.
#pragma once

#include <QString>

class QDialogButtonBox;
class QLayout;
class QPushButton;

namespace korvane {

// cmdOK, the default, and cmdCancel, whose caption differs between dialogs.  Answers cmdOK.
QPushButton* AddOkAndCancel(QDialogButtonBox& buttons, const QString& cancelCaption);

// For a row or column of buttons that is no button box: the same gap as in one.  A layout inside another
// takes that one's gap, which is for groups, unless it is told.
void SetButtonGap(QLayout& buttons);

}  // namespace korvane
