#include "CompilerRun.h"

#include <utility>

#include "common/qt/QtText.h"
#include "store/Connection.h"
#include "store/DatabaseError.h"

namespace korvane::mibc {
namespace {

// A server that hangs must not keep the window from closing for longer.
constexpr store::ConnectionOptions kOptions{.ConnectTimeoutSeconds = 5, .CommandTimeoutSeconds = 30};

}  // namespace

CompilerRun::CompilerRun(RunSettings settings, QObject* parent)
    : QObject(parent), settings_(std::move(settings)) {
  qRegisterMetaType<std::shared_ptr<const CompiledFile>>();
}

CompilerRun::~CompilerRun() = default;

void CompilerRun::Start(std::vector<std::filesystem::path> given) {
  running_ = true;
  thread_ =
      std::jthread([this, given = std::move(given)](const std::stop_token& stop) { Work(stop, given); });
}

void CompilerRun::Stop() {
  thread_.request_stop();
}

void CompilerRun::Work(const std::stop_token& stop, const std::vector<std::filesystem::path>& given) {
  QString problem;
  try {
    CompileAll(stop, given);
  } catch (const store::DatabaseError& failure) {
    problem = tr("The trap store can't be opened: %1").arg(ToVisibleQString(failure.what()));
  } catch (const std::exception& failure) {
    problem = ToVisibleQString(failure.what());
  }
  const bool stopped = stop.stop_requested();
  QMetaObject::invokeMethod(
      this,
      [this, problem, stopped] {
        running_ = false;
        Q_EMIT Ended(problem, stopped);
      },
      Qt::QueuedConnection);
}

void CompilerRun::CompileAll(const std::stop_token& stop, const std::vector<std::filesystem::path>& given) {
  store::Connection connection;
  connection.Open(settings_.DataSource, {}, {}, kOptions);
  TrapDefinitionTable table(connection);
  MibReader reader(settings_.Reader);
  Compiler compiler(reader, &table);
  const std::vector<std::filesystem::path> files = compiler.FilesOf(given, stop);
  for (std::size_t i = 0; i < files.size() && !stop.stop_requested(); ++i) {
    // Emitted on this thread, so each connection queues them to the window's.
    Q_EMIT Begun(ToVisibleQString(files[i].filename().string()), static_cast<int>(i),
                 static_cast<int>(files.size()));
    auto compiled = std::make_shared<const CompiledFile>(compiler.Compile(files[i], stop));
    if (!stop.stop_requested() || !compiled->Refused()) {
      Q_EMIT Compiled(compiled);
    }
  }
}

}  // namespace korvane::mibc
