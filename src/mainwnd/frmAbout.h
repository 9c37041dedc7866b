// The About box: the product's title and the version that the installation wrote into the registry, beside
// the program's own where that is another.
// One object per use; user-interface thread.
#pragma once

#include <QDialog>
#include <memory>

#include "platform/Platform.h"

namespace korvane::mainwnd {

namespace Ui {
class frmAbout;
}

class frmAbout : public QDialog {
  Q_OBJECT

 public:
  explicit frmAbout(platform::RegistryStore& registry, QWidget* parent = nullptr);
  ~frmAbout() override;

 private:
  std::unique_ptr<Ui::frmAbout> ui_;
};

}  // namespace korvane::mainwnd
