#include "store/TrapNames.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <array>
#include <clocale>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "store/Codes.h"
#include "store/ColumnLengths.h"
#include "store/DatabaseError.h"
#include "store/DateTimeText.h"
#include "store/EventTime.h"
#include "support/Files.h"
#include "support/TempFolder.h"
#include "support/TestStore.h"

namespace korvane::store {

namespace {

class TrapNamesTest : public testing::Test {
 protected:
  TrapNamesTest() {
    Made.AddDefinition("1.3.6.1.4.1.10", 3, "tenThree", "tenMIB", "Three of ten.");
    Made.AddDefinition("1.3.6.1.4.1.10", 0, "tenZero", "tenMIB", "");
    Made.AddDefinition("1.3.6.1.4.1.20.0", 3, "twentyThree", "twentyMIB", "Stored with an instance.");
    Made.AddDefinition("1.3.6.1.6.3.1.1.5", 3, "linkDown", "snmpTraps", "A link went down.");
  }

  IncomingTrap Trap(std::string_view oid, std::int32_t specific, std::int32_t generic = 6) {
    IncomingTrap trap;
    trap.EnterpriseOid = oid;
    trap.SpecificTrap = specific;
    trap.GenericTrap = generic;
    return trap;
  }
  std::string NameOf(std::string_view oid, std::int32_t specific) {
    IncomingTrap trap = Trap(oid, specific);
    Names.GetTrapName(trap);
    return std::string(trap.TrapName());
  }

  test::SqliteStore Made;
  TrapNames Names{Made.Db()};
};

TEST_F(TrapNamesTest, NamesByRowThenEnterpriseThenCode) {
  // OID, specific and generic code; names of the trap and its enterprise, and the description.
  const std::tuple<std::string, std::int32_t, std::int32_t, const char*> cases[] = {
      {"1.3.6.1.4.1.10", 3, 6, "tenThree|tenMIB|Three of ten."},
      {"1.3.6.1.4.1.20", 3, 6, "twentyThree|twentyMIB|Stored with an instance."},
      // The enterprise alone, with and without the instance.
      {"1.3.6.1.4.1.10", 9, 6, "1.3.6.1.4.1.10.0.9|tenMIB|"},
      {"1.3.6.1.4.1.20", 9, 6, "1.3.6.1.4.1.20.0.9|twentyMIB|"},
      // Generic traps: their own row, the standard's, or the code's name.
      {"1.3.6.1.4.1.10", 0, 2, "tenZero|tenMIB|"},
      {"1.3.6.1.4.1.20", 0, 2, "linkDown|twentyMIB|A link went down."},
      {"1.3.6.1.4.1.30", 0, 3, "linkUp|1.3.6.1.4.1.30|"},
      // A code that no standard knows.
      {"1.3.6.1.4.1.30", 4, 7, "1.3.6.1.4.1.30.0.4|1.3.6.1.4.1.30|"},
      {"", 4, 6, "enterpriseSpecific||"},
  };
  for (const auto& [stored, specific, generic, names] : cases) {
    for (const std::string& oid : {stored, "." + stored}) {
      IncomingTrap trap = Trap(oid, specific, generic);
      Names.GetTrapName(trap);
      EXPECT_EQ(fmt::format("{}|{}|{}", trap.TrapName(), trap.EnterpriseName(), trap.FurtherDescription()),
                names);
      EXPECT_EQ(trap.EnterpriseOid, stored);
    }
  }
}

TEST_F(TrapNamesTest, AskOncePerKindAndAgainAfterClearing) {
  IncomingTrap known = Trap("1.3.6.1.4.1.10", 3, 6);
  Names.GetTrapName(known);
  const TrapDefinition* const definition = known.Definition;
  const auto others = [this] {
    return Names.GetTrapSpecific(".1.3.6.1.4.1.20", 3) + " " + Names.TranslateOidName("tenMIB") + " " +
           Names.TranslateOidName("1.3.6.1.4.1.20") + Names.TranslateOidName("noMIB") +
           Names.TranslateOidName("1.3.6.1.4.1.99");
  };
  EXPECT_EQ(others(), "twentyThree 1.3.6.1.4.1.10 twentyMIB");
  Made.Execute("DELETE FROM EventStructure");
  Made.AddDefinition("1.3.6.1.4.1.99", 1, "late", "lateMIB", "");  // that there was none is known too
  Names.GetTrapName(known);
  EXPECT_EQ(known.Definition, definition);
  EXPECT_EQ(others(), "twentyThree 1.3.6.1.4.1.10 twentyMIB");
  EXPECT_EQ(Names.TrapsOfEnterprise("lateMIB").size(), 1U);  // a dialog that offers it will want it named
  EXPECT_EQ(others(), "twentyThree 1.3.6.1.4.1.10 twentyMIBlateMIB");
  Names.ClearCache();
  Names.GetTrapName(known);
  EXPECT_EQ(known.TrapName(), "1.3.6.1.4.1.10.0.3");
  EXPECT_EQ(definition->TrapName, "tenThree");  // rows still point at it
  EXPECT_EQ(others(), "  lateMIB");
}

// Nor does a sender that counts its codes or enterprises up cost queries or definitions.
TEST_F(TrapNamesTest, AHostileOidReachesNoStatement) {
  EXPECT_EQ(NameOf("1.3.6.1.4.1.20", 3), "twentyThree");
  NameOf("1.3.6.1.4.1.30", 0);
  std::set<const TrapDefinition*> definitions;
  Made.Execute("DROP TABLE EventStructure");  // any query would throw
  for (std::int32_t code = 1001; code < 1200; ++code) {
    const std::string oid = code % 2 == 0 ? "1.3.6.1.4.1.20" : fmt::format("1.3.6.1.4.1.{}", code);
    IncomingTrap trap = Trap(oid, code);
    Names.GetTrapName(trap);
    EXPECT_EQ(trap.TrapName(), oid + ".0." + std::to_string(code));
    EXPECT_EQ(trap.EnterpriseName(), code % 2 == 0 ? "twentyMIB" : oid);
    definitions.insert(trap.Definition);
    EXPECT_EQ(Names.GetTrapSpecific(oid, code), "");
  }
  EXPECT_EQ(definitions.size(), 2U);
  for (const std::string& oid : {std::string("1.3' OR '1' = '1"), std::string("1.3.\0.6", 7),
                                 std::string("1.3.6\xff"), std::string(70000, 'x'), std::string("..")}) {
    EXPECT_NE(NameOf(oid, 1), "");
    EXPECT_EQ(Names.GetTrapSpecific(oid, 1), "");
    EXPECT_EQ(Names.TranslateOidName("." + oid), "");
  }
  IncomingTrap unread = Trap(".1.3.6.1.4.1.10", 3, 6);  // its look-up fails, so it is named without one
  EXPECT_THROW(Names.GetTrapName(unread), DatabaseError);
  Names.NameWithoutDefinition(unread);
  EXPECT_EQ(unread.TrapName(), "1.3.6.1.4.1.10.0.3");
  EXPECT_EQ(unread.EnterpriseName(), "1.3.6.1.4.1.10");
  using Row = std::pair<std::string_view, std::optional<std::int32_t>>;
  for (const auto& [text, code] : {Row{" -7 ", -7}, Row{"  ", 0}, Row{"7x", {}}, Row{"99999999999", {}}}) {
    EXPECT_EQ(StoredSpecificCode(text), code) << text;
  }
}

// Hides the traps of one source, and notes which kinds it was asked for.
struct SourceVerdict : TrapVerdict {
  bool TrapIsFiltered(const IncomingTrap& trap) const override { return trap.Source == "hidden"; }
  std::int32_t SeverityOf(const IncomingTrap& trap) const override { return trap.Source == "bad" ? 5 : 1; }
  std::size_t Bytes() const override { return 1'000'000; }
};
struct NotingVerdicts : TrapVerdicts {
  std::unique_ptr<TrapVerdict> VerdictFor(std::string_view oid, std::int32_t specific,
                                          std::int32_t generic) override {
    Asked += fmt::format("{}/{}/{} ", oid, specific, generic);
    return std::make_unique<SourceVerdict>();
  }
  bool NamesEnterprise(std::string_view oid) override { return oid.starts_with("1.3.6.1.4.1.10"); }
  bool NamesSpecific(std::int32_t) override { return true; }
  std::string Asked;
};

TEST_F(TrapNamesTest, EveryTrapGetsTheVerdictOfItsKindOnItself) {
  NotingVerdicts verdicts;
  Names.UseVerdicts(verdicts);
  IncomingTrap trap = Trap(".1.3.6.1.4.1.10", 3, 6);
  for (const auto& [source, filtered, severity] :
       {std::tuple{"hidden", true, 1}, std::tuple{"bad", false, 5}, std::tuple{"good", false, 1}}) {
    trap.Source = source;
    Names.GetTrapName(trap);
    EXPECT_EQ(trap.Filtered, filtered);
    EXPECT_EQ(trap.Severity, severity);
  }
  trap.GenericTrap = 2;
  Names.GetTrapName(trap);
  Names.ClearCache();
  Names.GetTrapName(trap);
  EXPECT_EQ(verdicts.Asked, "1.3.6.1.4.1.10/3/6 1.3.6.1.4.1.10/3/2 1.3.6.1.4.1.10/3/2 ");
  verdicts.Asked.clear();
  std::set<std::size_t> bytes;
  for (std::int32_t i = 0; i < 100; ++i) {  // one verdict for what no rule names; the others fill the cache
    EXPECT_EQ(NameOf(fmt::format("1.3.6.1.4.1.7{}", i), 7), fmt::format("1.3.6.1.4.1.7{}.0.7", i));
    NameOf(fmt::format("1.3.6.1.4.1.10{}", i), 7);
    bytes.insert(Names.KindBytes());
  }
  EXPECT_TRUE(verdicts.Asked.starts_with("/7/6 1.3.6.1.4.1.100/7/6 1.3.6.1.4.1.101/7/6 ")) << verdicts.Asked;
  EXPECT_GT(*bytes.rbegin(), TrapNames::kMostKindBytes - 1'100'000);
  EXPECT_LE(*bytes.rbegin(), TrapNames::kMostKindBytes);
}

using Limits = std::numeric_limits<std::int32_t>;

TEST(EventTimeTest, GoesToLocalTimeAndBack) {
  using Time = std::tuple<std::int32_t, std::int32_t, LocalDateTime>;
  for (const auto& [seconds, bias, local] :
       {Time{-1, 0, {1969, 12, 31, 23, 59, 59}}, Time{1709164800 - 3600, -3600, {2024, 2, 29, 0, 0, 0}},
        Time{Limits::min(), 300 * 60, {1901, 12, 13, 15, 45, 52}}}) {
    EXPECT_TRUE(EventTimeToLocal(seconds, bias) == local) << seconds;
    EXPECT_EQ(LocalToEventTime(local, bias), seconds);
  }
  EXPECT_EQ(LocalToEventTime({2100, 1, 1, 0, 0, 0}, 0), Limits::max());
  EXPECT_EQ(LocalToEventTime({1752, 1, 1, 0, 0, 0}, 0), Limits::min());
}

// Twelve hours, digits of another script, dates that name the weekday.
TEST(EventTimeTest, IsWrittenInTheLocale) {
  const test::TempFolder folder;
  test::RunProgram({"localedef", "-i", "my_MM", "-f", "UTF-8", (folder / "my_MM").string()});
  setenv("LOCPATH", folder.Path().c_str(), 1);
  ASSERT_NE(std::setlocale(LC_TIME, "my_MM"), nullptr);
  constexpr std::int32_t kBias = 12'617;
  DateTimeText texts(kBias);
  // Both ends of the range, and times that may have to share a place.
  for (const std::int32_t time : {0, -1, Limits::min(), Limits::max(), 0, 1, 1 << 20, 1 << 28, 1 << 20}) {
    const std::time_t local = std::int64_t{time} - kBias;
    std::tm parts{};
    gmtime_r(&local, &parts);
    std::array<char, 200> text{};
    std::strftime(text.data(), text.size(), "%x %X", &parts);
    EXPECT_EQ(texts.Of(time), text.data()) << time;
  }
  std::setlocale(LC_TIME, "C");
  unsetenv("LOCPATH");
}

TEST(ColumnLengthsTest, AreThoseOfEveryEnginesTables) {
  for (const char* engine : {"sqlite", "postgresql", "mariadb"}) {
    const std::string schema =
        test::ReadFile(fmt::format("{}/install/schema/{}.sql", KORVANE_SOURCE_DIR, engine));
    for (const ColumnLength& length : kColumnLengths) {
      const std::size_t table = schema.find(fmt::format("CREATE TABLE {} (", length.Table));
      const std::size_t column = schema.find(fmt::format("\n  {} ", length.Column), table);
      ASSERT_NE(column, std::string::npos) << engine << length.Table << length.Column;
      EXPECT_NE(schema.substr(column, schema.find('\n', column + 1) - column)
                    .find(fmt::format(" VARCHAR({}) ", length.Characters)),
                std::string::npos)
          << engine << length.Table << length.Column;
    }
  }
}

}  // namespace

}  // namespace korvane::store
