// A list of traps as its window has it, rows, order and quick find together, against plain containers.
#include "traplist/TrapRows.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <numeric>
#include <random>

#include "store/EventTime.h"
#include "traplist/TrapFinder.h"
#include "traplist/TrapOrder.h"

namespace korvane::traplist {
namespace {

using std::chrono::microseconds;
using Positions = std::vector<std::size_t>;

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

class TrapList {
 public:
  explicit TrapList(SourceShown shown = SourceShown::SourceText)
      : order_(rows_, shown), shown_{rows_, order_, shown, 0} {}

  // Numbered as they come.
  void Append(const std::vector<PlainRow>& rows) {
    for (const PlainRow& row : rows) {
      plain_.push_back(row);
      plain_.back().Number = ++last_;
      rows_.Append(TrapOf(plain_.back()));
    }
    if (order_.RowsAppended()) {
      order_.MergeAppended();
    }
    finder_.RowsAppended(rows_.Count());
  }
  void Remove(const std::vector<std::uint32_t>& gone, bool front) {
    front ? rows_.DropFront(gone.size()) : rows_.Remove(gone);
    order_.RowsRemoved(gone);
    finder_.RowsRemoved(gone);
    for (auto row = gone.rbegin(); row != gone.rend(); ++row) {
      plain_.erase(plain_.begin() + *row);
    }
  }
  void SetNotes(std::size_t row, const std::string& notes) {
    plain_[row].Notes = notes;
    rows_.SetNotes(row, notes);
  }
  void Clear() {
    rows_.Clear();
    order_.RowsReset();
    finder_.RowsReset(0);
    plain_.clear();
  }
  TrapRows& Rows() { return rows_; }
  TrapOrder& Order() { return order_; }
  TrapFinder& Finder() { return finder_; }
  const ShownTraps& Shown() const { return shown_; }
  std::size_t Count() const { return plain_.size(); }

  void ExpectRows() {
    ASSERT_EQ(rows_.Count(), plain_.size());
    for (std::size_t row = 0; row < plain_.size(); ++row) {
      ASSERT_EQ(Fields(rows_.At(row)), Fields(TrapOf(plain_[row])));
      ASSERT_EQ(rows_.Find(plain_[row].Number), row);
    }
    EXPECT_EQ(rows_.Find(last_ + 1), std::nullopt);
  }

  // The order is the one that a stable sort of the plain rows gives.
  void ExpectOrder() const {
    std::vector<std::uint32_t> expected(plain_.size());
    std::iota(expected.begin(), expected.end(), 0U);
    if (const auto& sorting = order_.SortedBy()) {
      std::vector<std::string> keys;
      std::ranges::transform(plain_, std::back_inserter(keys), [&](const PlainRow& row) {
        const std::string texts[] = {fmt::format("{:09}", row.Time), row.Source, row.Name, row.VarBinds};
        return FoldCase(texts[static_cast<int>(sorting->Column)]);
      });
      std::ranges::stable_sort(expected, [&](std::uint32_t a, std::uint32_t b) {
        return sorting->Descending ? keys[b] < keys[a] : keys[a] < keys[b];
      });
    }
    std::vector<std::uint32_t> shown;
    for (std::size_t position = 0; position < plain_.size(); ++position) {
      shown.push_back(static_cast<std::uint32_t>(order_.RowAt(position)));
    }
    ASSERT_EQ(shown, expected);
  }

  // The finder's hits from the top, once it has looked at every row.
  Positions Hits() {
    while (finder_.Step(shown_, microseconds(0))) {
    }
    Positions hits;
    for (std::size_t from = 0; hits.size() < finder_.Hits(); from = hits.back() + 1) {
      const TrapFinder::Place place = finder_.FirstFrom(shown_, from);
      if (!place.Settled || !place.Position) {
        ADD_FAILURE() << "no hit from " << from << " on";
        break;
      }
      hits.push_back(*place.Position);
      EXPECT_EQ(finder_.NumberOf(shown_, hits.back()), hits.size());
    }
    return hits;
  }
  Positions Find(std::string_view text) {
    finder_.Find(shown_, text, 0);
    return Hits();
  }
  // By the texts of the cells, one by one.
  Positions PlainHits(std::string_view text) const {
    Positions hits;
    for (std::size_t position = 0; position < plain_.size() && !text.empty(); ++position) {
      const PlainRow& row = plain_[order_.RowAt(position)];
      const std::string date = store::FormatDateTime(store::EventTimeToLocal(row.Time, 0));
      const std::string cells[] = {date, row.Source, row.Name, row.VarBinds};
      if (std::ranges::any_of(cells, [&](const std::string& cell) {
            return ContainsIgnoreCase(cell, text) || ContainsIgnoreCase(VisibleText(cell), text);
          })) {
        hits.push_back(position);
      }
    }
    return hits;
  }

 private:
  store::IncomingTrap TrapOf(const PlainRow& row) {
    systemName_ = (row.Number % 50 == 0 ? "renamed " : "name of ") + row.Source;
    enterpriseOid_ = fmt::format("1.3.6.1.4.1.{}", row.Number % 5);
    store::TrapDefinition& definition = definitions_[{row.Name, row.Number % 2}];
    definition.TrapName = row.Name;
    store::IncomingTrap trap;
    trap.Source = row.Source;
    trap.SystemName = systemName_;
    trap.SystemAddress = "10.0.0.1";
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

  TrapRows rows_;
  TrapOrder order_;
  TrapFinder finder_;
  ShownTraps shown_;
  std::vector<PlainRow> plain_;
  std::int32_t last_ = 0;
  std::string systemName_;
  std::string enterpriseOid_;
  std::map<std::pair<std::string, std::int32_t>, store::TrapDefinition> definitions_;
};

class RowMaker {
 public:
  explicit RowMaker(unsigned seed) : random_(seed) {}
  std::size_t Below(std::size_t bound) { return random_() % bound; }
  bool OneIn(std::size_t times) { return Below(times) == 0; }

  std::vector<PlainRow> Next(std::size_t count) {
    std::vector<PlainRow> rows;
    while (count-- > 0) {
      rows.push_back({.Source = fmt::format("{}{}", OneIn(3) ? "Router" : "router", Below(20)),
                      .Name = fmt::format("trap{}", Below(5)),
                      .VarBinds = Text(),
                      .Time = static_cast<std::int32_t>(Below(50) * 5000),
                      .Notes = OneIn(10) ? fmt::format("note {}", Below(1000)) : ""});
    }
    return rows;
  }

 private:
  std::string Text() {
    switch (Below(12)) {
      case 0:
        return {};
      case 1:
        return std::string(Below(OneIn(20) ? 80'000 : 3'000), static_cast<char>('a' + Below(26)));
      case 2:
        return "ifIndex=1" + std::string(Below(20), '\0') + (OneIn(2) ? "7" : "");
      default:
        return fmt::format("{}={}", OneIn(2) ? "linkDown on ifIndex" : "LINKDOWN on IFINDEX", Below(3000));
    }
  }

  std::mt19937 random_;
};

// Rows, order and hits live through everything that happens to a list, also between two steps of the finder.
TEST(TrapRowsTest, AgreeWithPlainRowsUnderRandomOperations) {
  const char* const texts[] = {"1", "12", "r1", "R2", "trap3", "down on IF", "0:0", "", "-0", "e", "x=1"};
  for (unsigned seed = 1; seed <= 12; ++seed) {
    SCOPED_TRACE(seed);
    RowMaker random(seed);
    TrapList list;
    std::string text;
    for (int step = 0; step < 80; ++step) {
      std::vector<std::uint32_t> rows(list.Count());
      std::iota(rows.begin(), rows.end(), 0U);
      switch (random.Below(9)) {
        case 0:
        case 1:
          list.Append(random.Next(random.Below(200)));
          break;
        case 2:
          rows.resize(random.Below(rows.size() / 2 + 1));
          list.Remove(rows, true);
          break;
        case 3: {
          std::erase_if(rows, [&, oneIn = random.Below(6) + 1](auto) { return !random.OneIn(oneIn); });
          if (random.OneIn(2)) {
            list.Order().MoveToEnd(rows);
            for (std::size_t i = 0; i < rows.size(); ++i) {
              const auto last = static_cast<std::uint32_t>(list.Order().RowAt(list.Count() - 1 - i));
              ASSERT_TRUE(std::ranges::binary_search(rows, last));
            }
          }
          list.Remove(rows, false);
          break;
        }
        case 4:
          if (list.Count() > 0) {
            list.SetNotes(random.Below(list.Count()), random.OneIn(3) ? "" : "changed");
          }
          break;
        case 5:
          list.Order().Sort(random.OneIn(4) ? std::nullopt
                                            : std::optional(TrapSorting{TrapColumn{int(random.Below(4))},
                                                                        random.OneIn(2)}));
          break;
        case 6:  // typed on, or another text
          text = random.OneIn(2) ? text + std::to_string(random.Below(3)) : texts[random.Below(11)];
          list.Finder().Find(list.Shown(), text, random.Below(list.Count() + 1));
          break;
        case 7:
          list.Finder().Step(list.Shown(), microseconds(0));
          break;
        default:
          if (random.OneIn(20)) {
            list.Clear();
          }
      }
      ASSERT_NO_FATAL_FAILURE(list.ExpectOrder()) << "step " << step;
      if (step % 10 == 9) {
        ASSERT_NO_FATAL_FAILURE(list.ExpectRows()) << "step " << step;
      }
      if (step % 20 == 19) {
        ASSERT_EQ(list.Hits(), list.PlainHits(text)) << "step " << step << ", looking for " << text;
      }
    }
  }
}

// A report that is sorted while it loads: in pieces, with rows arriving in between, and in the end the same.
TEST(TrapRowsTest, AreSortedInPortionsAsTheyAreAtOnce) {
  RowMaker maker(11);
  TrapList list(SourceShown::SystemName);
  list.Append(maker.Next(13'000));
  TrapOrder order(list.Rows(), SourceShown::SystemName);
  for (int column = 0; column < kTrapColumns; ++column) {
    const TrapSorting sorting{.Column = static_cast<TrapColumn>(column), .Descending = column % 2 == 0};
    const std::size_t before = list.Count();
    order.BeginSorting(sorting);
    int portions = 1;
    while (!order.SortSome([] { return true; })) {
      if (++portions == 5) {
        list.Append(maker.Next(50));
        EXPECT_TRUE(order.RowsAppended());
      }
      ASSERT_EQ(order.RowAt(12'000), 12'000U) << "nothing moves before the end";
    }
    EXPECT_GT(portions, 8);
    order.TakeSorted();
    EXPECT_EQ(order.SortedCount(), before);
    EXPECT_EQ(order.RowAt(before), before);
    order.MergeAppended();
    list.Order().Sort(sorting);
    ASSERT_EQ(order.Positions(), list.Order().Positions()) << column;
  }
}

// A window that is open for months sees endless systems and kinds come and go.
TEST(TrapRowsTest, ForgetWhatNoRowUses) {
  TrapRows rows;
  std::size_t most = 0;
  for (int i = 0; i < 20'000; ++i) {
    const std::string text = std::to_string(i);
    store::IncomingTrap trap;
    trap.Source = trap.EnterpriseOid = text;
    rows.Append(trap);
    if (rows.Count() > 100) {
      rows.DropFront(1);
    }
    most = std::max({most, rows.OriginBound(), rows.KindBound()});
  }
  EXPECT_LE(most, 101U);
  EXPECT_EQ(rows.SourceAt(99), "19999");
  EXPECT_EQ(rows.SourceAt(0), "19900");
}

TEST(TrapFinderTest, LooksAtEveryCellAsItIsShown) {
  TrapList traps;
  traps.Append({{"Router1", "linkDown", "ifIndex = 3", 86'399},           // 0
                {"10.0.0.7", "coldStart", "", 86'400},                    // 1
                {"core-2", "Überlast", "straße GROSS"},                   // 2
                {"core-3", "x", std::string("tab\there\nnul\0end", 16)},  // 3
                {"core-4", "x", "broken \xFF byte"},                      // 4
                {"core-5", "x", std::string(70'000, 'a') + "Needle"},     // 5
                {"core-6", "x", std::string(5'000, 'b') + "\xC3\x84"}});  // 6
  const std::vector<std::pair<std::string_view, Positions>> cases = {{"ROUTER1", {0}},
                                                                     {"COLDstart", {1}},
                                                                     {"überLAST", {2}},
                                                                     {"STRASSE", {2}},
                                                                     {"ä", {6}},
                                                                     {"needle", {5}},
                                                                     {"tab\there", {3}},
                                                                     {"tab␉HERE␊nul␀", {3}},
                                                                     {"\xEF\xBF\xBD", {4}},
                                                                     {"1970-01-01 23:59:59", {0}},
                                                                     {"02 00:0", {1}},
                                                                     {"1970", {0, 1, 2, 3, 4, 5, 6}},
                                                                     {"core-", {2, 3, 4, 5, 6}},
                                                                     {"name of", {}},
                                                                     {"core-7", {}},
                                                                     {"linkDownifIndex", {}},
                                                                     {"", {}}};
  for (const auto& [text, hits] : cases) {
    EXPECT_EQ(traps.Find(text), hits) << text;
  }
  TrapList report(SourceShown::SystemName);
  report.Append({{"Router1", "linkDown", ""}});
  EXPECT_EQ(report.Find("name of r"), Positions{0}) << "a report shows the system's name";
}

TEST(TrapFinderTest, GoesRoundTheListInTheOrderThatIsShown) {
  TrapList traps;
  traps.Append(
      {{"s", "n", "d hit"}, {"s", "n", "a"}, {"s", "n", "c hit"}, {"s", "n", "b"}, {"s", "n", "a hit"}});
  EXPECT_EQ(traps.Find("hit"), (Positions{0, 2, 4}));
  const auto previous = [&](std::size_t from) {
    return traps.Finder().LastBefore(traps.Shown(), from).Position.value();
  };
  EXPECT_EQ(traps.Finder().FirstFrom(traps.Shown(), 5).Position, 0U);
  EXPECT_EQ(previous(2), 0U);
  EXPECT_EQ(previous(0), 4U);
  EXPECT_EQ(traps.Finder().NumberOf(traps.Shown(), 3), 0U);
  traps.Order().Sort(TrapSorting{.Column = TrapColumn::Variables});  // a, a hit, b, c hit, d hit
  EXPECT_EQ(traps.Hits(), (Positions{1, 3, 4}));
  EXPECT_EQ(previous(1), 4U);
}

TEST(TrapFinderTest, AnswersBeforeItsEndOnlyWhatNothingCanChange) {
  TrapList traps;
  const std::string padding(5'000, '.');  // so that a step looks at few rows
  for (int row = 0; row < 200; ++row) {
    traps.Append({{"s", "n", (row == 50 || row == 120 ? "hit" : "") + padding}});
  }
  TrapFinder& finder = traps.Finder();
  finder.Find(traps.Shown(), "hit", 100);
  EXPECT_FALSE(finder.FirstFrom(traps.Shown(), 100).Settled);
  while (finder.Hits() == 0) {
    ASSERT_TRUE(finder.Step(traps.Shown(), microseconds(0)));
  }
  EXPECT_TRUE(finder.FirstFrom(traps.Shown(), 100).Settled);
  EXPECT_EQ(finder.FirstFrom(traps.Shown(), 100).Position, 120U);
  EXPECT_FALSE(finder.FirstFrom(traps.Shown(), 121).Settled);
  EXPECT_FALSE(finder.LastBefore(traps.Shown(), 100).Settled);
  EXPECT_EQ(traps.Hits(), (Positions{50, 120}));
  EXPECT_EQ(finder.FirstFrom(traps.Shown(), 121).Position, 50U);
  EXPECT_TRUE(finder.LastBefore(traps.Shown(), 100).Settled);
}

}  // namespace
}  // namespace korvane::traplist
