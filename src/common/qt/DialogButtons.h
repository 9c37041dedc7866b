// The two buttons that most dialogs end with.  User-interface thread.
#pragma once

#include <QString>

class QDialogButtonBox;
class QPushButton;

namespace korvane {

// cmdOK, the default, and cmdCancel, whose caption differs between dialogs.  Answers cmdOK.
QPushButton* AddOkAndCancel(QDialogButtonBox& buttons, const QString& cancelCaption);

}  // namespace korvane
