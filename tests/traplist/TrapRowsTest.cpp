// A list of traps as its window has it, rows, order and quick find together, against plain containers.
#include "traplist/TrapRows.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <map>
#include <numeric>
#include <random>

#include "store/EventTime.h"
#include "traplist/TrapFinder.h"
#include "traplist/TrapOrder.h"
#include "traplist/VariableBindings.h"

namespace korvane::traplist {
namespace {

using std::chrono::microseconds;

struct PlainRow {
  std::string Source;
  std::string Name;
  std::string VarBinds;
  std::int32_t Time = 0;
  std::string Notes = "";
  std::int32_t Number = 0;
};

// Everything that a trap is, on one line.
std::string Fields(const store::IncomingTrap& trap) {
  return fmt::format("{}|{}|{}|{}|{}|{}|{}|{}|{}|{}|{}|{}", trap.SequenceNumber, trap.EventTime, trap.Source,
                     trap.SystemName, trap.SystemAddress, trap.EnterpriseOid, trap.SpecificTrap,
                     trap.GenericTrap, trap.Severity, fmt::ptr(trap.Definition), trap.EventNotes,
                     trap.VarBinds);
}

// The list, the same rows in a plain container, and the chance that decides what happens to them.
struct TrapList {
  TrapList(unsigned seed, SourceShown shown)
      : Random(seed), Order(Rows, shown), Shown{Rows, Order, shown, 0} {}

  std::size_t Below(std::size_t bound) { return Random() % bound; }
  bool OneIn(std::size_t times) { return Below(times) == 0; }

  void Append(std::size_t count) {
    for (; count > 0; --count) {
      const std::string texts[] = {
          {},
          std::string(Below(OneIn(20) ? 80'000 : 3'000), static_cast<char>('a' + Below(26))) + "Needle",
          "ifIndex=1" + std::string(Below(20), '\0') + (OneIn(2) ? "7" : ""),
          OneIn(2) ? "Straße Über \xFF" : "tab\there\nend",
          fmt::format("{}={}", OneIn(2) ? "linkDown on ifIndex" : "LINKDOWN on IFINDEX", Below(3000))};
      constexpr std::array kSources = {"Router{}", "router{}", "10.20.{}.3", "9.9.9.{}", "fd00::{}", "10.{}"};
      Plain.push_back({.Source = fmt::format(fmt::runtime(kSources[Below(kSources.size())]), Below(20)),
                       .Name = fmt::format("trap{}", Below(5)),
                       .VarBinds = texts[std::min<std::size_t>(Below(12), 4)],
                       .Time = static_cast<std::int32_t>(Below(50) * 5000 + Below(2)) - 100'000,
                       .Notes = OneIn(10) ? fmt::format("note {}", Below(1000)) : "",
                       .Number = ++Last});
      Rows.Append(TrapOf(Plain.back()));
    }
    if (Order.RowsAppended()) {
      Order.MergeAppended();
    }
    Finder.RowsAppended(Rows.Count());
    Most = std::max(Most, Rows.Count());
  }
  void Remove(const std::vector<std::uint32_t>& gone, bool front) {
    front ? Rows.DropFront(gone.size()) : Rows.Remove(gone);
    Order.RowsRemoved(gone);
    Finder.RowsRemoved(gone);
    for (auto row = gone.rbegin(); row != gone.rend(); ++row) {
      Plain.erase(Plain.begin() + *row);
    }
  }

  void ExpectRows() {
    ASSERT_EQ(Rows.Count(), Plain.size());
    for (std::size_t row = 0; row < Plain.size(); ++row) {
      ASSERT_EQ(Fields(Rows.At(row)), Fields(TrapOf(Plain[row])));
      ASSERT_EQ(Rows.Find(Plain[row].Number), row);
    }
    EXPECT_EQ(Rows.Find(Last + 1), std::nullopt);
    EXPECT_LE(std::max(Rows.OriginBound(), Rows.KindBound()), Most) << "what no row uses is forgotten";
  }

  // The order is the one that a stable sort of the plain rows gives.
  void ExpectOrder() {
    std::vector<std::uint32_t> expected(Plain.size());
    std::iota(expected.begin(), expected.end(), 0U);
    if (const auto& sorting = Order.SortedBy()) {
      std::vector<std::string> keys;
      std::ranges::transform(Plain, std::back_inserter(keys), [&](const PlainRow& row) {
        const std::string texts[] = {fmt::format("{:09}", row.Time + 1'000'000),
                                     SourceOrder(std::string(Shown.SourceText(TrapOf(row)))), row.Name,
                                     row.VarBinds, std::string(1, "031425"[row.Number % 6])};
        return FoldCase(texts[static_cast<int>(sorting->Column)]);
      });
      std::ranges::stable_sort(expected, [&](std::uint32_t a, std::uint32_t b) {
        return sorting->Descending ? keys[b] < keys[a] : keys[a] < keys[b];
      });
    }
    std::vector<std::uint32_t> shown;
    for (std::size_t position = 0; position < Plain.size(); ++position) {
      shown.push_back(static_cast<std::uint32_t>(Order.RowAt(position)));
    }
    ASSERT_EQ(shown, expected);
  }

  // Addresses by their numbers, IPv4 first, names behind them.
  static std::string SourceOrder(const std::string& source) {
    unsigned a = 0;
    unsigned b = 0;
    unsigned c = 0;
    unsigned d = 0;
    if (std::sscanf(source.c_str(), "%u.%u.%u.%u", &a, &b, &c, &d) == 4) {
      return fmt::format("0 {:03}.{:03}.{:03}.{:03}", a, b, c, d);
    }
    return source.starts_with("fd00::") ? fmt::format("1 {:0>4}", source.substr(6)) : "2 " + source;
  }

  // The finder's hits are those that the texts of the cells have, one by one, in every direction; and what it
  // answered before it had looked at every row was true.
  void ExpectHits(std::string_view text) {
    const TrapFinder::Place early = Finder.FirstFrom(Shown, Plain.size() / 2);
    EarlyAnswers += early.Settled && Finder.Searching() ? 1 : 0;
    while (Finder.Step(Shown, microseconds(0))) {
    }
    std::vector<std::size_t> hits;
    for (std::size_t position = 0; position < Plain.size(); ++position) {
      const bool hit = !text.empty() && Shows(Plain[Order.RowAt(position)], text);
      hits.insert(hits.end(), hit ? 1 : 0, position);
      ASSERT_EQ(Finder.NumberOf(Shown, position), hit ? hits.size() : 0) << position;
    }
    ASSERT_EQ(Finder.Hits(), hits.size());
    for (std::size_t hit = 0; hit < hits.size(); hit += 1 + hits.size() / 16) {
      const std::size_t next = hits[(hit + 1) % hits.size()];
      ASSERT_EQ(Finder.FirstFrom(Shown, hits[hit]).Position, hits[hit]);
      ASSERT_EQ(Finder.FirstFrom(Shown, hits[hit] + 1).Position, next);
      ASSERT_EQ(Finder.LastBefore(Shown, next).Position, hits[hit]);
    }
    if (early.Settled) {
      EXPECT_EQ(Finder.FirstFrom(Shown, Plain.size() / 2).Position, early.Position);
    }
  }
  int EarlyAnswers = 0;

  bool Shows(const PlainRow& row, std::string_view text) {
    const std::string cells[] = {store::FormatDateTime(store::EventTimeToLocal(row.Time, 0)),
                                 std::string(Shown.SourceText(TrapOf(row))), row.Name, row.VarBinds};
    return std::ranges::any_of(cells, [&](const std::string& cell) {
      return ContainsIgnoreCase(cell, text) || ContainsIgnoreCase(VisibleText(cell), text);
    });
  }
  store::IncomingTrap TrapOf(const PlainRow& row) {
    systemName_ = (row.Number % 50 == 0 ? "renamed " : "name of ") + row.Source;
    // Many share a system and a kind, others have their own.
    systemAddress_ = fmt::format("10.0.0.{}", row.Number % 4 == 0 ? 1 : row.Number);
    enterpriseOid_ = fmt::format("1.3.6.1.4.1.{}", row.Number % 4 == 0 ? 1 : row.Number);
    store::TrapDefinition& definition = definitions_[{row.Name, row.Number % 2}];
    store::IncomingTrap trap;
    // Some names are the trap's own.
    definition.TrapName = row.Number % 2 == 0 ? row.Name : "";
    ownName_ = row.Number % 2 == 0 ? "" : row.Name;
    trap.OwnName = ownName_;
    trap.Source = row.Source;
    trap.SystemName = systemName_;
    trap.SystemAddress = systemAddress_;
    trap.EnterpriseOid = enterpriseOid_;
    trap.VarBinds = row.VarBinds;
    trap.EventNotes = row.Notes;
    trap.Definition = &definition;
    trap.SpecificTrap = row.Number % 3;
    trap.GenericTrap = 6;
    trap.Severity = row.Number % 6;
    trap.EventTime = row.Time;
    trap.SequenceNumber = row.Number;
    return trap;
  }

  std::mt19937 Random;
  TrapRows Rows;
  TrapOrder Order;
  TrapFinder Finder;
  ShownTraps Shown;
  std::vector<PlainRow> Plain;
  std::int32_t Last = 0;
  std::size_t Most = 0;  // rows at a time
  std::string systemName_;
  std::string systemAddress_;
  std::string enterpriseOid_;
  std::string ownName_;
  std::map<std::pair<std::string, std::int32_t>, store::TrapDefinition> definitions_;
};

// Through everything that happens to a list, also between two steps of the finder.
// Values hold what stands between bindings, texts are cut anywhere or no bindings at all.
TEST(VariableBindingsTest, AreReadFromTheTextTheyWereStoredAs) {
  const std::pair<const char*, std::vector<VariableBinding>> cases[] = {
      {"ifIndex.2 = 2; ifDescr.2 = Gi0/1; up = down; 1.3.6.1.4.1.9.1 = hex 00 FF",
       {{"ifIndex.2", "2"}, {"ifDescr.2", "Gi0/1"}, {"up", "down"}, {"1.3.6.1.4.1.9.1", "hex 00 FF"}}},
      {"a.0 = x; not a name = y;z; ; b = ", {{"a.0", "x; not a name = y;z; "}, {"b", ""}}},
      {"a.0 = line\r\nb.0 = 1; ", {{"a.0", "line\r\nb.0 = 1; "}}},
      {"a.0 = 1; b.0 =", {{"a.0", "1; b.0 ="}}},
      {"fan 3 = stopped", {}},
      {" = 1", {}},
      {"", {}}};
  for (const auto& [text, bindings] : cases) {
    EXPECT_EQ(VariableBindingsOf(text), bindings) << text;
  }
  std::string many = "a = 1";
  for (std::size_t count = 1; count < kMostBindings; ++count) {
    many += "; a = 1";
  }
  EXPECT_EQ(VariableBindingsOf(many).size(), kMostBindings);
  EXPECT_THAT(VariableBindingsOf(many + "; a = 1"), testing::IsEmpty()) << "shown as its text";
}

TEST(TrapRowsTest, AgreeWithPlainRowsUnderRandomOperations) {
  const std::string_view texts[] = {"1",   "R2",         "trap3",     "down on IF", "0:0",       "",
                                    "x=1", "name of ro", "STRASSE ü", "needle",     "tab\there", "␉HERE␊",
                                    "e",   "\uFFFD",     "1970-0",    "␀",          "trap1link"};
  int early = 0;
  for (unsigned seed = 1; seed <= 15; ++seed) {
    SCOPED_TRACE(seed);
    TrapList list(seed, seed % 3 == 0 ? SourceShown::SystemName : SourceShown::SourceText);
    std::string text;
    for (int step = 0; step < 80; ++step) {
      std::vector<std::uint32_t> rows(list.Plain.size());
      std::iota(rows.begin(), rows.end(), 0U);
      switch (list.Below(9)) {
        case 0:
        case 1:
          list.Append(list.Below(200));
          break;
        case 2:
          rows.resize(list.Below(rows.size() / 2 + 1));
          list.Remove(rows, true);
          break;
        case 3:
          std::erase_if(rows, [&, oneIn = list.Below(6) + 1](auto) { return !list.OneIn(oneIn); });
          if (list.OneIn(2) && !rows.empty()) {
            list.Order.MoveToEnd(rows);
            const std::size_t firstMoved = list.Order.RowAt(list.Plain.size() - rows.size());
            ASSERT_TRUE(std::ranges::binary_search(rows, firstMoved));
          }
          list.Remove(rows, false);
          break;
        case 4:
          if (list.Plain.size() > 0) {
            const std::size_t row = list.Below(list.Plain.size());
            list.Plain[row].Notes = list.OneIn(3) ? "" : "changed";
            list.Rows.SetNotes(row, list.Plain[row].Notes);
          }
          break;
        case 5:
          list.Order.Sort(list.OneIn(4) ? std::nullopt
                                        : std::optional(TrapSorting{
                                              TrapColumn{int(list.Below(kTrapSortKeys))}, list.OneIn(2)}));
          break;
        case 6:  // typed on, or another text
          text = list.OneIn(2) ? text + std::to_string(list.Below(3)) : texts[list.Below(std::size(texts))];
          list.Finder.Find(list.Shown, text, list.Below(list.Plain.size() + 1));
          break;
        case 7:
          list.Finder.Step(list.Shown, microseconds(0));
          break;
        default:
          if (list.OneIn(20)) {
            list.Rows.Clear();
            list.Order.RowsReset();
            list.Finder.RowsReset(0);
            list.Plain.clear();
          }
      }
      ASSERT_NO_FATAL_FAILURE(list.ExpectOrder()) << "step " << step;
      if (step % 10 == 9) {
        ASSERT_NO_FATAL_FAILURE(list.ExpectRows()) << "step " << step;
      }
      if (step % 4 == 3) {
        ASSERT_NO_FATAL_FAILURE(list.ExpectHits(text)) << "step " << step << ", looking for " << text;
      }
    }
    early += list.EarlyAnswers;
  }
  EXPECT_GT(early, 3) << "a hit is told before every row was looked at";
}

}  // namespace
}  // namespace korvane::traplist
