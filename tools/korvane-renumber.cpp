// Has the numbers of the trap store free again before, or after, they are used up: for administrators.
#include <fmt/format.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>
#include <string_view>

#include "common/Text.h"
#include "store/Connection.h"
#include "store/DatabaseError.h"
#include "store/Renumbering.h"
#include "store/TrapNumbers.h"

namespace {

using namespace korvane;
using std::chrono::steady_clock;

constexpr std::string_view kUsage =
    "Moves all traps of the trap store down to the lowest numbers, so that the others are free again.\n"
    "\n"
    "usage: korvane-renumber [--dry-run | --clear-up | --help | --version]\n"
    "  --dry-run   say what would be done, how long it takes and how much disk it needs; change nothing\n"
    "  --clear-up  take away what is left of a run that was killed; the store is then as before or done\n"
    "\n"
    "Receivers and consoles may run: for the last part traps wait in the spool, and consoles read\n"
    "everything anew at the end. Interrupted before its last step, it leaves the store as it was. The store\n"
    "is the data source \"dvldb\".\n"
    "Exit status: 0 done, with a warning when something is left to clear up; 1 it failed or need not be\n"
    "done, and the store is as it was; 2 wrong call.\n";

// A slow disk and a busy machine are assumed.
constexpr std::int64_t kBytesOfASecond = std::int64_t{8} << 20;
// The limits of the data source are for programs that somebody waits for: to drop a large table takes longer.
// A server is still given up when it is mute and answers nobody else either.
constexpr store::ConnectionOptions kPatience{.ConnectTimeoutSeconds = 10,
                                             .CommandTimeoutSeconds = 24 * 3600,
                                             .SilenceSeconds = 60,
                                             .LockTimeoutSeconds = 60};
constexpr int kReported = 10;  // per cent between two lines, where nobody watches

volatile std::sig_atomic_t interrupted = 0;

std::string SizeText(std::int64_t bytes) {
  constexpr std::int64_t kGibibyte = std::int64_t{1} << 30;
  return bytes >= 10 * kGibibyte ? fmt::format("{} GiB", bytes / kGibibyte)
                                 : fmt::format("{} MiB", (bytes >> 20) + 1);
}

std::string TimeText(std::int64_t seconds) {
  constexpr std::int64_t kMinute = 60;
  constexpr std::int64_t kHour = 60 * kMinute;
  return seconds < 2 * kMinute ? fmt::format("{} seconds", seconds + 1)
         : seconds < 2 * kHour ? fmt::format("{} minutes", seconds / kMinute + 1)
                               : fmt::format("{} hours", seconds / kHour + 1);
}

void Describe(const store::RenumberPlan& plan) {
  if (plan.First > 0) {
    fmt::print("The kept traps have the numbers {} to {}; they get 1 to {}.\n", plan.First, plan.Last,
               plan.NewLast());
  } else {
    fmt::print("No traps are kept.\n");
  }
  fmt::print("The last number that was given is {}; {} of {} are free afterwards.\n", plan.Given,
             store::kLastTrapNumber - plan.NewLast(), store::kLastTrapNumber);
  fmt::print("The traps take {}. The work takes as much as {} of disk{}, and about {}.\n",
             SizeText(plan.Bytes), SizeText(plan.BytesNeeded),
             plan.Free ? fmt::format(" ({} are free)", SizeText(*plan.Free)) : "",
             TimeText(plan.Bytes / kBytesOfASecond));
}

// One line that is written over on a terminal, a line for each tenth in a file.
class Report {
 public:
  bool operator()(store::RenumberStage stage, double done) {
    if (stage != stage_) {
      stage_ = stage;
      since_ = steady_clock::now();
      last_ = -1;
    }
    const int percent = static_cast<int>(done * 100);
    if (percent / step_ != last_) {
      last_ = percent / step_;
      Print(percent, done);
    }
    return interrupted == 0;
  }
  void End() const {
    if (terminal_) fmt::print("\n");
  }

 private:
  void Print(int percent, double done) const {
    const double passed = std::chrono::duration<double>(steady_clock::now() - since_).count();
    const auto left = static_cast<std::int64_t>(done > 0 ? passed / done * (1 - done) : 0);
    const std::string text = fmt::format(
        "{}: {} %{}", stage_ == store::RenumberStage::Copying ? "copying" : "bringing in line, traps wait",
        percent, percent < 100 ? fmt::format(", {} left", TimeText(left)) : "");
    if (terminal_) {
      fmt::print("\r\033[K{}", text);
    } else {
      fmt::print("{}\n", text);
    }
    std::fflush(stdout);
  }

  const bool terminal_ = isatty(STDOUT_FILENO) != 0;
  const int step_ = terminal_ ? 1 : kReported;
  store::RenumberStage stage_ = store::RenumberStage::Copying;
  steady_clock::time_point since_ = steady_clock::now();
  int last_ = -1;
};

int Renumber(store::Renumbering& work, bool dryRun) {
  const store::RenumberPlan plan = work.Plan();
  if (!plan.Unfinished) Describe(plan);
  if (const std::string objection = plan.Objection(); !objection.empty()) throw std::runtime_error(objection);
  if (dryRun) return 0;
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    std::signal(signal, [](int) { interrupted = 1; });
  }
  Report report;
  const auto begin = steady_clock::now();
  const bool done = work.Run(plan, std::ref(report));
  report.End();
  if (!done) throw std::runtime_error("interrupted; the store is as it was");
  fmt::print("Done after {}. Consoles read everything anew.\n",
             TimeText(std::chrono::duration_cast<std::chrono::seconds>(steady_clock::now() - begin).count()));
  if (!work.Warning().empty()) {
    std::fflush(stdout);
    fmt::print(stderr, "korvane-renumber: {}\n", VisibleText(work.Warning()));
  }
  return 0;
}

int Run(std::string_view option) {
  store::Connection connection;
  try {
    connection.Open(store::kDataSourceName, {}, {}, kPatience);
  } catch (const store::DatabaseError& failure) {
    throw std::runtime_error(fmt::format("the trap store can't be opened: {}", failure.what()));
  }
  store::Renumbering work(connection);
  if (option == "--clear-up") {
    work.ClearUp();
    return 0;
  }
  return Renumber(work, option == "--dry-run");
}

}  // namespace

int main(int argc, char** argv) {
  const std::string_view option = argc > 1 ? argv[1] : "";
  if (option == "--help") {
    fmt::print("{}", kUsage);
    return 0;
  }
  if (option == "--version") {
    fmt::print("korvane-renumber {}\n", KORVANE_VERSION);
    return 0;
  }
  if (argc > 2 || (!option.empty() && option != "--dry-run" && option != "--clear-up")) {
    fmt::print(stderr, "{}", kUsage);
    return 2;
  }
  try {
    return Run(option);
  } catch (const std::exception& error) {
    std::fflush(stdout);
    fmt::print(stderr, "korvane-renumber: {}\n", VisibleText(error.what()));
    return 1;
  }
}
