// The dialog "Select Report / History Parameters": the time range and the conditions of a new report (mode
// 11), or those of an existing one to be read (mode 12).  The opener sets the record's Mode and Cancelled,
// runs exec(), and reads the record unless Cancelled is still set.  One object per use; user-interface
// thread.
#pragma once

#include <QDialog>
#include <cstdint>
#include <memory>

#include "common/Prompts.h"
#include "params/ParametersLists.h"
#include "params/ReportParameters.h"
#include "params/ReportTimeForm.h"
#include "params/WindowParametersForm.h"
#include "platform/Platform.h"

namespace Ui {
class frmSetReport;
}

namespace korvane::reports {

class frmSetReport : public QDialog {
  Q_OBJECT

 public:
  // All references must outlive the dialog.  timeZoneBias in seconds: UTC = local time + bias.
  frmSetReport(params::ReportParameters& parameters, params::ParametersLists& lists, Prompts& prompts,
               platform::Clock& clock, std::int32_t timeZoneBias, QWidget* parent = nullptr);
  ~frmSetReport() override;

 private:
  void FillPickers();
  void LayOutPickers();
  void ShowRange();

  std::unique_ptr<Ui::frmSetReport> ui_;
  params::WindowParametersForm form_;
  params::ReportTimeForm range_;
};

}  // namespace korvane::reports
