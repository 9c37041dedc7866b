#include "app/ConsoleApp.h"

#include <QApplication>
#include <QDialog>
#include <QMessageBox>
#include <utility>

#include "common/RegistryValues.h"
#include "intake/FirstTrap.h"
#include "intake/LibraryLink.h"
#include "intake/StoreFeeder.h"
#include "systems/frmDevices.h"

namespace korvane::app {
namespace {

// So that a server that went mute is noticed by the thread that follows the trap table.
constexpr store::ConnectionOptions kFeederTimeouts{.ConnectTimeoutSeconds = 10, .CommandTimeoutSeconds = 60};

constexpr int kTryToEndEvery = 50;  // milliseconds

// A message box by the answer of its Escape key, any other dialog as by its Cancel; none gets to ask whether
// that is meant.
void Leave(QWidget& modal) {
  if (auto* dialog = qobject_cast<QDialog*>(&modal);
      dialog != nullptr && !qobject_cast<QMessageBox*>(&modal)) {
    dialog->done(QDialog::Rejected);
  } else {
    modal.close();
  }
}

// Somebody waits for all of them.  busy: in a window, which waits for its calls beside them.
std::unique_ptr<store::Connection> OpenOwnConnection(store::ConnectionOptions timeouts,
                                                     BusyIndicator* busy = nullptr) {
  timeouts.SilenceSeconds = store::kSilenceSeconds;
  auto connection = std::make_unique<store::Connection>();
  if (busy != nullptr) {
    connection->CallBeside(*busy);
  }
  connection->Open(store::kDataSourceName, {}, {}, timeouts);
  return connection;
}

}  // namespace

// What the frame hands to the windows it opens.
struct ConsoleApp::WindowServices {
  WindowServices(ConsoleApp& app, const std::string& installPath)
      : Printer(app.desk_, app.host_.Programs, installPath),
        Traps{.Desk = app.desk_,
              .Connection = app.store_.Database,
              .Names = app.store_.Names,
              .Categories = app.store_.Categories,
              .Filters = app.store_.Filters,
              .Bounds = app.bounds_,
              .SystemList = app.store_.SystemList,
              .Stored = app.stored_,
              .Changes = app.changes_,
              .Acknowledge = app.acknowledge_,
              .Printer = Printer,
              .HowToSend = intake::HowToSendATrap(app.ListenAddresses())},
        Reports{
            .Desk = app.desk_,
            .Connection = app.store_.Database,
            .OpenConnection = [](store::ConnectionOptions timeouts) { return OpenOwnConnection(timeouts); },
            .Names = app.store_.Names,
            .Categories = app.store_.Categories,
            .Filters = app.store_.Filters,
            .SystemList = app.store_.SystemList,
            .Printer = Printer} {}

  traplist::ReportPrinter Printer;
  traps::TrapsServices Traps;
  reports::ReportServices Reports;
};

ConsoleApp::ConsoleApp(ConsoleHost host) : host_(std::move(host)) {
  ending_.setInterval(kTryToEndEvery);
  ending_.setSingleShot(true);
  QObject::connect(&ending_, &QTimer::timeout, &ending_, [this] { TryToEnd(); });
}

ConsoleApp::~ConsoleApp() {
  if (frame_) {
    frame_->DestroyChildren();
  }
}

StartupResult ConsoleApp::Start(std::string_view commandLine) {
  return Startup({.Instance = host_.Instance,
                  .Groups = host_.Groups,
                  .Registry = host_.Registry,
                  .Directories = host_.Directories,
                  .Settings = host_.Settings,
                  .Sockets = host_.Sockets,
                  .Clock = host_.Clock,
                  .Prompt = host_.Prompt,
                  .DebugLog = log_,
                  .State = state_,
                  .Store = store_,
                  .Splash = splash_,
                  .Windows = *this})
      .Main(commandLine);
}

MainWindow& ConsoleApp::CreateMainWindow(std::string_view installPath) {
  library_ = MakeLibrary();
  windows_ = std::make_unique<WindowServices>(*this, std::string(installPath));
  question_ = std::make_unique<systems::ViewOptionsDialog>([this] { return frame_.get(); });
  systems_ = std::make_unique<systems::SystemsModel>(desk_, store_.Database, store_.SystemList, bounds_,
                                                     stored_, *library_, *question_);
  systems::ConsoleFront& front = *this;
  news_ = std::make_unique<systems::CriticalNews>(desk_, host_.Notifications, front);
  systems_->AttachNews(*news_);
  frame_ = std::make_unique<mainwnd::frmMain>(mainwnd::FrameServices{
      .Desk = desk_,
      .Traps = windows_->Traps,
      .Reports = windows_->Reports,
      .OpenConnection =
          [this](store::ConnectionOptions timeouts) { return OpenOwnConnection(timeouts, &desk_.Busy); },
      .Stored = stored_,
      .Acknowledge = acknowledge_,
      .Systems = *systems_,
      .News = *news_,
      .Library = *library_,
      .Lists = store_.ParametersLists,
      .Filters = store_.Filters,
      .Registry = host_.Registry,
      .Programs = host_.Programs,
      .Services = host_.Services,
      .Wait = wait_,
      .Closing = *this,
      .InstallPath = std::string(installPath)});
  intake_ =
      std::make_unique<intake::Intake>(*library_, store_.Names, store_.SystemList, *systems_,
                                       frame_->OpenTrapsWindows(), changes_, state_, host_.Prompt, log_);
  changes_.Attach(*frame_, *systems_, frame_->OpenTrapsWindows());
  systems_->AttachIntake(*intake_);
  place_ = std::make_unique<FramePlace>(*frame_);
  return *place_;
}

std::unique_ptr<intake::ReceiverLibrary> ConsoleApp::MakeLibrary() {
  const auto open = [] { return OpenOwnConnection(kFeederTimeouts); };
  intake::StoreFeederOptions options;
  options.KnownNumber = [this] { return bounds_.StartNumber; };
  options.KnownChange = [this] { return bounds_.StartChange; };
  options.KnownState = [this] { return bounds_.StartState; };
  options.From = [this](std::int32_t mark) { return bounds_.DeliveredFrom(mark); };
  return intake::ChooseLibrary(std::move(host_.Library), [&]() -> std::unique_ptr<intake::ReceiverLibrary> {
    return std::make_unique<intake::StoreFeeder>(open, host_.Names, intake::ReadMailSettings(host_.Registry),
                                                 std::move(options));
  });
}

void ConsoleApp::DisableTimers() {
  if (systems::frmDevices* window = frame_->Systems()) {
    window->StopTimers();
  }
}

void ConsoleApp::EndUnasked() {
  ending_.start();
}

// Dialogs return into the code that opened them, one within the other, before the console can be closed.  One
// that is left may put a message up in its turn: the next try must come while this one waits for it, which a
// repeating timer does not do.
void ConsoleApp::TryToEnd() {
  ending_.start();
  if (QWidget* popUp = QApplication::activePopupWidget()) {
    popUp->close();
  } else if (QWidget* modal = QApplication::activeModalWidget()) {
    Leave(*modal);
  } else if (frame_ && frame_->CloseUnasked()) {
    ending_.stop();
  }
}

void ConsoleApp::CloseConsole(bool unasked) {
  UnaskedPrompts nobody(log_);
  Shutdown shutdown({.Settings = host_.Settings,
                     .Sockets = host_.Sockets,
                     .Prompt = unasked ? nobody : host_.Prompt,
                     .Busy = wait_,
                     .DebugLog = log_,
                     .State = state_,
                     .Store = store_,
                     .Library = *library_});
  shutdown.QueryUnload(*this);
  shutdown.Unload(*place_);
}

std::string ConsoleApp::ListenAddresses() const {
  std::string addresses;
  GetRegistryValue(host_.Registry, platform::RegistryHive::LocalMachine, kManagerKey, kListenAddressesValue,
                   addresses);
  return addresses;
}

// Any of the console's windows, the guide's too.
bool ConsoleApp::InFront() const {
  return QApplication::activeWindow() != nullptr;
}

void ConsoleApp::AskForAttention() {
  QApplication::alert(frame_.get());
}

void ConsoleApp::BringToFront() {
  frame_->setWindowState(frame_->windowState() & ~Qt::WindowMinimized);
  frame_->raise();
  frame_->activateWindow();
}

void ConsoleApp::EndProcess() {
  host_.End();
}

}  // namespace korvane::app
