// The row storage, its order and the number set against plain containers, under random operations.
#include "traplist/TrapRows.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <numeric>
#include <random>
#include <set>

#include "intake/SequenceSet.h"
#include "traplist/TrapOrder.h"

namespace korvane::traplist {
namespace {

struct PlainRow {
  std::string Source;
  std::string SystemName;
  std::string EnterpriseOid;
  std::string VarBinds;
  std::string Notes;
  const store::TrapDefinition* Definition = nullptr;
  std::int32_t SpecificTrap = 0;
  std::int32_t Severity = 0;
  std::int32_t EventTime = 0;
  std::int32_t SequenceNumber = 0;
};

store::IncomingTrap TrapOf(const PlainRow& row) {
  store::IncomingTrap trap;
  trap.Source = row.Source;
  trap.SystemName = row.SystemName;
  trap.SystemAddress = "10.0.0.1";
  trap.EnterpriseOid = row.EnterpriseOid;
  trap.VarBinds = row.VarBinds;
  trap.DescriptionLength = row.VarBinds.size() / 2;
  trap.EventNotes = row.Notes;
  trap.Definition = row.Definition;
  trap.SpecificTrap = row.SpecificTrap;
  trap.GenericTrap = 6;
  trap.Severity = row.Severity;
  trap.EventTime = row.EventTime;
  trap.SequenceNumber = row.SequenceNumber;
  return trap;
}

class RowMaker {
 public:
  explicit RowMaker(unsigned seed) : random_(seed) {
    for (int i = 0; i < 9; ++i) {
      definitions_.push_back(
          {.TrapName = "trap" + std::to_string(i / 2), .EnterpriseName = "e", .FurtherDescription = "d"});
    }
  }

  PlainRow Next() {
    const int system = Below(40);
    PlainRow row;
    row.Source = (system % 3 == 0 ? "Router" : "router") + std::to_string(system / 2);
    row.SystemName = Below(50) == 0 ? "renamed" : row.Source;
    row.EnterpriseOid = "1.3.6.1.4.1." + std::to_string(Below(5));
    row.VarBinds = Text();
    row.Notes = Below(10) == 0 ? "note " + std::to_string(Below(1000)) : "";
    row.Definition = &definitions_[static_cast<std::size_t>(Below(9))];
    row.SpecificTrap = Below(3);
    row.Severity = Below(6);
    row.EventTime = Below(50) - 25;
    row.SequenceNumber = ++number_;
    return row;
  }

  int Below(int bound) { return std::uniform_int_distribution<int>(0, bound - 1)(random_); }

 private:
  std::string Text() {
    switch (Below(12)) {
      case 0:
        return {};
      case 1:
        return std::string(static_cast<std::size_t>(Below(80'000)), static_cast<char>('a' + Below(26)));
      case 2:
        return "ifIndex=" + std::string(1, '\0') + std::to_string(Below(10));
      case 3:
        return "ifIndex=1" + std::string(static_cast<std::size_t>(Below(20)), '\0');
      default:
        return (Below(2) == 0 ? "linkDown on ifIndex=" : "LINKDOWN on IFINDEX=") +
               std::to_string(Below(3000));
    }
  }

  std::mt19937 random_;
  std::vector<store::TrapDefinition> definitions_;
  std::int32_t number_ = 0;
};

void ExpectSame(const TrapRows& rows, const std::vector<PlainRow>& plain) {
  ASSERT_EQ(rows.Count(), plain.size());
  for (std::size_t i = 0; i < plain.size(); ++i) {
    const store::IncomingTrap trap = rows.At(i);
    const PlainRow& row = plain[i];
    ASSERT_EQ(trap.Source, row.Source);
    ASSERT_EQ(trap.SystemName, row.SystemName);
    ASSERT_EQ(trap.EnterpriseOid, row.EnterpriseOid);
    ASSERT_EQ(trap.VarBinds, row.VarBinds);
    ASSERT_EQ(trap.DescriptionLength, row.VarBinds.size() / 2);
    ASSERT_EQ(trap.EventNotes, row.Notes);
    ASSERT_EQ(trap.Definition, row.Definition);
    ASSERT_EQ(trap.SpecificTrap, row.SpecificTrap);
    ASSERT_EQ(trap.Severity, row.Severity);
    ASSERT_EQ(trap.EventTime, row.EventTime);
    ASSERT_EQ(trap.SequenceNumber, row.SequenceNumber);
    ASSERT_EQ(rows.Find(row.SequenceNumber), i);
  }
}

// The order a stable sort of the plain rows gives.
std::vector<std::uint32_t> PlainOrder(const std::vector<PlainRow>& plain,
                                      const std::optional<TrapOrder::Sorting>& sorting) {
  std::vector<std::uint32_t> order(plain.size());
  std::iota(order.begin(), order.end(), 0U);
  if (!sorting) {
    return order;
  }
  const auto lower = [](std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    return text;
  };
  const auto less = [&](const PlainRow& a, const PlainRow& b) {
    switch (sorting->Column) {
      case TrapColumn::DateTime:
        return a.EventTime < b.EventTime;
      case TrapColumn::Source:
        return lower(a.Source) < lower(b.Source);
      case TrapColumn::TrapName:
        return lower(a.Definition->TrapName) < lower(b.Definition->TrapName);
      case TrapColumn::Variables:
        return lower(a.VarBinds) < lower(b.VarBinds);
    }
    return false;
  };
  std::stable_sort(order.begin(), order.end(), [&](std::uint32_t a, std::uint32_t b) {
    return sorting->Descending ? less(plain[b], plain[a]) : less(plain[a], plain[b]);
  });
  return order;
}

// Rows and order together live through everything a list does to them.
TEST(TrapRows, AgreeWithPlainRowsUnderRandomOperations) {
  for (unsigned seed = 1; seed <= 6; ++seed) {
    SCOPED_TRACE(seed);
    RowMaker maker(seed);
    TrapRows rows;
    TrapOrder order(rows, SourceShown::SourceText);
    std::vector<PlainRow> plain;
    for (int step = 0; step < 80; ++step) {
      switch (maker.Below(7)) {
        case 0:
        case 1: {
          for (int count = maker.Below(300); count > 0; --count) {
            plain.push_back(maker.Next());
            rows.Append(TrapOf(plain.back()));
          }
          if (order.RowsAppended()) {
            order.MergeAppended();
          }
          break;
        }
        case 2: {
          const int count = maker.Below(static_cast<int>(plain.size()) / 2 + 1);
          std::vector<std::uint32_t> gone(static_cast<std::size_t>(count));
          std::iota(gone.begin(), gone.end(), 0U);
          rows.DropFront(gone.size());
          order.RowsRemoved(gone);
          plain.erase(plain.begin(), plain.begin() + count);
          break;
        }
        case 3: {
          std::vector<std::uint32_t> gone;
          const int one_in = 1 + maker.Below(6);
          for (std::uint32_t row = 0; row < plain.size(); ++row) {
            if (maker.Below(one_in) == 0) {
              gone.push_back(row);
            }
          }
          if (maker.Below(2) == 0) {
            order.MoveToEnd(gone);
            for (std::size_t i = 0; i < gone.size(); ++i) {
              const std::uint32_t last = static_cast<std::uint32_t>(order.RowAt(plain.size() - 1 - i));
              ASSERT_TRUE(std::binary_search(gone.begin(), gone.end(), last));
            }
          }
          rows.Remove(gone);
          order.RowsRemoved(gone);
          for (auto row = gone.rbegin(); row != gone.rend(); ++row) {
            plain.erase(plain.begin() + *row);
          }
          break;
        }
        case 4:
          if (!plain.empty()) {
            const auto row = static_cast<std::size_t>(maker.Below(static_cast<int>(plain.size())));
            plain[row].Notes = maker.Below(3) == 0 ? "" : "changed";
            rows.SetNotes(row, plain[row].Notes);
          }
          break;
        case 5:
          if (maker.Below(4) == 0) {
            order.Sort(std::nullopt);
          } else {
            order.Sort(TrapOrder::Sorting{.Column = static_cast<TrapColumn>(maker.Below(kTrapColumns)),
                                          .Descending = maker.Below(2) == 0});
          }
          break;
        default:
          if (maker.Below(20) == 0) {
            rows.Clear();
            plain.clear();
            order.RowsReset();
          }
      }
      std::vector<std::uint32_t> shown;
      for (std::size_t position = 0; position < plain.size(); ++position) {
        shown.push_back(static_cast<std::uint32_t>(order.RowAt(position)));
      }
      ASSERT_EQ(shown, PlainOrder(plain, order.SortedBy())) << "step " << step;
      if (step % 10 == 0) {
        ASSERT_NO_FATAL_FAILURE(ExpectSame(rows, plain)) << "step " << step;
      }
    }
    ExpectSame(rows, plain);
    EXPECT_EQ(rows.Find(-5), std::nullopt);
  }
}

// A report that is sorted while it loads: in pieces, with rows arriving in between, and in the end the same.
TEST(TrapRows, AreSortedInPortionsAsTheyAreAtOnce) {
  RowMaker maker(11);
  TrapRows rows;
  const auto append = [&](int count) {
    while (count-- > 0) {
      rows.Append(TrapOf(maker.Next()));
    }
  };
  append(13'000);
  TrapOrder order(rows, SourceShown::SystemName);
  TrapOrder atOnce(rows, SourceShown::SystemName);
  for (int column = 0; column < kTrapColumns; ++column) {
    const TrapSorting sorting{.Column = static_cast<TrapColumn>(column), .Descending = column % 2 == 0};
    order.BeginSorting(sorting);
    int portions = 1;
    while (!order.SortSome([] { return true; })) {
      if (++portions == 5) {
        append(50);
        EXPECT_TRUE(order.RowsAppended());
      }
      ASSERT_EQ(order.RowAt(12'000), 12'000U) << "nothing moves before the end";
    }
    EXPECT_GT(portions, 8);
    order.TakeSorted();
    EXPECT_EQ(order.SortedCount(), rows.Count() - 50);
    EXPECT_EQ(order.RowAt(rows.Count() - 50), rows.Count() - 50);
    order.MergeAppended();
    atOnce.Sort(sorting);
    ASSERT_EQ(order.Positions(), atOnce.Positions()) << column;
  }
}

// A window that is open for months sees endless systems and kinds come and go.
TEST(TrapRows, ForgetWhatNoRowUses) {
  TrapRows rows;
  const store::TrapDefinition definition{.TrapName = "t", .EnterpriseName = "e", .FurtherDescription = ""};
  std::size_t most = 0;
  for (int i = 0; i < 20'000; ++i) {
    const std::string source = "host-" + std::to_string(i);
    const std::string oid = "1.3.6.1.4.1." + std::to_string(i);
    store::IncomingTrap trap;
    trap.Source = trap.SystemName = trap.SystemAddress = source;
    trap.EnterpriseOid = oid;
    trap.Definition = &definition;
    trap.SequenceNumber = i;
    rows.Append(trap);
    if (rows.Count() > 100) {
      rows.DropFront(1);
    }
    most = std::max({most, rows.OriginBound(), rows.KindBound()});
  }
  EXPECT_LE(most, 101U);
  EXPECT_EQ(rows.SourceAt(99), "host-19999");
  EXPECT_EQ(rows.SourceAt(0), "host-19900");
}

TEST(SequenceSet, AgreesWithAPlainSet) {
  std::mt19937 random(7);
  std::set<std::int32_t> plain;
  intake::SequenceSet set;
  for (int i = 0; i < 5000; ++i) {
    const auto number = static_cast<std::int32_t>(std::uniform_int_distribution<int>(-1500, 1500)(random));
    ASSERT_EQ(set.Insert(number), plain.insert(number).second);
  }
  for (const std::int32_t edge :
       {std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()}) {
    EXPECT_TRUE(set.Insert(edge));
    EXPECT_TRUE(set.Contains(edge));
    EXPECT_FALSE(set.Insert(edge));
  }
  intake::SequenceSet assigned;
  std::vector<std::int32_t> shuffled(plain.begin(), plain.end());
  std::shuffle(shuffled.begin(), shuffled.end(), random);
  assigned.Assign(shuffled);
  for (std::int32_t number = -1600; number <= 1600; ++number) {
    ASSERT_EQ(set.Contains(number), plain.contains(number)) << number;
    ASSERT_EQ(assigned.Contains(number), plain.contains(number)) << number;
  }
  EXPECT_EQ(set.Runs(), assigned.Runs() + 2);
}

}  // namespace
}  // namespace korvane::traplist
