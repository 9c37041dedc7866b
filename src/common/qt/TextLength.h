// Fields whose text is stored in a column take no more than the column does.  User-interface thread.
#pragma once

class QLineEdit;

namespace korvane {

// What would make the text longer than so many characters is not taken, and a hint beside the field says so:
// nothing is cut off in silence.  Counted in code points, as PostgreSQL and MariaDB count a VARCHAR; the
// embedded engine has no limit of its own.  A longer text that is stored already shows whole and can be made
// shorter.  Call it once for an edit.
void LimitLength(QLineEdit& edit, int characters);

}  // namespace korvane
