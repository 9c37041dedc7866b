// The whole console offscreen, for the trials of tests/weather/cluster: its own windows, link and timers on
// the data source of the environment, while the desktop around it is a fake.  Each line of standard input is
// answered by one line of JSON; at the end of the input it ends.
//   begin            from now on the longest time without a new row is taken, for each source of traps
//   show FILE        writes number, time, source and bindings of each row of "All Traps ", and says the rest
//   acknowledge FILE acknowledges all rows, and writes first which these are
#include <QApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSocketNotifier>
#include <QTableView>
#include <chrono>
#include <clocale>
#include <fstream>
#include <iostream>
#include <map>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

#include "app/ConsoleApp.h"
#include "common/RegistryValues.h"
#include "common/qt/KorvaneStyle.h"
#include "platform/linux/LinuxPlatform.h"
#include "support/ConsoleHost.h"
#include "systems/frmDevices.h"
#include "traps/frmTraps.h"

namespace {

using namespace korvane;

// Agrees with everything, and keeps what was said.
class Agreeing : public Prompts {
 public:
  void Show(std::string_view text, PromptIcon) override { Said.append(QString::fromUtf8(text)); }
  void ShowFailure(std::string_view text, std::string_view cause) override {
    Said.append(QString(QString::fromUtf8(text) + QStringLiteral(" | ") + QString::fromUtf8(cause)));
  }
  PromptAnswer Ask(std::string_view, PromptButtons, PromptIcon) override { return PromptAnswer::Yes; }
  std::optional<std::string> AskText(std::string_view, std::string_view) override { return std::nullopt; }
  std::optional<std::string> AskSaveFile(const FileQuestion&) override { return std::nullopt; }
  std::vector<std::string> AskOpenFiles(const FileQuestion&) override { return {}; }

  QJsonArray Said;
};

class Trial {
 public:
  explicit Trial(app::ConsoleApp& console, Agreeing& prompts) : console_(console), prompts_(prompts) {}

  QJsonObject Answer(const std::string& command, const std::string& file) {
    if (window_ == nullptr && !Attach())
      return {{QStringLiteral("error"), QStringLiteral("the windows are not open yet")}};
    if (command == "begin") {
      const Moment now = Clock::now();
      for (auto& [source, stretch] : stretches_) stretch = {.Last = now, .Longest = 0};
    } else if (command == "show" || command == "acknowledge") {
      Write(file);
    }
    if (command == "acknowledge") {
      std::vector<std::uint32_t> rows(Rows().Count());
      std::iota(rows.begin(), rows.end(), 0U);
      window_->Model().AcknowledgeSelected(rows);
    }
    return State();
  }

 private:
  using Clock = std::chrono::steady_clock;
  using Moment = Clock::time_point;
  struct Stretch {
    Moment Last;
    double Longest = 0;  // seconds
  };

  bool Attach() {
    const auto windows = console_.Frame()->findChildren<traps::frmTraps*>();
    if (windows.empty()) return false;
    window_ = windows.front();
    QObject::connect(&window_->Table(), &QAbstractItemModel::rowsInserted, window_, [this] { NoteRows(); });
    QObject::connect(&window_->Table(), &QAbstractItemModel::modelReset, window_, [this] { NoteRows(); });
    return true;
  }
  const traplist::TrapRows& Rows() const { return window_->Model().Rows(); }

  // The newest rows stand at the end; a source that is not among the last thousand sent nothing now.
  void NoteRows() {
    const Moment now = Clock::now();
    std::map<std::string, bool> seen;
    for (std::size_t row = Rows().Count(), most = 1000; row-- > 0 && most-- > 0;) {
      seen[std::string(Rows().SourceAt(row))] = true;
    }
    for (const auto& [source, _] : seen) {
      Stretch& stretch = stretches_.try_emplace(source, Stretch{.Last = now}).first->second;
      stretch.Longest = std::max(stretch.Longest, std::chrono::duration<double>(now - stretch.Last).count());
      stretch.Last = now;
    }
  }

  void Write(const std::string& name) const {
    std::ofstream file(name);
    for (std::size_t row = 0; row < Rows().Count(); ++row) {
      file << Rows().SequenceNumberAt(row) << '\t' << Rows().EventTimeAt(row) << '\t' << Rows().SourceAt(row)
           << '\t' << Rows().VarBindsAt(row) << '\n';
    }
  }

  QJsonObject State() {
    const Moment now = Clock::now();
    QJsonObject blind;
    for (const auto& [source, stretch] : stretches_) {
      blind[QString::fromStdString(source)] =
          std::max(stretch.Longest, std::chrono::duration<double>(now - stretch.Last).count());
    }
    qint64 counted = 0;
    const QTableView& list = *console_.Frame()->Systems()->findChild<QTableView*>();
    for (int row = 0; row < list.model()->rowCount(); ++row) {
      for (int column = static_cast<int>(systems::kFirstCountColumn); column < 8; ++column) {
        counted += list.model()->index(row, column).data().toString().remove(QLatin1Char(',')).toLongLong();
      }
    }
    return {{QStringLiteral("rows"), static_cast<qint64>(Rows().Count())},
            {QStringLiteral("counted"), counted},
            {QStringLiteral("blind"), blind},
            {QStringLiteral("said"), std::exchange(prompts_.Said, {})}};
  }

  app::ConsoleApp& console_;
  Agreeing& prompts_;
  traps::frmTraps* window_ = nullptr;
  std::map<std::string, Stretch> stretches_;
};

}  // namespace

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  std::setlocale(LC_NUMERIC, "C");
  QApplication::setQuitOnLastWindowClosed(false);
  ApplyKorvaneStyle(application);
  test::FakePlatform machine;
  machine.Registry.PutText(kManagerKey, kInstallPathValue, "/nonexistent");
  machine.Registry.PutDword(kManagerKey, kMaxViewTrapsValue, kMostViewTraps);
  const auto clock = platform::MakeClock();
  Agreeing prompts;
  app::ConsoleApp console(test::HostOn(
      machine, prompts, [] { QCoreApplication::exit(0); }, clock.get()));
  if (console.Start("Debug") != app::StartupResult::Running) {
    for (const auto& said : prompts.Said) std::cerr << said.toString().toStdString() << '\n';
    return 1;
  }
  Trial trial(console, prompts);
  QSocketNotifier input(0, QSocketNotifier::Read);
  QObject::connect(&input, &QSocketNotifier::activated, &application, [&] {
    std::string command, file;
    if (!(std::cin >> command)) {
      input.setEnabled(false);
      console.EndUnasked();
      return;
    }
    if (command != "begin" && command != "state") std::cin >> file;
    const QByteArray line = QJsonDocument(trial.Answer(command, file)).toJson(QJsonDocument::Compact);
    std::cout << line.constData() << std::endl;
  });
  return QApplication::exec();
}
