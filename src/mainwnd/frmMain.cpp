#include "mainwnd/frmMain.h"

#include <QApplication>
#include <QCloseEvent>
#include <QTimer>
#include <algorithm>
#include <utility>

#include "common/Text.h"
#include "common/qt/QtText.h"
#include "mainwnd/ChildArea.h"
#include "mainwnd/FrameCaption.h"
#include "mainwnd/HelperPrograms.h"
#include "mainwnd/frmAbout.h"
#include "params/frmNewWindParams.h"
#include "store/DatabaseError.h"
#include "ui_frmMain.h"
#include "views/SystemAcknowledge.h"
#include "views/Systems.h"
#include "views/frmDevices.h"
#include "views/frmTraps.h"

namespace korvane::mainwnd {
namespace {

constexpr std::string_view kAllTrapsCaption = "All Traps ";
constexpr std::string_view kSettingsSection = "Settings";
constexpr std::string_view kPlacesSetting = "ChildWindows";

QString ItemText(const std::string& text) {
  return ToVisibleQString(text).replace(QLatin1Char('&'), QLatin1String("&&"));
}

}  // namespace

class frmMain::TrapsWindowList : public intake::TrapsWindows {
 public:
  explicit TrapsWindowList(const frmMain& frame) : frame_(frame) {}
  std::vector<intake::TrapsWindow*> InCreationOrder() override {
    const std::vector<views::frmTraps*> traps = frame_.AllTraps();
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
    : services_(services), ui_(std::make_unique<Ui::frmMain>()), dispatch_(*this, services.View.Prompt) {
  ui_->setupUi(this);
  setCentralWidget(ui_->fraContents);
  trapsWindows_ = std::make_unique<TrapsWindowList>(*this);
  forms_ = std::make_unique<FormList>(*ui_->mdiChildren);
  menus_ = std::make_unique<FrameMenus>(*this, *ui_->tbToolbar,
                                        [this](const Command& command) { Execute(command); });
  menus_->Item("mnuViewToolbar").setChecked(true);
  services_.Wait.setParent(this);
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

views::frmDevices* frmMain::Systems() const {
  return systems_;
}

std::optional<std::string_view> frmMain::ActiveFormName() const {
  const ChildWindow* active = ui_->mdiChildren->Active();
  return active == nullptr ? std::nullopt : std::optional(active->ShownForm().FormName());
}

void frmMain::Execute(const Command& command) {
  if (!command.Available || !dispatch_.CheckActiveWindow(command)) {
    return;
  }
  try {
    Run(command.Do);
  } catch (const store::DatabaseError& error) {
    services_.View.Prompt.Show(error.what(), PromptIcon::Critical);
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
      ui_->picToolbar->setVisible(ui_->picToolbar->isHidden());
      menus_->Item("mnuViewToolbar").setChecked(!ui_->picToolbar->isHidden());
      return;
    case Action::WindowProperties:
      return ActiveTraps()->ShowWindowParameters();
    case Action::MibCompiler:
      return StartMibCompiler(services_.InstallPath, services_.Programs, services_.View.Prompt);
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
      return StartSupportTool(services_.Registry, services_.Programs, services_.View.Prompt);
    case Action::About:
      return ShowAbout();
    case Action::ViewSystemTraps:
      if (popUpSystem_ != nullptr) {
        systems_->ShowPerDeviceWindow();
      }
      return;
    case Action::AcknowledgeSystem:
      return AcknowledgePopUpSystem();
    case Action::PrintPreview:
    case Action::TrapDetails:
    case Action::Filters:
    case Action::Alerts:
    case Action::Configuration:
    case Action::Report:
    case Action::Categories:
    case Action::ExportCategories:
    case Action::ImportCategories:
    case Action::HelpContents:
    case Action::ToolbarHelp:
      return;  // not available yet, so never asked for
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
  services_.Closing.CloseConsole();
  closed_ = true;
  event->accept();
  services_.Closing.EndProcess();
}

// As with the frame's own place: an icon keeps what was saved before.
void frmMain::KeepFirstPlaces() {
  const std::optional<FirstPlaces> places = ui_->mdiChildren->FirstWindowPlaces();
  if (places && !isMinimized()) {
    services_.View.Settings.SaveSetting(kSettingsSection, kPlacesSetting, ToText(*places));
  }
}

void frmMain::OpenFirstWindows() {
  if (std::exchange(opened_, true)) {
    return;
  }
  const std::string places = services_.View.Settings.GetSetting(kSettingsSection, kPlacesSetting, {});
  ui_->mdiChildren->PlaceFirstWindows(PlacesFromText(places).value_or(kFreshPlaces));
  OpenSystemsWindow();
  params::WindowParameters allTraps;
  allTraps.WindowName = kAllTrapsCaption;
  allTraps.Cancelled = false;
  OpenTraps(views::WindowKind::Selected, allTraps);
}

void frmMain::OpenSystemsWindow() {
  systems_ = new views::frmDevices(services_.Systems, services_.View, *this);
  connect(systems_, &views::frmDevices::PopUpMenuRequested, this, &frmMain::ShowSystemsPopUp);
  ui_->mdiChildren->Add(systems_, *systems_)->BringUp();
  systems_->Load();
}

void frmMain::DestroyChildren() {
  opened_ = true;
  popUpSystem_ = nullptr;
  ui_->mdiChildren->DestroyAll();
}

views::frmTraps* frmMain::OpenTraps(views::WindowKind kind, params::WindowParameters parameters,
                                    const views::System* system) {
  auto* traps = new views::frmTraps(services_.View, *this, kind, std::move(parameters), system);
  connect(traps, &views::frmTraps::ContextMenuRequested, this, &frmMain::ShowTrapsPopUp);
  ChildWindow* child = ui_->mdiChildren->Add(traps, *traps);
  child->BringUp();
  traps->Reset();
  return traps;
}

views::frmTraps* frmMain::ActiveTraps() const {
  const ChildWindow* active = ui_->mdiChildren->Active();
  return active == nullptr ? nullptr : qobject_cast<views::frmTraps*>(active->widget());
}

std::vector<views::frmTraps*> frmMain::AllTraps() const {
  std::vector<views::frmTraps*> found;
  for (const ChildWindow* child : ui_->mdiChildren->InCreationOrder()) {
    if (auto* traps = qobject_cast<views::frmTraps*>(child->widget())) {
      found.push_back(traps);
    }
  }
  return found;
}

void frmMain::AskForNewWindow() {
  params::WindowParameters parameters;
  parameters.Mode = params::kModeNewWindow;
  params::frmNewWindParams(parameters, services_.Lists, services_.View.Prompt, this).exec();
  if (!parameters.Cancelled) {
    OpenTraps(views::WindowKind::Selected, parameters);
  }
}

void frmMain::RenameActive() {
  const QPointer<QWidget> form(ui_->mdiChildren->Active()->widget());
  const std::optional<std::string> name =
      services_.View.Prompt.AskText("Enter New Name: ", ToUtf8(form->windowTitle()));
  if (name && !name->empty() && form) {
    form->setWindowTitle(ToQString(*name));
  }
}

void frmMain::CloseActive() {
  ui_->mdiChildren->Active()->close();
}

void frmMain::CloseAll() {
  const std::vector<ChildWindow*> children = ui_->mdiChildren->InCreationOrder();
  for (auto child = children.rbegin(); child != children.rend(); ++child) {
    const std::string_view form = (*child)->ShownForm().FormName();
    if (form == kTrapsFormName || form == kReportFormName) {
      (*child)->CloseForGood();
    }
  }
}

void frmMain::ShowAbout() {
  frmAbout(services_.Registry, this).exec();
}

void frmMain::ShowTrapsPopUp(const QPoint& position) {
  menus_->PopUp(kTrapsPopUp).popup(position);
}

void frmMain::ShowSystemsPopUp(const QPoint& position, const views::System* system) {
  popUpSystem_ = system;
  const std::string name = system == nullptr ? std::string() : system->Name;
  QAction& view = menus_->Item("mnufrmDevicesPopUpMenuViewTraps");
  QAction& acknowledge = menus_->Item("mnufrmDevicesPopUpMenuAcknowledge");
  view.setText(ItemText(ViewTrapsCaption(name)));
  acknowledge.setText(ItemText(AcknowledgeCaption(name)));
  view.setEnabled(system != nullptr);
  acknowledge.setEnabled(system != nullptr);
  menus_->PopUp(kSystemsPopUp).popup(position);
}

void frmMain::AcknowledgePopUpSystem() {
  if (popUpSystem_ == nullptr) {
    return;
  }
  // Taken now: what arrives while the question is open has not been seen.
  const std::int32_t bound = services_.Systems.AcknowledgeBound(*popUpSystem_);
  views::AskAndAcknowledgeSystem(services_.View, *this, *popUpSystem_, popUpSystem_->Name,
                                 [bound] { return bound; });
}

void frmMain::ChildActivated() {
  const ChildWindow* active = ui_->mdiChildren->Active();
  if (active == nullptr) {
    return;
  }
  if (auto* traps = qobject_cast<views::frmTraps*>(active->widget())) {
    traps->Custom_Activate();
  } else if (systems_ && active->widget() == systems_) {
    systems_->Custom_Activate();
  }
}

void frmMain::OpenSystemTraps(const views::System& system) {
  for (ChildWindow* child : ui_->mdiChildren->InCreationOrder()) {
    auto* traps = qobject_cast<views::frmTraps*>(child->widget());
    if (traps != nullptr && traps->Model().PerSystem() == &system) {
      child->BringUp();
      return;
    }
  }
  params::WindowParameters parameters;
  parameters.WindowName = "Traps On '" + VisibleText(system.Name) + "' ";
  parameters.Source = system.Name;
  parameters.Cancelled = false;
  OpenTraps(views::WindowKind::PerSystem, parameters, &system);
}

void frmMain::TrapsAcknowledged(const std::vector<std::int32_t>& sequenceNumbers) {
  services_.Systems.TrapsAcknowledged(sequenceNumbers);
  for (views::frmTraps* traps : AllTraps()) {
    traps->TrapsAcknowledged(sequenceNumbers);
  }
}

void frmMain::SystemAcknowledged(const views::System& system, std::int32_t beforeTime) {
  services_.Systems.SystemAcknowledged(system, beforeTime);
  for (views::frmTraps* traps : AllTraps()) {
    traps->SystemAcknowledged(system, beforeTime);
  }
  RefreshTrapWindows(*forms_);
}

}  // namespace korvane::mainwnd
