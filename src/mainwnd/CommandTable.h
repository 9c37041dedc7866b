// Every command of the frame window, once: what it is called, where it stands, which active window it needs
// and what it says when there is none.  Menus, toolbar and pop-ups are made from these rows by frmMain, the
// active-window check reads them in CommandDispatch.  Constant data; no toolkit.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace korvane::mainwnd {

enum class Action : std::uint8_t {
  NewWindow,
  PrintPreview,
  Exit,
  RenameWindow,
  AcknowledgeTraps,
  ToggleToolbar,
  ToggleNotifications,
  TrapDetails,
  WindowProperties,
  Filters,
  Alerts,
  Configuration,
  Report,
  Categories,
  ExportCategories,
  ImportCategories,
  MibCompiler,
  Cascade,
  TileHorizontal,
  TileVertical,
  CloseWindow,
  CloseAll,
  HelpContents,
  ToolbarHelp,
  Support,
  About,
  ViewSystemTraps,
  AcknowledgeSystem,
  FindTraps,
  CopyTraps,
  SelectAllTraps,
  ExportTraps,
};

// Which child window must be the active one.
enum class ActiveWindow : std::uint8_t { NotAsked, Any, Traps, TrapsOrReport };

struct Command {
  std::string_view Name;            // object name of the menu item or tool button
  std::string_view Caption;         // "&" marks the access key
  std::string_view AccessKey = {};  // of a caption that is fixed without one: its letter
  Action Do;
  std::string_view Shortcuts = {};  // portable key texts separated by "; ", the first one shown
  std::string_view Icon = {};       // key of a toolbar picture
  ActiveWindow Needs = ActiveWindow::NotAsked;
  std::string_view NoWindow = {};   // shown when no child window is active
  std::string_view WrongKind = {};  // shown when the active one is of another kind
  bool Tick = false;                // shows a tick while what it names is visible
};

// Items are the names of commands; an empty one is a separator.
struct Menu {
  std::string_view Name;
  std::string_view Caption;
  std::span<const std::string_view> Items;
};

std::span<const Command> Commands();
const Command* FindCommand(std::string_view name);

std::span<const Menu> MenuBar();
std::span<const Menu> PopUpMenus();                  // shown by child windows on a right click
std::span<const std::string_view> ToolbarButtons();  // names, from left to right

inline constexpr std::string_view kTrapsPopUp = "mnufrmTrapsPopUpMenu";
inline constexpr std::string_view kSystemsPopUp = "mnufrmDevicesPopUpMenu";

// The two captions of the Systems pop-up; an empty name: no system is selected.
std::string ViewTrapsCaption(std::string_view systemName);
std::string AcknowledgeCaption(std::string_view systemName);

}  // namespace korvane::mainwnd
