#include "mainwnd/CommandTable.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

namespace korvane::mainwnd {
namespace {

using enum Action;

constexpr std::string_view kBar;

constexpr std::string_view kNothingToAcknowledge =
    "There is no active window from where the selected traps can be acknowledged / cleared.";
constexpr std::string_view kAcknowledgeWrongKind =
    "The current active window should be a 'Traps' window from where selected traps will be acknowledged / "
    "cleared.";
constexpr std::string_view kNoDetails =
    "There is no active window from where the selected trap's detail can be shown.";
constexpr std::string_view kDetailsWrongKind =
    "The current active window should be a 'Traps' or 'Report / History' window from where selected trap's "
    "detail will be shown.";
constexpr std::string_view kNoProperties = "There is no active window.";
constexpr std::string_view kPropertiesWrongKind =
    "The current active window should be a 'Traps' or 'Report / History' window.";

constexpr auto kCommands = std::to_array<Command>({
    {.Name = "mnuFileNewWindow", .Caption = "&New Window", .Do = NewWindow, .Shortcuts = "Ctrl+N"},
    {.Name = "mnuFilePrintPreview",
     .Caption = "&Print Preview",
     .Do = PrintPreview,
     .Shortcuts = "Ctrl+P",
     .Needs = ActiveWindow::TrapsOrReport,
     .NoWindow = "There is no active window from where the traps can be printed.",
     .WrongKind =
         "The current active window should be a 'Traps' or 'Report / History' window from where traps "
         "will be printed."},
    {.Name = "mnuFileExit", .Caption = "E&xit", .Do = Exit, .Shortcuts = "Ctrl+Q"},

    {.Name = "mnuEditRenameWindow",
     .Caption = "Re&name Window",
     .Do = RenameWindow,
     .Shortcuts = "F2",
     .Needs = ActiveWindow::Any,
     .NoWindow = "There is no active window that can be renamed."},
    {.Name = "mnuEditAcknowledge",
     .Caption = "Clear / &Acknowledge Trap(s)",
     .Do = AcknowledgeTraps,
     .Shortcuts = "Ctrl+Shift+A",
     .Needs = ActiveWindow::Traps,
     .NoWindow = kNothingToAcknowledge,
     .WrongKind = kAcknowledgeWrongKind},

    {.Name = "mnuViewToolbar", .Caption = "&Toolbar", .Do = ToggleToolbar, .Tick = true},
    {.Name = "mnuViewTrapDetails",
     .Caption = "&Trap Details",
     .Do = TrapDetails,
     .Shortcuts = "Ctrl+D",
     .Icon = "Trap Details",
     .Needs = ActiveWindow::TrapsOrReport,
     .NoWindow = kNoDetails,
     .WrongKind = kDetailsWrongKind},
    {.Name = "mnuViewWindowProperties",
     .Caption = "&Window Properties",
     .Do = WindowProperties,
     .Shortcuts = "Alt+Return",
     .Needs = ActiveWindow::TrapsOrReport,
     .NoWindow = kNoProperties,
     .WrongKind = kPropertiesWrongKind},

    {.Name = "mnuViewNotifications",
     .Caption = "Desktop &Notifications",
     .Do = ToggleNotifications,
     .Shortcuts = "Ctrl+Shift+N",
     .Tick = true},

    {.Name = "mnuOptionsFilters", .Caption = "&Filters", .Do = Filters, .Icon = "Filters"},
    {.Name = "mnuOptionsAlerts", .Caption = "&Alerts", .Do = Alerts, .Icon = "Alerts"},
    {.Name = "mnuOptionsConfiguration", .Caption = "&Configuration", .Do = Configuration},

    {.Name = "mnuReportsReport",
     .Caption = "&Report / History",
     .Do = Report,
     .Shortcuts = "Ctrl+R",
     .Icon = "Report"},
    {.Name = "mnuReportsCategories", .Caption = "&Categories", .Do = Categories, .Icon = "Trap Categories"},
    {.Name = "mnuReportsExportCategories", .Caption = "&Export Categories", .Do = ExportCategories},
    {.Name = "mnuReportsImportCategories", .Caption = "&Import Categories", .Do = ImportCategories},

    {.Name = "mnuToolsMibCompiler", .Caption = "Mib &Compiler", .Do = MibCompiler},

    {.Name = "mnuWindowNewWindow", .Caption = "&New Window", .Do = NewWindow},
    {.Name = "mnuWindowCascade", .Caption = "Ca&scade", .Do = Cascade},
    {.Name = "mnuWindowTileHorizontal", .Caption = "Tile &Horizontal", .Do = TileHorizontal},
    {.Name = "mnuWindowTileVertical", .Caption = "Tile &Vertical", .Do = TileVertical},
    {.Name = "mnuWindowClose",
     .Caption = "&Close",
     .Do = CloseWindow,
     .Shortcuts = "Ctrl+W; Ctrl+F4",
     .Needs = ActiveWindow::Any,
     .NoWindow = "There is no active window that can be closed."},
    {.Name = "mnuWindowCloseAll", .Caption = "Close &All", .Do = CloseAll, .Shortcuts = "Ctrl+Shift+W"},

    {.Name = "mnuHelpContents",
     .Caption = "&Contents",
     .Do = HelpContents,
     .Shortcuts = "F1",
     .Icon = "Help"},
    {.Name = "mnuHelpSupport", .Caption = "&Support", .Do = Support},
    {.Name = "mnuHelpAbout", .Caption = "&About", .Do = About},

    {.Name = "mnufrmTrapsPopUpMenuTrapDetails",
     .Caption = "Trap Details",
     .AccessKey = "T",
     .Do = TrapDetails,
     .Icon = "Trap Details",
     .Needs = ActiveWindow::TrapsOrReport,
     .NoWindow = kNoDetails,
     .WrongKind = kDetailsWrongKind},
    {.Name = "mnufrmTrapsPopUpMenuAcknowledge",
     .Caption = "Clear / Acknowledge Trap(s)",
     .AccessKey = "A",
     .Do = AcknowledgeTraps,
     .Needs = ActiveWindow::Traps,
     .NoWindow = kNothingToAcknowledge,
     .WrongKind = kAcknowledgeWrongKind},
    {.Name = "mnufrmTrapsPopUpMenuWindowProperties",
     .Caption = "Window Properties",
     .AccessKey = "W",
     .Do = WindowProperties,
     .Needs = ActiveWindow::TrapsOrReport,
     .NoWindow = kNoProperties,
     .WrongKind = kPropertiesWrongKind},

    {.Name = "mnufrmDevicesPopUpMenuViewTraps",
     .Caption = "View Traps",
     .AccessKey = "V",
     .Do = ViewSystemTraps},
    {.Name = "mnufrmDevicesPopUpMenuAcknowledge",
     .Caption = "Clear / Acknowledge Trap(s)",
     .AccessKey = "A",
     .Do = AcknowledgeSystem},

    // Their keys are the windows' own.
    {.Name = "mnufrmTrapsPopUpMenuFind",
     .Caption = "&Find...",
     .Do = FindTraps,
     .Shortcuts = "Ctrl+F",
     .Needs = ActiveWindow::TrapsOrReport},
    {.Name = "mnufrmTrapsPopUpMenuCopy",
     .Caption = "&Copy",
     .Do = CopyTraps,
     .Shortcuts = "Ctrl+C",
     .Needs = ActiveWindow::TrapsOrReport},
    {.Name = "mnufrmTrapsPopUpMenuSelectAll",
     .Caption = "&Select All",
     .Do = SelectAllTraps,
     .Shortcuts = "Ctrl+A",
     .Needs = ActiveWindow::TrapsOrReport},
    {.Name = "mnufrmTrapsPopUpMenuExport",
     .Caption = "&Export to CSV...",
     .Do = ExportTraps,
     .Shortcuts = "Ctrl+E",
     .Needs = ActiveWindow::TrapsOrReport},

    {.Name = "tbTrapDetails",
     .Caption = "Trap Details",
     .Do = TrapDetails,
     .Icon = "Trap Details",
     .Needs = ActiveWindow::TrapsOrReport,
     .NoWindow = kNoDetails,
     .WrongKind = kDetailsWrongKind},
    {.Name = "tbTrapCategories", .Caption = "Trap Categories", .Do = Categories, .Icon = "Trap Categories"},
    {.Name = "tbAlerts", .Caption = "Alerts", .Do = Alerts, .Icon = "Alerts"},
    {.Name = "tbFilters", .Caption = "Filters", .Do = Filters, .Icon = "Filters"},
    {.Name = "tbReport", .Caption = "Report", .Do = Report, .Icon = "Report"},
    {.Name = "tbHelp", .Caption = "Help", .Do = ToolbarHelp, .Icon = "Help"},
});

constexpr std::string_view kFile[] = {"mnuFileNewWindow", kBar, "mnuFilePrintPreview", kBar, "mnuFileExit"};
constexpr std::string_view kEdit[] = {"mnuEditRenameWindow", kBar, "mnuEditAcknowledge"};
constexpr std::string_view kView[] = {"mnuViewToolbar",          kBar, "mnuViewTrapDetails",
                                      "mnuViewWindowProperties", kBar, "mnuViewNotifications"};
constexpr std::string_view kOptions[] = {"mnuOptionsFilters", "mnuOptionsAlerts", kBar,
                                         "mnuOptionsConfiguration"};
constexpr std::string_view kReports[] = {"mnuReportsReport",           kBar,
                                         "mnuReportsCategories",       kBar,
                                         "mnuReportsExportCategories", "mnuReportsImportCategories"};
constexpr std::string_view kTools[] = {"mnuToolsMibCompiler"};
constexpr std::string_view kWindow[] = {
    "mnuWindowNewWindow",    kBar, "mnuWindowCascade", "mnuWindowTileHorizontal",
    "mnuWindowTileVertical", kBar, "mnuWindowClose",   "mnuWindowCloseAll"};
constexpr std::string_view kHelp[] = {"mnuHelpContents", "mnuHelpSupport", kBar, "mnuHelpAbout"};

constexpr std::string_view kTrapsPopUpItems[] = {"mnufrmTrapsPopUpMenuTrapDetails",
                                                 "mnufrmTrapsPopUpMenuAcknowledge",
                                                 "mnufrmTrapsPopUpMenuWindowProperties",
                                                 kBar,
                                                 "mnufrmTrapsPopUpMenuFind",
                                                 "mnufrmTrapsPopUpMenuCopy",
                                                 "mnufrmTrapsPopUpMenuSelectAll",
                                                 "mnufrmTrapsPopUpMenuExport"};
constexpr std::string_view kSystemsPopUpItems[] = {"mnufrmDevicesPopUpMenuViewTraps",
                                                   "mnufrmDevicesPopUpMenuAcknowledge"};

constexpr Menu kMenuBar[] = {{"mnuFile", "&File", kFile},          {"mnuEdit", "&Edit", kEdit},
                             {"mnuView", "&View", kView},          {"mnuOptions", "&Options", kOptions},
                             {"mnuReports", "&Reports", kReports}, {"mnuTools", "&Tools", kTools},
                             {"mnuWindow", "&Window", kWindow},    {"mnuHelp", "&Help", kHelp}};
constexpr Menu kPopUpMenus[] = {{kTrapsPopUp, {}, kTrapsPopUpItems}, {kSystemsPopUp, {}, kSystemsPopUpItems}};

constexpr std::string_view kToolbar[] = {"tbTrapDetails", "tbTrapCategories", "tbAlerts",
                                         "tbFilters",     "tbReport",         "tbHelp"};

}  // namespace

std::span<const Command> Commands() {
  return kCommands;
}

const Command* FindCommand(std::string_view name) {
  const auto* found = std::ranges::find(kCommands, name, &Command::Name);
  return found == kCommands.end() ? nullptr : found;
}

std::span<const Menu> MenuBar() {
  return kMenuBar;
}

std::span<const Menu> PopUpMenus() {
  return kPopUpMenus;
}

std::span<const std::string_view> ToolbarButtons() {
  return kToolbar;
}

std::string ViewTrapsCaption(std::string_view systemName) {
  return systemName.empty() ? "View Traps" : fmt::format("View Traps For '{}'", systemName);
}

std::string AcknowledgeCaption(std::string_view systemName) {
  return systemName.empty() ? "Clear / Acknowledge Trap(s)"
                            : fmt::format("Clear / Acknowledge Trap(s) For '{}'", systemName);
}

}  // namespace korvane::mainwnd
