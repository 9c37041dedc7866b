// What the date and time pickers of a range are alike in: the locale's formats with the whole year and the
// seconds, a calendar in the product's colours, and typing as it is shown.
// User-interface thread.
#pragma once

class QDateEdit;
class QTimeEdit;

namespace korvane::reports {

// The formats are those of the picker's locale.  Dates and times are picked apart: as plain numbers they know
// of no daylight saving that skips or repeats an hour, as a picker of both would.
void SetUpPicker(QDateEdit& picker);
void SetUpPicker(QTimeEdit& picker);

}  // namespace korvane::reports
