// Makes controls that show a record look like what they are then, text to be read: no frames, arrows or
// dimmed pictures that ask to be clicked.  User-interface thread.
#pragma once

class QWidget;

namespace korvane::params {

// Of all controls in the panel, which are disabled.  Call it once, before the panel shows.
void ShowAsReadOnly(QWidget& panel);

}  // namespace korvane::params
