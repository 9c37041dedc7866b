// The frame window: child windows, menus, toolbar, busy box, and the commands that act on the active child.
// For the floors below it is the list of open windows.  ConsoleApp makes it, sets caption and placement, and
// is told when the operator closes it.  User-interface thread only.
//
// The first child windows open when the frame has been painted once, so that the operator sees it while they
// load.  It can't be closed while a dialog is open or long work goes on; closing happens once.
#pragma once

#include <QMainWindow>
#include <QPointer>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/OpenForms.h"
#include "intake/Intake.h"
#include "mainwnd/CommandDispatch.h"
#include "mainwnd/FrameMenus.h"
#include "mainwnd/frmWait.h"
#include "params/ParametersLists.h"
#include "params/WindowParameters.h"
#include "platform/Platform.h"
#include "views/SystemsModel.h"
#include "views/ViewServices.h"

namespace korvane::views {
class frmDevices;
class frmTraps;
}  // namespace korvane::views

namespace korvane::mainwnd {

class ChildWindow;
namespace Ui {
class frmMain;
}

// What closing the console means beyond the frame.
class CloseSteps {
 public:
  virtual ~CloseSteps() = default;
  // All of it, in order, while the frame is still there: questions, saving, releasing.  May destroy the
  // frame's child windows.
  virtual void CloseConsole() = 0;
  // The frame is gone from the screen.
  virtual void EndProcess() = 0;
};

// All of it outlives the frame, but for frmWait, which becomes its child.
struct FrameServices {
  views::ViewServices& View;
  views::SystemsModel& Systems;
  params::ParametersLists& Lists;
  platform::RegistryStore& Registry;
  platform::Programs& Programs;
  frmWait& Wait;
  CloseSteps& Closing;
  std::string InstallPath;
};

class frmMain : public QMainWindow, public views::ViewWindows, public ChildWindows {
  Q_OBJECT

 public:
  explicit frmMain(const FrameServices& services);
  ~frmMain() override;

  // The child windows as the intake and the helpers of the floors below see them.
  intake::TrapsWindows& OpenTrapsWindows();
  OpenForms& Forms();

  // The Systems window, null before it was opened and after it was destroyed.
  views::frmDevices* Systems() const;
  // Opens the Systems window and the Traps window "All Traps ", once.
  void OpenFirstWindows();
  // Without asking any of them; nothing opens afterwards.
  void DestroyChildren();

  // What a click on the command's item does: the check of the active window, then the command.
  void Execute(const Command& command);
  const FrameMenus& Menus() const { return *menus_; }

  void OpenSystemTraps(const views::System& system) override;
  void TrapsAcknowledged(const std::vector<std::int32_t>& sequenceNumbers) override;
  void SystemAcknowledged(const views::System& system, std::int32_t beforeTime) override;
  std::optional<std::string_view> ActiveFormName() const override;

 protected:
  bool event(QEvent* event) override;
  void changeEvent(QEvent* event) override;
  void closeEvent(QCloseEvent* event) override;

 private:
  class TrapsWindowList;
  class FormList;

  void Run(Action action);
  views::frmTraps* ActiveTraps() const;
  std::vector<views::frmTraps*> AllTraps() const;
  views::frmTraps* OpenTraps(views::WindowKind kind, params::WindowParameters parameters,
                             const views::System* system = nullptr);
  void OpenSystemsWindow();
  void KeepFirstPlaces();
  void AskForNewWindow();
  void RenameActive();
  void CloseActive();
  void CloseAll();
  void ShowAbout();
  void AcknowledgePopUpSystem();
  void ShowTrapsPopUp(const QPoint& position);
  void ShowSystemsPopUp(const QPoint& position, const views::System* system);
  void ChildActivated();

  FrameServices services_;
  std::unique_ptr<Ui::frmMain> ui_;
  std::unique_ptr<FrameMenus> menus_;
  CommandDispatch dispatch_;
  std::unique_ptr<TrapsWindowList> trapsWindows_;
  std::unique_ptr<FormList> forms_;
  QPointer<views::frmDevices> systems_;
  const views::System* popUpSystem_ = nullptr;  // whose items the Systems pop-up shows
  bool opened_ = false;
  bool closing_ = false;
  bool closed_ = false;
};

}  // namespace korvane::mainwnd
