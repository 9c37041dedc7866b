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
#include "intake/ViewWindows.h"
#include "mainwnd/CommandDispatch.h"
#include "mainwnd/FrameMenus.h"
#include "mainwnd/FrameServices.h"
#include "params/WindowParameters.h"
#include "platform/Platform.h"
#include "traps/TrapsModel.h"

namespace korvane::traps {
class TrapListWindow;
class frmTraps;
}  // namespace korvane::traps

namespace korvane::systems {
class frmDevices;
}

namespace korvane::reports {
class frmReport;
}

namespace korvane::mainwnd {

class ChildWindow;
class FrameDialogs;
class WindowListMenu;
namespace Ui {
class frmMain;
}

class frmMain : public QMainWindow, public intake::ViewWindows, public ChildWindows {
  Q_OBJECT

 public:
  explicit frmMain(const FrameServices& services);
  ~frmMain() override;

  // The child windows as the intake and the helpers of the floors below see them.
  intake::TrapsWindows& OpenTrapsWindows();
  OpenForms& Forms();

  // The Systems window, null before it was opened and after it was destroyed.
  systems::frmDevices* Systems() const;
  // Opens the Systems window and the Traps window "All Traps ", once.
  void OpenFirstWindows();
  // Without asking any of them; nothing opens afterwards.
  void DestroyChildren();

  // Closes as the operator would, but puts no question; what it then saves is on disk when it returns.  False
  // while a dialog is open or long work goes on: to be called again.
  bool CloseUnasked();

  // What a click on the command's item does: the check of the active window, then the command.
  void Execute(const Command& command);
  const FrameMenus& Menus() const { return *menus_; }

  void OpenSystemTraps(const intake::System& system) override;
  void TrapsAcknowledged(std::span<const store::TrapSelection> traps) override;
  void NotesSaved(std::int32_t sequenceNumber, std::string_view notes) override;
  void ReloadTraps() override;
  void NotesChanged(std::int32_t sequenceNumber, std::string_view notes,
                    const store::ChangeStamp& stamp) override;
  void Changed(const store::Change& change) override;
  void StoreReplaced() override;
  std::optional<std::string_view> ActiveFormName() const override;

 protected:
  bool event(QEvent* event) override;
  void changeEvent(QEvent* event) override;
  void closeEvent(QCloseEvent* event) override;

 private:
  class TrapsWindowList;
  class FormList;

  void Run(Action action);
  traps::frmTraps* ActiveTraps() const;
  traps::TrapListWindow* ActiveList() const;  // either of them
  std::vector<traps::frmTraps*> AllTraps() const;
  void OpenTraps(traps::WindowKind kind, params::WindowParameters parameters,
                 const intake::System* system = nullptr);
  // Without loading it.
  traps::frmTraps* AddTraps(traps::WindowKind kind, params::WindowParameters parameters,
                            const intake::System* system = nullptr);
  void OpenSystemsWindow();
  void KeepFirstPlaces();
  void ShowToolbar(bool shown);
  void AskForNewWindow();
  void AskForReport();
  void RenameActive();
  void CloseActive();
  void CloseAll();
  void AcknowledgePopUpSystem();
  void ShowPopUp(std::string_view name, const QPoint& position);
  void ShowSystemsPopUp(const QPoint& position, const intake::System* system);
  void ChildActivated();

  FrameServices services_;
  std::unique_ptr<Ui::frmMain> ui_;
  std::unique_ptr<FrameMenus> menus_;
  std::unique_ptr<WindowListMenu> windowList_;
  std::unique_ptr<FrameDialogs> dialogs_;
  CommandDispatch dispatch_;
  std::unique_ptr<TrapsWindowList> trapsWindows_;
  std::unique_ptr<FormList> forms_;
  QPointer<systems::frmDevices> systems_;
  const intake::System* popUpSystem_ = nullptr;  // whose items the Systems pop-up shows
  bool opened_ = false;
  bool closing_ = false;
  bool unasked_ = false;
  bool closed_ = false;
};

}  // namespace korvane::mainwnd
