#include "mainwnd/CommandTable.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "common/Translation.h"

namespace korvane::mainwnd {
namespace {

using enum Action;

constexpr std::string_view kBar;

constexpr std::string_view kNothingToAcknowledge =
    Translatable("There is no active window from where the selected traps can be acknowledged / cleared.");
constexpr std::string_view kAcknowledgeWrongKind = Translatable(
    "The current active window should be a 'Traps' window from where selected traps will be acknowledged / "
    "cleared.");
constexpr std::string_view kNoDetails =
    Translatable("There is no active window from where the selected trap's detail can be shown.");
constexpr std::string_view kDetailsWrongKind = Translatable(
    "The current active window should be a 'Traps' or 'Report / History' window from where selected trap's "
    "detail will be shown.");
constexpr std::string_view kNoProperties = Translatable("There is no active window.");
constexpr std::string_view kPropertiesWrongKind =
    Translatable("The current active window should be a 'Traps' or 'Report / History' window.");

constexpr auto kCommands = std::to_array<Command>({
    {.Name = "mnuFileNewWindow",
     .Caption = Translatable("&New Window"),
     .Do = NewWindow,
     .Shortcuts = "Ctrl+N"},
    {.Name = "mnuFilePrintPreview",
     .Caption = Translatable("&Print Preview"),
     .Do = PrintPreview,
     .Shortcuts = "Ctrl+P",
     .Needs = ActiveWindow::TrapsOrReport,
     .NoWindow = Translatable("There is no active window from where the traps can be printed."),
     .WrongKind = Translatable(
         "The current active window should be a 'Traps' or 'Report / History' window from where traps "
         "will be printed.")},
    {.Name = "mnuFileExit", .Caption = Translatable("E&xit"), .Do = Exit, .Shortcuts = "Ctrl+Q"},

    {.Name = "mnuEditRenameWindow",
     .Caption = Translatable("Re&name Window"),
     .Do = RenameWindow,
     .Shortcuts = "F2",
     .Needs = ActiveWindow::Any,
     .NoWindow = Translatable("There is no active window that can be renamed.")},
    {.Name = "mnuEditAcknowledge",
     .Caption = Translatable("Clear / &Acknowledge Trap(s)"),
     .Do = AcknowledgeTraps,
     .Shortcuts = "Ctrl+Shift+A",
     .Needs = ActiveWindow::Traps,
     .NoWindow = kNothingToAcknowledge,
     .WrongKind = kAcknowledgeWrongKind},

    {.Name = "mnuViewToolbar", .Caption = Translatable("&Toolbar"), .Do = ToggleToolbar, .Tick = true},
    {.Name = "mnuViewTrapDetails",
     .Caption = Translatable("&Trap Details"),
     .Do = TrapDetails,
     .Shortcuts = "Ctrl+D",
     .Icon = "Trap Details",
     .Needs = ActiveWindow::TrapsOrReport,
     .NoWindow = kNoDetails,
     .WrongKind = kDetailsWrongKind},
    {.Name = "mnuViewWindowProperties",
     .Caption = Translatable("&Window Properties"),
     .Do = WindowProperties,
     .Shortcuts = "Alt+Return",
     .Needs = ActiveWindow::TrapsOrReport,
     .NoWindow = kNoProperties,
     .WrongKind = kPropertiesWrongKind},

    {.Name = "mnuViewNotifications",
     .Caption = Translatable("Desktop &Notifications"),
     .Do = ToggleNotifications,
     .Shortcuts = "Ctrl+Shift+N",
     .Tick = true},

    {.Name = "mnuOptionsFilters", .Caption = Translatable("&Filters"), .Do = Filters, .Icon = "Filters"},
    {.Name = "mnuOptionsAlerts", .Caption = Translatable("&Alerts"), .Do = Alerts, .Icon = "Alerts"},
    {.Name = "mnuOptionsConfiguration", .Caption = Translatable("&Configuration"), .Do = Configuration},

    {.Name = "mnuReportsReport",
     .Caption = Translatable("&Report / History"),
     .Do = Report,
     .Shortcuts = "Ctrl+R",
     .Icon = "Report"},
    {.Name = "mnuReportsCategories",
     .Caption = Translatable("&Categories"),
     .Do = Categories,
     .Icon = "Trap Categories"},
    {.Name = "mnuReportsExportCategories",
     .Caption = Translatable("&Export Categories"),
     .Do = ExportCategories},
    {.Name = "mnuReportsImportCategories",
     .Caption = Translatable("&Import Categories"),
     .Do = ImportCategories},

    {.Name = "mnuToolsMibCompiler", .Caption = Translatable("Mib &Compiler"), .Do = MibCompiler},

    {.Name = "mnuWindowNewWindow", .Caption = Translatable("&New Window"), .Do = NewWindow},
    {.Name = "mnuWindowCascade", .Caption = Translatable("Ca&scade"), .Do = Cascade},
    {.Name = "mnuWindowTileHorizontal", .Caption = Translatable("Tile &Horizontal"), .Do = TileHorizontal},
    {.Name = "mnuWindowTileVertical", .Caption = Translatable("Tile &Vertical"), .Do = TileVertical},
    {.Name = "mnuWindowClose",
     .Caption = Translatable("&Close"),
     .Do = CloseWindow,
     .Shortcuts = "Ctrl+W; Ctrl+F4",
     .Needs = ActiveWindow::Any,
     .NoWindow = Translatable("There is no active window that can be closed.")},
    {.Name = "mnuWindowCloseAll",
     .Caption = Translatable("Close &All"),
     .Do = CloseAll,
     .Shortcuts = "Ctrl+Shift+W"},

    {.Name = "mnuHelpContents",
     .Caption = Translatable("&Contents"),
     .Do = HelpContents,
     .Shortcuts = "F1",
     .Icon = "Help"},
    {.Name = "mnuHelpSupport", .Caption = Translatable("&Support"), .Do = Support},
    {.Name = "mnuHelpAbout", .Caption = Translatable("&About"), .Do = About},

    {.Name = "mnufrmTrapsPopUpMenuTrapDetails",
     .Caption = Translatable("Trap Details"),
     .AccessKey = "T",
     .Do = TrapDetails,
     .Icon = "Trap Details",
     .Needs = ActiveWindow::TrapsOrReport,
     .NoWindow = kNoDetails,
     .WrongKind = kDetailsWrongKind},
    {.Name = "mnufrmTrapsPopUpMenuAcknowledge",
     .Caption = Translatable("Clear / Acknowledge Trap(s)"),
     .AccessKey = "A",
     .Do = AcknowledgeTraps,
     .Needs = ActiveWindow::Traps,
     .NoWindow = kNothingToAcknowledge,
     .WrongKind = kAcknowledgeWrongKind},
    {.Name = "mnufrmTrapsPopUpMenuWindowProperties",
     .Caption = Translatable("Window Properties"),
     .AccessKey = "W",
     .Do = WindowProperties,
     .Needs = ActiveWindow::TrapsOrReport,
     .NoWindow = kNoProperties,
     .WrongKind = kPropertiesWrongKind},

    {.Name = "mnufrmDevicesPopUpMenuViewTraps",
     .Caption = Translatable("View Traps"),
     .AccessKey = "V",
     .Do = ViewSystemTraps},
    {.Name = "mnufrmDevicesPopUpMenuAcknowledge",
     .Caption = Translatable("Clear / Acknowledge Trap(s)"),
     .AccessKey = "A",
     .Do = AcknowledgeSystem},

    // Their keys are the windows' own.
    {.Name = "mnufrmTrapsPopUpMenuFind",
     .Caption = Translatable("&Find..."),
     .Do = FindTraps,
     .Shortcuts = "Ctrl+F",
     .Needs = ActiveWindow::TrapsOrReport},
    {.Name = "mnufrmTrapsPopUpMenuCopy",
     .Caption = Translatable("&Copy"),
     .Do = CopyTraps,
     .Shortcuts = "Ctrl+C",
     .Needs = ActiveWindow::TrapsOrReport},
    {.Name = "mnufrmTrapsPopUpMenuSelectAll",
     .Caption = Translatable("&Select All"),
     .Do = SelectAllTraps,
     .Shortcuts = "Ctrl+A",
     .Needs = ActiveWindow::TrapsOrReport},
    {.Name = "mnufrmTrapsPopUpMenuExport",
     .Caption = Translatable("&Export to CSV..."),
     .Do = ExportTraps,
     .Shortcuts = "Ctrl+E",
     .Needs = ActiveWindow::TrapsOrReport},

    {.Name = "tbTrapDetails",
     .Caption = Translatable("Trap Details"),
     .Do = TrapDetails,
     .Icon = "Trap Details",
     .Needs = ActiveWindow::TrapsOrReport,
     .NoWindow = kNoDetails,
     .WrongKind = kDetailsWrongKind},
    {.Name = "tbTrapCategories",
     .Caption = Translatable("Trap Categories"),
     .Do = Categories,
     .Icon = "Trap Categories"},
    {.Name = "tbAlerts", .Caption = Translatable("Alerts"), .Do = Alerts, .Icon = "Alerts"},
    {.Name = "tbFilters", .Caption = Translatable("Filters"), .Do = Filters, .Icon = "Filters"},
    {.Name = "tbReport", .Caption = Translatable("Report"), .Do = Report, .Icon = "Report"},
    {.Name = "tbHelp", .Caption = Translatable("Help"), .Do = ToolbarHelp, .Icon = "Help"},
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

constexpr Menu kMenuBar[] = {
    {"mnuFile", Translatable("&File"), kFile},          {"mnuEdit", Translatable("&Edit"), kEdit},
    {"mnuView", Translatable("&View"), kView},          {"mnuOptions", Translatable("&Options"), kOptions},
    {"mnuReports", Translatable("&Reports"), kReports}, {"mnuTools", Translatable("&Tools"), kTools},
    {"mnuWindow", Translatable("&Window"), kWindow},    {"mnuHelp", Translatable("&Help"), kHelp}};
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
  return systemName.empty() ? Translated("View Traps") : Phrase("View Traps For '{}'", systemName);
}

std::string AcknowledgeCaption(std::string_view systemName) {
  return systemName.empty() ? Translated("Clear / Acknowledge Trap(s)")
                            : Phrase("Clear / Acknowledge Trap(s) For '{}'", systemName);
}

}  // namespace korvane::mainwnd
