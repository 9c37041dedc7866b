#include "mainwnd/frmMain.h"

#include <QApplication>
#include <QCloseEvent>
#include <QShortcut>
#include <QTimer>
#include <algorithm>
#include <utility>

#include "common/Text.h"
#include "common/Translation.h"
#include "common/qt/Caption.h"
#include "common/qt/QtText.h"
#include "intake/StoredTraps.h"
#include "intake/Systems.h"
#include "mainwnd/ChildArea.h"
#include "mainwnd/FrameCaption.h"
#include "mainwnd/FrameDialogs.h"
#include "mainwnd/HelperPrograms.h"
#include "mainwnd/WindowListMenu.h"
#include "mainwnd/frmWait.h"
#include "reports/frmReport.h"
#include "store/DatabaseError.h"
#include "store/FailureWords.h"
#include "systems/SystemAcknowledge.h"
#include "systems/frmDevices.h"
#include "traps/ListTools.h"
#include "traps/frmTrapDetail.h"
#include "traps/frmTraps.h"
#include "ui_frmMain.h"

namespace korvane::mainwnd {
namespace {

constexpr std::string_view kAllTrapsCaption = Translatable("All Traps ");
constexpr std::string_view kPlacesSetting = "ChildWindows";
constexpr std::string_view kToolbarSetting = "Toolbar";
constexpr std::string_view kToolbarHidden = "0";

QString ItemText(const std::string& text) {
  return ToVisibleQString(text).replace(QLatin1Char('&'), QLatin1String("&&"));
}

}  // namespace

class frmMain::TrapsWindowList : public intake::TrapsWindows {
 public:
  explicit TrapsWindowList(const frmMain& frame) : frame_(frame) {}
  std::vector<intake::TrapsWindow*> InCreationOrder() override {
    const std::vector<traps::frmTraps*> traps = frame_.AllTraps();
    return {traps.begin(), traps.end()};
  }

 private:
  const frmMain& frame_;
};

class frmMain::FormList : public OpenForms {
 public:
  explicit FormList(const ChildArea& area) : area_(area) {}
  std::vector<Form*> InCreationOrder() override {
    std::vector<Form*> forms;
    for (const ChildWindow* child : area_.InCreationOrder()) {
      forms.push_back(&child->ShownForm());
    }
    return forms;
  }

 private:
  const ChildArea& area_;
};

frmMain::frmMain(const FrameServices& services)
    : services_(services), ui_(std::make_unique<Ui::frmMain>()), dispatch_(*this, services.Desk.Prompt) {
  ui_->setupUi(this);
  setCentralWidget(ui_->fraContents);
  trapsWindows_ = std::make_unique<TrapsWindowList>(*this);
  forms_ = std::make_unique<FormList>(*ui_->mdiChildren);
  menus_ = std::make_unique<FrameMenus>(*this, *ui_->tbToolbar,
                                        [this](const Command& command) { Execute(command); });
  menus_->Item("mnuViewNotifications").setChecked(services_.News.Notifies());
  windowList_ = std::make_unique<WindowListMenu>(menus_->MenuOf("mnuWindow"), *ui_->mdiChildren);
  ShowToolbar(services_.Desk.Settings.GetSetting(platform::kSettingsSection, kToolbarSetting, {}) !=
              kToolbarHidden);
  dialogs_ = std::make_unique<FrameDialogs>(
      *this, services_, [this] { ReloadTraps(); }, [this] { RefreshTrapWindows(*forms_); });
  ui_->fraStrip->Follow(services_.Desk.Strip, services_.Desk.Clock);
  services_.Wait.setParent(this);
  new QShortcut(QKeySequence::Undo, this, [this] { services_.Desk.Strip.Press(StripKind::Told); });
  connect(ui_->mdiChildren, &QMdiArea::subWindowActivated, this, &frmMain::ChildActivated);
}

frmMain::~frmMain() {
  DestroyChildren();
  // It came from outside and is still used there.
  services_.Wait.setParent(nullptr);
}

intake::TrapsWindows& frmMain::OpenTrapsWindows() {
  return *trapsWindows_;
}

OpenForms& frmMain::Forms() {
  return *forms_;
}

systems::frmDevices* frmMain::Systems() const {
  return systems_;
}

std::optional<std::string_view> frmMain::ActiveFormName() const {
  const ChildWindow* active = ui_->mdiChildren->Active();
  return active == nullptr ? std::nullopt : std::optional(active->ShownForm().FormName());
}

void frmMain::Execute(const Command& command) {
  if (!dispatch_.CheckActiveWindow(command)) {
    return;
  }
  try {
    Run(command.Do);
  } catch (const store::DatabaseError& error) {
    store::ShowFailure(services_.Desk.Prompt, Translated("The command was not carried out to its end."),
                       error, store::Attempt::OneOfSeveral);
  }
}

void frmMain::Run(Action action) {
  switch (action) {
    case Action::NewWindow:
      return AskForNewWindow();
    case Action::Exit:
      close();
      return;
    case Action::RenameWindow:
      return RenameActive();
    case Action::AcknowledgeTraps:
      return ActiveTraps()->AcknowledgeTrap();
    case Action::ToggleToolbar:
      ShowToolbar(ui_->picToolbar->isHidden());
      services_.Desk.Settings.SaveSetting(platform::kSettingsSection, kToolbarSetting,
                                          ui_->picToolbar->isHidden() ? kToolbarHidden : "1");
      return;
    case Action::ToggleNotifications:
      services_.News.SwitchNotifications(!services_.News.Notifies());
      menus_->Item("mnuViewNotifications").setChecked(services_.News.Notifies());
      return;
    case Action::WindowProperties:
      return ActiveList()->ShowWindowParameters();
    case Action::MibCompiler:
      return StartMibCompiler(services_.InstallPath, services_.Programs, services_.Desk.Prompt);
    case Action::Cascade:
      return ui_->mdiChildren->Cascade();
    case Action::TileHorizontal:
      return ui_->mdiChildren->TileHorizontal();
    case Action::TileVertical:
      return ui_->mdiChildren->TileVertical();
    case Action::CloseWindow:
      return CloseActive();
    case Action::CloseAll:
      return CloseAll();
    case Action::Support:
      return StartSupportTool(services_.Registry, services_.Programs, services_.Desk.Prompt);
    case Action::About:
      return dialogs_->ShowAbout();
    case Action::ViewSystemTraps:
      if (popUpSystem_ != nullptr) {
        systems_->ShowPerDeviceWindow();
      }
      return;
    case Action::AcknowledgeSystem:
      return AcknowledgePopUpSystem();
    case Action::PrintPreview:
      return ActiveList()->Printable();
    case Action::TrapDetails:
      return ActiveList()->ShowTrapDetail();
    case Action::Filters:
      return dialogs_->EditFilters();
    case Action::Report:
      return AskForReport();
    case Action::HelpContents:
      return dialogs_->ShowHelp(Translated("Unable to display Help Contents."));
    case Action::ToolbarHelp:
      return dialogs_->ShowHelp(
          Translated("Unable to display Help Contents. There is no Help associated with this project."));
    case Action::FindTraps:
      return ActiveList()->Tools().Find();
    case Action::CopyTraps:
      return ActiveList()->Tools().Copy();
    case Action::SelectAllTraps:
      return ActiveList()->Tools().SelectAll();
    case Action::ExportTraps:
      return ActiveList()->Tools().Export();
    case Action::Alerts:
      return dialogs_->EditAlerts();
    case Action::Configuration:
      return dialogs_->Configure();
    case Action::Categories:
      return dialogs_->ManageCategories();
    case Action::ExportCategories:
      return dialogs_->ExportCategories();
    case Action::ImportCategories:
      return dialogs_->ImportCategories();
  }
}

bool frmMain::event(QEvent* event) {
  const bool done = QMainWindow::event(event);
  // A minimised frame is not painted until the operator restores it, but traps are to be counted now.
  const bool seen = event->type() == QEvent::Paint || (event->type() == QEvent::Show && isMinimized());
  if (seen && !opened_) {
    QTimer::singleShot(0, this, &frmMain::OpenFirstWindows);
  }
  return done;
}

// A maximised child would add its own caption; a later start of the console would then not find this one.
void frmMain::changeEvent(QEvent* event) {
  QMainWindow::changeEvent(event);
  if (event->type() == QEvent::WindowTitleChange) {
    const QString caption = ToQString(kFrameCaption);
    if (windowTitle() != caption) {
      setWindowTitle(caption);
    }
  }
}

void frmMain::closeEvent(QCloseEvent* event) {
  if (closed_) {
    event->accept();
    return;
  }
  if (closing_ || services_.Wait.IsBusy() || QApplication::activeModalWidget() != nullptr) {
    event->ignore();
    return;
  }
  closing_ = true;
  KeepFirstPlaces();
  dialogs_->CloseHelp();
  services_.Closing.CloseConsole(unasked_);
  closed_ = true;
  event->accept();
  services_.Closing.EndProcess();
}

bool frmMain::CloseUnasked() {
  unasked_ = true;
  return closed_ || (close() && closed_);
}

void frmMain::ShowToolbar(bool shown) {
  ui_->picToolbar->setVisible(shown);
  menus_->Item("mnuViewToolbar").setChecked(shown);
}

// As with the frame's own place: an icon keeps what was saved before.
void frmMain::KeepFirstPlaces() {
  const std::optional<FirstPlaces> places = ui_->mdiChildren->FirstWindowPlaces();
  if (places && !isMinimized()) {
    services_.Desk.Settings.SaveSetting(platform::kSettingsSection, kPlacesSetting, ToText(*places));
  }
}

void frmMain::OpenFirstWindows() {
  if (std::exchange(opened_, true)) {
    return;
  }
  const std::string places =
      services_.Desk.Settings.GetSetting(platform::kSettingsSection, kPlacesSetting, {});
  ui_->mdiChildren->PlaceFirstWindows(PlacesFromText(places).value_or(kFreshPlaces));
  OpenSystemsWindow();
  params::WindowParameters allTraps;
  allTraps.WindowName = Translated(kAllTrapsCaption);
  allTraps.Cancelled = false;
  AddTraps(traps::WindowKind::Selected, allTraps)->Model().AwaitFirstLoad();
  systems_->Load();
}

void frmMain::OpenSystemsWindow() {
  systems_ = new systems::frmDevices(services_.Systems, services_.Desk, services_.Filters, *this);
  systems_->SayHowToSend(services_.Traps.HowToSend);
  connect(systems_, &systems::frmDevices::PopUpMenuRequested, this, &frmMain::ShowSystemsPopUp);
  ui_->mdiChildren->Add(systems_, *systems_)->BringUp();
}

void frmMain::DestroyChildren() {
  opened_ = true;
  popUpSystem_ = nullptr;
  ui_->mdiChildren->DestroyAll();
}

traps::frmTraps* frmMain::AddTraps(traps::WindowKind kind, params::WindowParameters parameters,
                                   const intake::System* system) {
  auto* traps = new traps::frmTraps(services_.Traps, *this, kind, std::move(parameters), system);
  connect(traps, &traps::frmTraps::ContextMenuRequested, this,
          [this](const QPoint& position) { ShowPopUp(kTrapsPopUp, position); });
  ui_->mdiChildren->Add(traps, *traps)->BringUp();
  return traps;
}

void frmMain::OpenTraps(traps::WindowKind kind, params::WindowParameters parameters,
                        const intake::System* system) {
  AddTraps(kind, std::move(parameters), system)->Reset();
}

traps::frmTraps* frmMain::ActiveTraps() const {
  const ChildWindow* active = ui_->mdiChildren->Active();
  return active == nullptr ? nullptr : qobject_cast<traps::frmTraps*>(active->widget());
}

traps::TrapListWindow* frmMain::ActiveList() const {
  const ChildWindow* active = ui_->mdiChildren->Active();
  return active == nullptr ? nullptr : dynamic_cast<traps::TrapListWindow*>(active->widget());
}

std::vector<traps::frmTraps*> frmMain::AllTraps() const {
  std::vector<traps::frmTraps*> found;
  for (const ChildWindow* child : ui_->mdiChildren->InCreationOrder()) {
    if (auto* traps = qobject_cast<traps::frmTraps*>(child->widget())) {
      found.push_back(traps);
    }
  }
  return found;
}

void frmMain::AskForNewWindow() {
  if (std::optional<params::WindowParameters> parameters = dialogs_->AskForNewWindow()) {
    OpenTraps(traps::WindowKind::Selected, *std::move(parameters));
  }
}

void frmMain::AskForReport() {
  std::optional<params::ReportParameters> parameters = dialogs_->AskForReport();
  if (!parameters) {
    return;
  }
  auto* report = new reports::frmReport(services_.Reports, *this, *std::move(parameters));
  connect(report, &reports::frmReport::ContextMenuRequested, this,
          [this](const QPoint& position) { ShowPopUp(kTrapsPopUp, position); });
  ui_->mdiChildren->Add(report, *report)->BringUp();
  report->Reset();
}

void frmMain::ReloadTraps() {
  std::vector<intake::StoredTrapsTaker*> takers = {&services_.Systems};
  for (traps::frmTraps* traps : AllTraps()) {
    takers.push_back(&traps->Model());
  }
  services_.Stored.Load(takers);
}

void frmMain::RenameActive() {
  const QPointer<QWidget> form(ui_->mdiChildren->Active()->widget());
  const std::optional<std::string> name =
      services_.Desk.Prompt.AskText(Translated("Enter New Name: "), CaptionOf(*form));
  if (name && !name->empty() && form) {
    SetCaption(*form, *name);
  }
}

// The command keeps a report, as an icon; its close box closes it.
void frmMain::CloseActive() {
  ChildWindow* active = ui_->mdiChildren->Active();
  if (active->ShownForm().FormName() == kTrapsFormName) {
    active->close();
  } else {
    active->showMinimized();
  }
}

void frmMain::CloseAll() {
  const std::vector<ChildWindow*> children = ui_->mdiChildren->InCreationOrder();
  for (auto child = children.rbegin(); child != children.rend(); ++child) {
    const std::string_view form = (*child)->ShownForm().FormName();
    if (form == kTrapsFormName || form == kReportFormName) {
      (*child)->close();
    }
  }
}

void frmMain::ShowPopUp(std::string_view name, const QPoint& position) {
  menus_->PopUp(name).popup(position);
}

void frmMain::ShowSystemsPopUp(const QPoint& position, const intake::System* system) {
  popUpSystem_ = system;
  const std::string name = system == nullptr ? std::string() : system->Name;
  const auto show = [&](std::string_view item, const std::string& caption) {
    menus_->Item(item).setText(FrameMenus::WithAccessKey(*FindCommand(item), ItemText(caption)));
    menus_->Item(item).setEnabled(system != nullptr);
  };
  show("mnufrmDevicesPopUpMenuViewTraps", ViewTrapsCaption(name));
  show("mnufrmDevicesPopUpMenuAcknowledge", AcknowledgeCaption(name));
  ShowPopUp(kSystemsPopUp, position);
}

void frmMain::AcknowledgePopUpSystem() {
  if (popUpSystem_ == nullptr) {
    return;
  }
  // Taken now: what arrives while the question is open has not been seen.
  const std::int32_t bound = services_.Systems.AcknowledgeBound(*popUpSystem_);
  services_.Acknowledge.Ask(*popUpSystem_, popUpSystem_->Name, [bound] { return bound; });
  RefreshTrapWindows(*forms_);
}

void frmMain::ChildActivated() {
  const ChildWindow* active = ui_->mdiChildren->Active();
  if (active == nullptr) {
    return;
  }
  if (traps::TrapListWindow* list = ActiveList()) {
    list->Custom_Activate();
  } else if (systems_ && active->widget() == systems_) {
    systems_->Custom_Activate();
  }
}

void frmMain::OpenSystemTraps(const intake::System& system) {
  for (ChildWindow* child : ui_->mdiChildren->InCreationOrder()) {
    auto* traps = qobject_cast<traps::frmTraps*>(child->widget());
    if (traps != nullptr && traps->Model().PerSystem() == &system) {
      child->BringUp();
      return;
    }
  }
  params::WindowParameters parameters;
  parameters.WindowName = Translated("Traps On '") + VisibleText(system.Name) + "' ";
  parameters.Source = system.Name;
  parameters.Cancelled = false;
  OpenTraps(traps::WindowKind::PerSystem, parameters, &system);
}

void frmMain::TrapsAcknowledged(std::span<const store::TrapSelection> acknowledged) {
  services_.Systems.TrapsAcknowledged(acknowledged);
  for (traps::frmTraps* traps : AllTraps()) {
    traps->TrapsAcknowledged(acknowledged);
  }
}

void frmMain::NotesChanged(std::int32_t sequenceNumber, std::string_view notes,
                           const store::ChangeStamp& stamp) {
  NotesSaved(sequenceNumber, notes);
  if (auto* dialog = findChild<traps::frmTrapDetail*>()) {
    dialog->NotesChanged(sequenceNumber, notes, stamp);
  }
}

void frmMain::Changed(const store::Change& change) {
  for (const ChildWindow* child : ui_->mdiChildren->InCreationOrder()) {
    if (auto* report = qobject_cast<reports::frmReport*>(child->widget())) {
      report->ApplyChange(change);
    }
  }
  dialogs_->Changed(change);
}

void frmMain::StoreReplaced() {
  for (const ChildWindow* child : ui_->mdiChildren->InCreationOrder()) {
    if (auto* report = qobject_cast<reports::frmReport*>(child->widget())) {
      report->StoreReplaced();
    }
  }
  if (auto* dialog = findChild<traps::frmTrapDetail*>()) {
    dialog->StoreReplaced();
  }
}

void frmMain::NotesSaved(std::int32_t sequenceNumber, std::string_view notes) {
  for (const ChildWindow* child : ui_->mdiChildren->InCreationOrder()) {
    if (auto* list = dynamic_cast<traps::TrapListWindow*>(child->widget())) {
      list->NotesSaved(sequenceNumber, notes);
    }
  }
}

}  // namespace korvane::mainwnd
