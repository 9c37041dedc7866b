// The window that stands on the screen while start-up checks and loads.  Has no logic: it is shown, painted
// and closed.  User-interface thread only.
#pragma once

#include <QWidget>
#include <memory>

#include "app/StartupParts.h"

namespace korvane::app {

namespace Ui {
class frmSplash;
}

class frmSplash : public QWidget, public SplashWindow {
  Q_OBJECT

 public:
  frmSplash();
  ~frmSplash() override;

  // Returns with the window painted, or after a moment when the display is too slow for that.
  void Show() override;
  void Close() override;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  std::unique_ptr<Ui::frmSplash> ui_;
};

}  // namespace korvane::app
