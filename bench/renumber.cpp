// The numbers of a store given back: all its traps copied, brought in line and put in place, against the bare
// copy of the table by the engine itself, without indices.
//   bench_renumber [TRAPS [postgresql|mariadb]]      the embedded store, or a server of
//   tests/support/database-servers
#include <fmt/format.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <optional>

#include "BenchStore.h"
#include "Size.h"
#include "store/Renumbering.h"

namespace {

using namespace korvane;
using std::chrono::steady_clock;

}  // namespace

int main(int argc, char** argv) {
  const auto kept = static_cast<std::int32_t>(bench::Size(argc, argv, 1'000'000));
  const std::string_view server = argc > 2 ? argv[2] : "";
  const std::unique_ptr<test::TestStore> made =
      test::MakeStore(server == "postgresql" ? store::Engine::PostgreSql
                      : server == "mariadb"  ? store::Engine::MariaDb
                                             : store::Engine::Sqlite);
  const std::int32_t gone = kept / 10;
  bench::FillWithTraps(*made, kept + gone);
  made->Execute(fmt::format("DELETE FROM EventTrap WHERE SequenceNumber <= {}", gone));
  const auto seconds = [](auto span) { return std::chrono::duration<double>(span).count(); };
  const auto start = steady_clock::now();
  made->Execute("CREATE TABLE Bare_Copy AS SELECT * FROM EventTrap");
  const double bare = seconds(steady_clock::now() - start);
  store::Renumbering work(made->Db());
  const store::RenumberPlan plan = work.Plan();
  std::optional<steady_clock::time_point> closed;
  const auto begin = steady_clock::now();
  const bool done = work.Run(plan, [&](store::RenumberStage stage, double) {
    if (stage == store::RenumberStage::Closed && !closed) closed = steady_clock::now();
    return true;
  });
  const auto end = steady_clock::now();
  if (!done || made->Number("SELECT MIN(SequenceNumber) FROM EventTrap") != 1 ||
      made->Number("SELECT COUNT(*) FROM EventTrap") != kept) {
    fmt::print("the traps are not where they belong\n");
    return EXIT_FAILURE;
  }
  fmt::print(
      "{} traps, {} MiB: copied in {:.1f} s while all goes on, closed for {:.1f} s; the bare copy of the "
      "table {:.1f} "
      "s; ratio {:.1f}\n",
      kept, plan.Bytes >> 20, seconds(*closed - begin), seconds(end - *closed), bare,
      seconds(end - begin) / bare);
}
