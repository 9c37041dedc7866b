// The frame window as start-up and shutdown handle it: a place on the screen in twips, a caption, shown or
// gone.  User-interface thread only.
#pragma once

#include <string_view>

#include "app/StartupParts.h"

namespace korvane::mainwnd {
class frmMain;
}

namespace korvane::app {

class FramePlace : public MainWindow {
 public:
  explicit FramePlace(mainwnd::frmMain& frame) : frame_(frame) {}

  // A place that lies on no screen any more is moved onto one.
  void SetPlacement(const WindowPlacement& placement) override;
  WindowPlacement Placement() const override;
  void SetCaption(std::string_view caption) override;
  void Show() override;
  void DestroyChildren() override;

 private:
  mainwnd::frmMain& frame_;
};

}  // namespace korvane::app
