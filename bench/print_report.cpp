// The printed report of many traps against one fwrite of the same bytes into the same folder, where no file
// of the name is yet and where an earlier one gives way.
//   bench_print_report [rows]     100,000 unless given
#include <fmt/format.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "BenchRules.h"
#include "BenchStore.h"
#include "Size.h"
#include "support/World.h"
#include "traplist/PrintedReport.h"

namespace {

using namespace korvane;

void Expect(bool condition, const char* what) {
  if (!condition) {
    fmt::print("{}\n", what);
    std::exit(1);
  }
}

void BareWrite(const std::string& path, const std::string& bytes) {
  std::FILE* const file = std::fopen(path.c_str(), "wb");
  Expect(file != nullptr && std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size() &&
             std::fclose(file) == 0,
         "the bare write failed");
}

}  // namespace

int main(int argc, char** argv) {
  const std::int32_t traps = bench::Size(argc, argv, 100'000);
  test::LoadedWorld world;
  bench::AddNames(world.Store);
  bench::FillWithTraps(world.Store, traps);
  world.ReadRules();
  world.State.gLastTrapTime = 2'000'000'000;
  world.State.gMaxViewTraps = traps;
  const auto model = world.Open();
  model->Reset();
  Expect(model->Rows().Count() == static_cast<std::size_t>(traps), "rows are missing");

  const traplist::TrapOrder order(model->Rows(), traplist::SourceShown::SourceText);
  const traplist::ShownTraps shown{.Rows = model->Rows(), .Order = order};
  const auto print = [&] { world.Printer.Print("All Traps ", shown); };
  const std::filesystem::path report = world.InstallFolder / traplist::kPrintFile;
  const std::filesystem::path bareFile = world.InstallFolder / "bare.txt";
  print();
  std::ifstream printed(report, std::ios::binary);
  const std::string bytes(std::istreambuf_iterator<char>(printed), {});
  Expect(bytes.size() > static_cast<std::size_t>(traps) * 200, "nothing was printed");
  fmt::print("a report of {} traps, {:.1f} MB\n", traps, static_cast<double>(bytes.size()) / 1e6);

  for (const bool replaces : {false, true}) {
    std::vector<double> bare;
    std::vector<double> whole;
    for (int round = 0; round < 15; ++round) {
      if (!replaces) {
        std::filesystem::remove(report);
        std::filesystem::remove(bareFile);
      }
      sync();  // neither waits for the other's pages on their way to the disk
      bare.push_back(bench::Milliseconds([&] { BareWrite(bareFile.string(), bytes); }));
      sync();
      whole.push_back(bench::Milliseconds(print));
    }
    fmt::print("  {}: fwrite of the same bytes {:.1f} ms, printed {:.1f} ms; ratio {:.2f} (at most 2)\n",
               replaces ? "over an earlier file" : "as a new file", bench::Median(bare), bench::Median(whole),
               bench::Median(whole) / bench::Median(bare));
  }
}
