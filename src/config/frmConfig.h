// The dialog "Configuration": the receiver service's acknowledge and purge intervals and the view limit,
// which all live in the registry.  OK restarts the service.  One object per use; user-interface thread.
#pragma once

#include <QDialog>
#include <memory>

#include "config/ConfigForm.h"
#include "config/ConfigServices.h"

namespace Ui {
class frmConfig;
}

namespace korvane::config {

class frmConfig : public QDialog {
  Q_OBJECT

 public:
  explicit frmConfig(const ConfigServices& services, QWidget* parent = nullptr);
  ~frmConfig() override;

 private:
  void ShowHours(const std::string& hours);
  // Says beside the days what they mean where that is not plain.
  void ShowPurging();
  void Ok();

  ConfigForm form_;
  std::unique_ptr<Ui::frmConfig> ui_;
};

}  // namespace korvane::config
