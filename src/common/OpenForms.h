// The open windows of the console as the floors below the windows see them.
#pragma once

#include <string_view>
#include <vector>

namespace korvane {

inline constexpr std::string_view kTrapsFormName = "frmTraps";
inline constexpr std::string_view kSystemsFormName = "frmDevices";
inline constexpr std::string_view kReportFormName = "frmReport";

class Form {
 public:
  virtual ~Form() = default;
  virtual std::string_view FormName() const = 0;
  virtual bool AsksOnClosing() const { return false; }
  virtual void RepaintNow() {}  // asked of Traps windows and the Systems window only
};

class OpenForms {
 public:
  virtual ~OpenForms() = default;
  virtual std::vector<Form*> InCreationOrder() = 0;
};

// Repaints every Traps window and the Systems window at once, from the last opened to the first; reports and
// dialogs are left alone.
void RefreshTrapWindows(OpenForms& forms);

}  // namespace korvane
