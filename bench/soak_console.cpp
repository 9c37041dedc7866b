// A console whose operator never rests, on a screen that is not there: the whole program with its windows on
// the data source of the environment.  Opens and closes windows, reads reports, acknowledges, writes notes
// and takes back, until it is told to end by a signal.  bench/soak watches what that takes.
#include <fmt/format.h>

#include <QApplication>
#include <QDialog>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QTableView>
#include <QTimer>
#include <csignal>
#include <functional>
#include <memory>
#include <vector>

#include "app/ConsoleApp.h"
#include "common/RegistryValues.h"
#include "common/qt/KorvaneStyle.h"
#include "mainwnd/ChildArea.h"
#include "mainwnd/frmMain.h"
#include "platform/linux/LinuxPlatform.h"
#include "support/ConsoleHost.h"

namespace {

using namespace korvane;

constexpr int kPause = 1500;  // milliseconds between two things that the operator does
constexpr std::size_t kMostWindows = 8;

volatile std::sig_atomic_t gEnding = 0;

// Says Yes to everything and reads no message.
class Willing : public Prompts {
 public:
  void Show(std::string_view text, PromptIcon) override { fmt::print("{}\n", text); }
  void ShowFailure(std::string_view text, std::string_view cause) override {
    fmt::print("{} {}\n", text, cause);
  }
  PromptAnswer Ask(std::string_view, PromptButtons, PromptIcon) override { return PromptAnswer::Yes; }
  std::optional<std::string> AskText(std::string_view, std::string_view) override { return std::nullopt; }
  std::optional<std::string> AskSaveFile(const FileQuestion&) override { return std::nullopt; }
  std::vector<std::string> AskOpenFiles(const FileQuestion&) override { return {}; }
};

class Operator {
 public:
  explicit Operator(mainwnd::frmMain& frame) : frame_(frame) {}

  void DoSomething() {
    if (QApplication::activeModalWidget() != nullptr) return;  // whoever opened it closes it
    ++done_;
    switch (done_ % 6) {
      case 0:
        return OpenWindow();
      case 1:
        return Acknowledge();
      case 2:
        return WriteNotes();
      case 3:
        return OpenSystem();
      case 4:
        return Report();
      default:
        return CloseNewest();
    }
  }

 private:
  mainwnd::ChildArea& Area() { return *frame_.findChild<mainwnd::ChildArea*>(); }
  QTableView* ListIn(std::size_t place) {
    const auto& children = Area().InCreationOrder();
    return place < children.size() ? children[place]->findChild<QTableView*>() : nullptr;
  }
  void Command(const char* name) { frame_.Menus().Item(name).trigger(); }
  // Carries out in the dialog that the command opens.
  void InDialog(const char* command, const std::function<void(QDialog&)>& act) {
    QTimer::singleShot(300, &frame_, [act] {
      if (auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget())) act(*dialog);
    });
    Command(command);
  }
  bool SelectIn(std::size_t place, int rows) {
    QTableView* list = ListIn(place);
    if (list == nullptr || list->model()->rowCount() == 0) return false;
    Area().InCreationOrder()[place]->BringUp();
    list->setFocus();
    const int last = std::min(rows, list->model()->rowCount()) - 1;
    list->selectionModel()->select(QItemSelection(list->model()->index(0, 0), list->model()->index(last, 0)),
                                   QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    list->setCurrentIndex(list->model()->index(0, 0));
    return true;
  }

  void OpenWindow() {
    if (Area().InCreationOrder().size() < kMostWindows) {
      InDialog("mnuFileNewWindow", [](QDialog& dialog) { dialog.accept(); });
    }
  }
  void Acknowledge() {
    if (SelectIn(1, 50)) Command("mnuEditAcknowledge");
  }
  void WriteNotes() {
    if (!SelectIn(1, 1)) return;
    InDialog("tbTrapDetails", [this](QDialog& dialog) {
      for (auto* notes : dialog.findChildren<QPlainTextEdit*>()) {
        if (!notes->isReadOnly()) notes->setPlainText(QStringLiteral("note %1").arg(done_));
      }
      dialog.accept();
      dialog.close();
    });
  }
  void OpenSystem() {
    if (Area().InCreationOrder().size() < kMostWindows && SelectIn(0, 1)) {
      Command("mnufrmDevicesPopUpMenuViewTraps");
    }
  }
  void Report() {
    InDialog("tbReport", [](QDialog& dialog) { dialog.accept(); });
  }
  void CloseNewest() {
    for (int i = 0; i < 3 && Area().InCreationOrder().size() > 2; ++i)
      Area().InCreationOrder().back()->close();
  }

  mainwnd::frmMain& frame_;
  int done_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication application(argc, argv);
  ApplyKorvaneStyle(application);
  test::FakePlatform machine;
  machine.Registry.PutText(kManagerKey, kInstallPathValue, "/nowhere");
  const auto clock = platform::MakeClock();
  Willing prompts;
  app::ConsoleApp console(test::HostOn(
      machine, prompts, [] { QApplication::quit(); }, clock.get()));
  // The question at the start, which traps to load.
  QTimer::singleShot(500, [] {
    if (auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget())) dialog->accept();
  });
  if (console.Start("") != app::StartupResult::Running) {
    fmt::print(stderr, "the console did not start\n");
    return 1;
  }
  std::signal(SIGTERM, [](int) { gEnding = 1; });
  Operator hand(*console.Frame());
  QTimer turn;
  QObject::connect(&turn, &QTimer::timeout, [&] {
    if (gEnding != 0) {
      QApplication::quit();
    } else {
      hand.DoSomething();
    }
  });
  turn.start(kPause);
  fmt::print("ready\n");
  std::fflush(stdout);
  return QApplication::exec();
}
