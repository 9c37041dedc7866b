// Copying every row of a list of a million traps (Ctrl+A, Ctrl+C) against the least that it can do: joining
// the same texts as they are stored, without a look at what they hold.
#include <fmt/format.h>

#include <QApplication>
#include <QTableView>
#include <string>
#include <vector>

#include "BenchRows.h"
#include "BenchRules.h"
#include "Size.h"
#include "common/qt/KorvaneStyle.h"
#include "common/qt/ListHabits.h"
#include "store/DateTimeText.h"
#include "traps/TrapsTableModel.h"

namespace {

using namespace korvane;

std::size_t JoinStoredTexts(const traplist::TrapRows& rows) {
  store::DateTimeText dates(0);
  std::string text;
  text.reserve(rows.Count() * 160);
  for (std::size_t row = 0; row < rows.Count(); ++row) {
    text += dates.Of(rows.EventTimeAt(row));
    for (const std::string_view cell : {rows.SourceAt(row), rows.TrapNameAt(row), rows.VarBindsAt(row)}) {
      text += '\t';
      text += cell;
    }
    text += '\n';
  }
  return text.size();
}

}  // namespace

int main(int argc, char** argv) {
  const std::int32_t traps = bench::Size(argc, argv, 1'000'000);
  qputenv("QT_QPA_PLATFORM", "offscreen");
  const QApplication application(argc, argv);
  traplist::TrapRows rows;
  std::vector<store::TrapDefinition> definitions;
  bench::FillRows(rows, definitions, traps);
  const ProcessState state;
  traps::TrapsTableModel model(rows, state, traplist::SourceShown::SourceText);
  QTableView table;
  StyleTable(table);
  table.setModel(&model);
  table.resize(900, 400);
  table.show();

  std::vector<double> bare;
  std::vector<double> selected;
  std::vector<double> copied;
  qsizetype bytes = 0;
  for (int round = 0; round < 5; ++round) {
    std::size_t joined = 0;
    bare.push_back(bench::Milliseconds([&] { joined = JoinStoredTexts(rows); }));
    table.clearSelection();
    selected.push_back(bench::Milliseconds([&] { table.selectAll(); }));
    copied.push_back(bench::Milliseconds([&] { bytes = SelectedRowsText(table).size(); }));
    if (static_cast<std::size_t>(bytes) != joined) {
      fmt::print("the copied text is not whole\n");
      return 1;
    }
  }
  fmt::print(
      "{} traps, {} MB of text: joining their stored texts {:.0f} ms\n"
      "  select all {:.1f} ms\n"
      "  copy       {:.0f} ms; ratio {:.2f} (at most 3)\n",
      traps, bytes / 1'000'000, bench::Median(bare), bench::Median(selected), bench::Median(copied),
      bench::Median(copied) / bench::Median(bare));
}
