// The CSV export of many traps against one fwrite of the same bytes into the same folder; both end with the
// file on the disk.
//   bench_csv_export [rows]     100,000 unless given
#include <fmt/format.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "BenchRules.h"
#include "BenchStore.h"
#include "Size.h"
#include "support/World.h"
#include "traplist/CsvExport.h"

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
             std::fflush(file) == 0 && fsync(fileno(file)) == 0 && std::fclose(file) == 0,
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
  const std::string path = (world.InstallFolder / "traps.csv").string();
  const std::string barePath = (world.InstallFolder / "bare.csv").string();
  const auto exportAll = [&] {
    world.Prompt.WillAnswerFiles({path});
    traplist::ExportTraps(world.Desk, "All Traps ", {.Rows = model->Rows(), .Order = order});
  };
  exportAll();
  std::ifstream exported(path, std::ios::binary);
  const std::string bytes(std::istreambuf_iterator<char>(exported), {});
  Expect(bytes.size() > static_cast<std::size_t>(traps) * 100, "nothing was exported");

  std::vector<double> bare;
  std::vector<double> whole;
  for (int round = 0; round < 9; ++round) {
    bare.push_back(bench::Milliseconds([&] { BareWrite(barePath, bytes); }));
    whole.push_back(bench::Milliseconds(exportAll));
  }
  fmt::print("a CSV file of {} traps, {:.1f} MB\n", traps, static_cast<double>(bytes.size()) / 1e6);
  fmt::print("  fwrite of the same bytes and fsync {:.1f} ms, exported {:.1f} ms; ratio {:.2f} (at most 3)\n",
             bench::Median(bare), bench::Median(whole), bench::Median(whole) / bench::Median(bare));
}
