// The quick find of trap lists: what counts as a hit, and that its hits stay right whatever happens to the
// list between two steps.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <numeric>
#include <random>

#include <fmt/format.h>

#include "store/EventTime.h"
#include "traplist/TrapFinder.h"

namespace korvane::traplist {
namespace {

using std::chrono::microseconds;
using testing::ElementsAre;

// A list of traps without a window.
class TrapList {
 public:
  explicit TrapList(SourceShown shown = SourceShown::SourceText) : shown_(shown), order_(rows_, shown) {}

  void Append(const store::IncomingTrap& trap) {
    rows_.Append(trap);
    if (order_.RowsAppended()) {
      order_.MergeAppended();
    }
  }
  void Append(std::string_view source, std::string_view name, std::string_view varBinds,
              std::int32_t time = 0) {
    store::TrapDefinition& definition = definitions_[std::string(name)];
    definition.TrapName = name;
    store::IncomingTrap trap;
    trap.Source = source;
    const std::string systemName = "name of " + std::string(source);
    trap.SystemName = systemName;
    trap.VarBinds = varBinds;
    trap.Definition = &definition;
    trap.EventTime = time;
    trap.SequenceNumber = static_cast<std::int32_t>(rows_.Count());
    Append(trap);
  }
  void Remove(const std::vector<std::uint32_t>& rows) {
    rows_.Remove(rows);
    order_.RowsRemoved(rows);
  }
  void Clear() {
    rows_.Clear();
    order_.RowsReset();
  }
  TrapOrder& Order() { return order_; }
  ShownTraps Shown() const { return {.Rows = rows_, .Order = order_, .Source = shown_, .TimeZoneBias = 0}; }

  // By the texts of the cells, one by one.
  std::vector<std::size_t> HitPositions(std::string_view text) const {
    std::vector<std::size_t> hits;
    const ShownTraps list = Shown();
    for (std::size_t position = 0; position < list.Count(); ++position) {
      const store::IncomingTrap trap = list.At(position);
      const std::string date =
          store::FormatDateTime(store::EventTimeToLocal(trap.EventTime, list.TimeZoneBias));
      for (const std::string_view cell :
           {std::string_view(date), list.SourceText(trap), trap.TrapName(), trap.VarBinds}) {
        if (ContainsIgnoreCase(cell, text) || ContainsIgnoreCase(VisibleText(cell), text)) {
          hits.push_back(position);
          break;
        }
      }
    }
    return hits;
  }

 private:
  SourceShown shown_;
  TrapRows rows_;
  TrapOrder order_;
  std::map<std::string, store::TrapDefinition> definitions_;
};

// What the finder itself says, walking from hit to hit.
std::vector<std::size_t> Walk(const TrapFinder& finder, const ShownTraps& list) {
  std::vector<std::size_t> hits;
  std::size_t from = 0;
  while (hits.size() < finder.Hits()) {
    const TrapFinder::Place place = finder.FirstFrom(list, from);
    if (!place.Settled || !place.Position) {
      ADD_FAILURE() << "no hit from " << from << " on";
      break;
    }
    hits.push_back(*place.Position);
    EXPECT_EQ(finder.NumberOf(list, hits.back()), hits.size());
    from = hits.back() + 1;
  }
  return hits;
}

std::vector<std::size_t> Find(const TrapList& traps, std::string_view text) {
  TrapFinder finder;
  finder.Find(traps.Shown(), text, 0);
  while (finder.Step(traps.Shown(), microseconds(0))) {
  }
  return Walk(finder, traps.Shown());
}

TEST(TrapFinder, LooksAtEveryCellAsItIsShown) {
  TrapList traps;
  traps.Append("Router1", "linkDown", "ifIndex = 3", 86'399);              // 0
  traps.Append("10.0.0.7", "coldStart", "", 86'400);                       // 1
  traps.Append("core-2", "Überlast", "straße GROSS", 0);                   // 2
  traps.Append("core-3", "x", std::string("tab\there\nnul\0end", 16), 0);  // 3
  traps.Append("core-4", "x", "broken \xFF byte", 0);                      // 4
  traps.Append("core-5", "x", std::string(70'000, 'a') + "Needle", 0);     // 5
  traps.Append("core-6", "x", std::string(5'000, 'b') + "\xC3\x84", 0);    // 6
  const std::vector<std::pair<std::string_view, std::vector<std::size_t>>> cases = {
      {"ROUTER1", {0}},
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
      {"", {}},
  };
  for (const auto& [text, hits] : cases) {
    EXPECT_EQ(Find(traps, text), hits) << text;
  }

  TrapList report(SourceShown::SystemName);
  report.Append("Router1", "linkDown", "");
  EXPECT_THAT(Find(report, "name of r"), ElementsAre(0)) << "a report shows the system's name";
}

TEST(TrapFinder, GoesRoundTheListInTheOrderThatIsShown) {
  TrapList traps;
  for (const char* varBinds : {"d hit", "a", "c hit", "b", "a hit"}) {
    traps.Append("s", "n", varBinds);
  }
  TrapFinder finder;
  finder.Find(traps.Shown(), "hit", 1);
  while (finder.Step(traps.Shown(), microseconds(0))) {
  }
  const auto next = [&](std::size_t from) { return *finder.FirstFrom(traps.Shown(), from).Position; };
  const auto previous = [&](std::size_t from) { return *finder.LastBefore(traps.Shown(), from).Position; };
  EXPECT_EQ(next(0), 0U);
  EXPECT_EQ(next(1), 2U);
  EXPECT_EQ(next(5), 0U);
  EXPECT_EQ(previous(2), 0U);
  EXPECT_EQ(previous(0), 4U);
  EXPECT_EQ(finder.NumberOf(traps.Shown(), 4), 3U);
  EXPECT_EQ(finder.NumberOf(traps.Shown(), 3), 0U);

  traps.Order().Sort(TrapOrder::Sorting{.Column = TrapColumn::Variables});  // a, a hit, b, c hit, d hit
  EXPECT_EQ(next(0), 1U);
  EXPECT_EQ(next(2), 3U);
  EXPECT_EQ(previous(1), 4U);
  EXPECT_EQ(finder.NumberOf(traps.Shown(), 1), 1U);
}

TEST(TrapFinder, AnswersBeforeItsEndOnlyWhatNothingCanChange) {
  TrapList traps;
  const std::string padding(5'000, '.');  // so that a step looks at few rows
  for (int row = 0; row < 200; ++row) {
    traps.Append("s", "n", (row == 50 || row == 120 ? "hit" : "") + padding);
  }
  TrapFinder finder;
  finder.Find(traps.Shown(), "hit", 100);
  EXPECT_FALSE(finder.FirstFrom(traps.Shown(), 100).Settled);
  while (finder.Hits() == 0) {
    ASSERT_TRUE(finder.Step(traps.Shown(), microseconds(0)));
  }
  const TrapFinder::Place first = finder.FirstFrom(traps.Shown(), 100);
  EXPECT_TRUE(first.Settled);
  EXPECT_EQ(first.Position, 120U);
  EXPECT_FALSE(finder.FirstFrom(traps.Shown(), 121).Settled);
  EXPECT_FALSE(finder.LastBefore(traps.Shown(), 100).Settled);
  while (finder.Step(traps.Shown(), microseconds(0))) {
  }
  EXPECT_EQ(finder.FirstFrom(traps.Shown(), 121).Position, 50U);
  EXPECT_TRUE(finder.LastBefore(traps.Shown(), 100).Settled);
}

// Steps of the finder among whatever happens to a list; in the end it must have found what is there.
TEST(TrapFinder, HitsStayRightWhateverHappensToTheList) {
  std::mt19937 random(815);
  const auto number = [&](std::size_t bound) { return random() % bound; };
  const std::vector<std::string> texts = {"1",   "12", "r1", "R2", "name3",  "E 9",
                                          "0:0", "",   "-0", "e",  "value 1"};
  for (int round = 0; round < 60; ++round) {
    TrapList traps;
    TrapFinder finder;
    std::string text;
    int arrived = 0;
    for (int act = 0; act < 60; ++act) {
      const std::size_t count = traps.Shown().Count();
      switch (number(8)) {
        case 0:
        case 1:
          for (std::size_t i = number(150); i > 0; --i, ++arrived) {
            traps.Append(fmt::format("r{}", arrived / 50), fmt::format("name{}", number(5)),
                         fmt::format("value {}", number(50)), arrived * 13);
          }
          finder.RowsAppended(traps.Shown().Count());
          break;
        case 2: {
          std::vector<std::uint32_t> rows(count);
          std::iota(rows.begin(), rows.end(), 0U);
          if (number(2) == 0) {
            rows.resize(number(count + 1));  // the oldest
          } else {
            std::erase_if(rows, [&](std::uint32_t) { return number(3) != 0; });
          }
          traps.Remove(rows);
          finder.RowsRemoved(rows);
          break;
        }
        case 3:
          traps.Order().Sort(number(3) == 0
                                 ? std::optional<TrapOrder::Sorting>()
                                 : TrapOrder::Sorting{.Column = static_cast<TrapColumn>(number(kTrapColumns)),
                                                      .Descending = number(2) == 0});
          break;
        case 4:
          if (number(6) == 0) {
            traps.Clear();
            finder.RowsReset(0);
          }
          break;
        case 5:
          // Typed on, or another text.
          text = number(2) == 0 ? text + std::to_string(number(3)) : texts[number(texts.size())];
          finder.Find(traps.Shown(), text, number(count + 1));
          break;
        default:
          finder.Step(traps.Shown(), microseconds(0));
      }
    }
    while (finder.Step(traps.Shown(), microseconds(0))) {
    }
    const auto expected = text.empty() ? std::vector<std::size_t>() : traps.HitPositions(text);
    ASSERT_EQ(Walk(finder, traps.Shown()), expected) << "round " << round << ", looking for " << text;
  }
}

}  // namespace
}  // namespace korvane::traplist
