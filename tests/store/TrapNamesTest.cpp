#include "store/TrapNames.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "store/Codes.h"
#include "store/DatabaseError.h"
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
    Made.AddDefinition("1.3.6.1.6.3.1.1.5", 1, "coldStart", "snmpTraps", "A cold start.");
  }

  IncomingTrap Trap(std::string_view oid, std::int32_t specific, std::int32_t generic) {
    IncomingTrap trap;
    trap.EnterpriseOid = oid;
    trap.SpecificTrap = specific;
    trap.GenericTrap = generic;
    return trap;
  }

  test::SqliteStore Made;
  TrapNames Names{Made.Db()};
};

TEST_F(TrapNamesTest, NamesByRowThenEnterpriseThenCode) {
  struct Case {
    std::string_view Oid;
    std::int32_t Specific, Generic;
    std::string_view TrapName, EnterpriseName, Description;
  };
  const std::vector<Case> cases = {
      {"1.3.6.1.4.1.10", 3, 6, "tenThree", "tenMIB", "Three of ten."},
      {"1.3.6.1.4.1.20", 3, 6, "twentyThree", "twentyMIB", "Stored with an instance."},
      // The enterprise alone, with and without the instance.
      {"1.3.6.1.4.1.10", 9, 6, "1.3.6.1.4.1.10.0.9", "tenMIB", ""},
      {"1.3.6.1.4.1.20", 9, 6, "1.3.6.1.4.1.20.0.9", "twentyMIB", ""},
      {"1.3.6.1.4.1.30", 9, 6, "1.3.6.1.4.1.30.0.9", "1.3.6.1.4.1.30", ""},
      // Generic traps: their own row, the standard's, or the code's name.
      {"1.3.6.1.4.1.10", 0, 2, "tenZero", "tenMIB", ""},
      {"1.3.6.1.4.1.20", 0, 2, "linkDown", "twentyMIB", "A link went down."},
      {"1.3.6.1.4.1.30", 0, 2, "linkDown", "1.3.6.1.4.1.30", "A link went down."},
      {"1.3.6.1.6.3.1.1.5", 0, 0, "coldStart", "snmpTraps", "A cold start."},
      {"1.3.6.1.4.1.30", 0, 3, "linkUp", "1.3.6.1.4.1.30", ""},
      // A code that no standard knows.
      {"1.3.6.1.4.1.30", 4, 7, "1.3.6.1.4.1.30.0.4", "1.3.6.1.4.1.30", ""},
      {"1.3.6.1.4.1.30", 4, -1, "1.3.6.1.4.1.30.0.4", "1.3.6.1.4.1.30", ""},
      {"", 4, 6, "enterpriseSpecific", "", ""},
  };
  for (const Case& each : cases) {
    for (const std::string& oid : {std::string(each.Oid), "." + std::string(each.Oid)}) {
      SCOPED_TRACE(oid);
      IncomingTrap trap = Trap(oid, each.Specific, each.Generic);
      for (int turn = 0; turn < 2; ++turn) {
        Names.GetTrapName(trap);
        EXPECT_EQ(trap.TrapName(), each.TrapName);
        EXPECT_EQ(trap.EnterpriseName(), each.EnterpriseName);
        EXPECT_EQ(trap.FurtherDescription(), each.Description);
        EXPECT_EQ(trap.EnterpriseOid, each.Oid);
      }
    }
  }
}

TEST_F(TrapNamesTest, AskOncePerKindAndAgainAfterClearing) {
  IncomingTrap known = Trap("1.3.6.1.4.1.10", 3, 6);
  Names.GetTrapName(known);
  const TrapDefinition* const definition = known.Definition;
  const auto others = [this] {
    return Names.GetTrapSpecific(".1.3.6.1.4.1.20", 3) + " " + Names.TranslateOidName("tenMIB") + " " +
           Names.TranslateOidName("1.3.6.1.4.1.20") + Names.TranslateOidName("noMIB");
  };
  EXPECT_EQ(others(), "twentyThree 1.3.6.1.4.1.10 twentyMIB");
  Made.Execute("DELETE FROM EventStructure");
  Made.AddDefinition("1.3.6.1.4.1.99", 1, "late", "noMIB", "");  // that there was none is known too
  Names.GetTrapName(known);
  EXPECT_EQ(known.Definition, definition);
  EXPECT_EQ(others(), "twentyThree 1.3.6.1.4.1.10 twentyMIB");
  Names.ClearCache();
  Names.GetTrapName(known);
  EXPECT_EQ(known.TrapName(), "1.3.6.1.4.1.10.0.3");
  EXPECT_EQ(definition->TrapName, "tenThree");  // rows still point at it
  EXPECT_EQ(others(), "  1.3.6.1.4.1.99");
  Made.AddDefinition("1.3.6.1.4.1.10", 3, "tenThree", "tenMIB", "Three of ten.");
  Names.ClearCache();
  Names.GetTrapName(known);
  EXPECT_EQ(known.Definition, definition);  // equal definitions are one object
}

// Nor does a sender that counts its codes up, which makes a kind of each trap, cost queries.
TEST_F(TrapNamesTest, AHostileOidReachesNoStatement) {
  for (const std::string_view oid : {"1.3.6.1.4.1.20", "1.3.6.1.4.1.30"}) {
    IncomingTrap first = Trap(oid, 1000, 6);
    Names.GetTrapName(first);
  }
  IncomingTrap defined = Trap("1.3.6.1.4.1.20", 3, 6);
  Names.GetTrapName(defined);
  EXPECT_EQ(defined.TrapName(), "twentyThree");
  Made.Execute("DROP TABLE EventStructure");  // any query would throw
  for (std::int32_t code = 1001; code < 1200; ++code) {
    IncomingTrap trap = Trap(code % 2 == 0 ? "1.3.6.1.4.1.20" : "1.3.6.1.4.1.30", code, 6);
    Names.GetTrapName(trap);
    EXPECT_EQ(trap.TrapName(), std::string(trap.EnterpriseOid) + ".0." + std::to_string(code));
    EXPECT_EQ(Names.GetTrapSpecific(trap.EnterpriseOid, code), "");
  }
  for (const std::string& oid :
       {std::string("1.3' OR '1' = '1"), std::string("1.3.\0.6", 7), std::string("1.3.6\xff"),
        std::string("1,3"), std::string(70000, 'x'), std::string("..")}) {
    IncomingTrap trap = Trap(oid, 1, 6);
    Names.GetTrapName(trap);
    EXPECT_FALSE(trap.TrapName().empty());
    EXPECT_EQ(Names.GetTrapSpecific(oid, 1), "");
    EXPECT_EQ(Names.TranslateOidName("." + oid), "");
  }
  EXPECT_THROW(Names.TranslateOidName("O'Brien"), DatabaseError);
  IncomingTrap unread = Trap(".1.3.6.1.4.1.40", 7, 6);  // its look-up fails, so it is named without one
  EXPECT_THROW(Names.GetTrapName(unread), DatabaseError);
  EXPECT_EQ(unread.EnterpriseOid, ".1.3.6.1.4.1.40");
  Names.NameWithoutDefinition(unread);
  EXPECT_EQ(unread.TrapName(), "1.3.6.1.4.1.40.0.7");
  EXPECT_EQ(unread.EnterpriseName(), "1.3.6.1.4.1.40");
}

TEST(CodesTest, AStoredSpecificCodeIsANumberOrAny) {
  using Row = std::pair<std::string_view, std::optional<std::int32_t>>;
  for (const auto& [text, code] : {Row{"7", 7}, Row{" -7 ", -7}, Row{"", 0}, Row{"  ", 0}, Row{"7x", {}},
                                   Row{"1 2", {}}, Row{"99999999999", {}}}) {
    EXPECT_EQ(StoredSpecificCode(text), code) << text;
  }
}

// Hides the traps of one source; a trap of severity says so in its bindings.
struct SourceVerdict : TrapVerdict {
  bool TrapIsFiltered(const IncomingTrap& trap) const override { return trap.Source == "hidden"; }
  std::int32_t SeverityOf(const IncomingTrap& trap) const override { return trap.VarBinds == "bad" ? 5 : 1; }
};

struct CountingVerdicts : TrapVerdicts {
  std::unique_ptr<TrapVerdict> VerdictFor(std::string_view oid, std::int32_t specific,
                                          std::int32_t generic) override {
    Asked += fmt::format("{}/{}/{} ", oid, specific, generic);
    return std::make_unique<SourceVerdict>();
  }
  std::string Asked;
};

TEST_F(TrapNamesTest, EveryTrapGetsTheVerdictOfItsKindOnItself) {
  IncomingTrap trap = Trap(".1.3.6.1.4.1.10", 3, 6);
  Names.GetTrapName(trap);
  EXPECT_EQ(trap.Severity, 0);
  EXPECT_FALSE(trap.Filtered);
  CountingVerdicts verdicts;
  Names.UseVerdicts(verdicts);
  for (const auto& [source, bindings, filtered, severity] :
       {std::tuple{"hidden", "bad", true, 5}, std::tuple{"seen", "bad", false, 5},
        std::tuple{"seen", "good", false, 1}}) {
    trap.Source = source;
    trap.VarBinds = bindings;
    Names.GetTrapName(trap);
    EXPECT_EQ(trap.Filtered, filtered);
    EXPECT_EQ(trap.Severity, severity);
  }
  trap.GenericTrap = 2;
  Names.GetTrapName(trap);
  Names.ClearCache();
  Names.GetTrapName(trap);
  EXPECT_EQ(verdicts.Asked, "1.3.6.1.4.1.10/3/6 1.3.6.1.4.1.10/3/2 1.3.6.1.4.1.10/3/2 ");
}

TEST_F(TrapNamesTest, OffersEnterprisesAndTheirTraps) {
  Made.AddDefinition("1.3.6.1.4.1.10", 4, "Alpha", "tenMIB", "");
  Made.AddDefinition("1.3.6.1.4.1.40", 1, "x", "AMib", "");
  Made.AddDefinition("1.3.6.1.4.1.41", 1, "x", "", "");
  EXPECT_EQ(Names.EnterpriseNames(), (std::vector<std::string>{"AMib", "snmpTraps", "tenMIB", "twentyMIB"}));
  std::string offered;
  for (const NamedTrap& trap : Names.TrapsOfEnterprise("tenMIB")) {
    offered += fmt::format("{} {}.{}, ", trap.TrapName, trap.EnterpriseOid, trap.SpecificTrap);
  }
  EXPECT_EQ(offered, "Alpha 1.3.6.1.4.1.10.4, tenThree 1.3.6.1.4.1.10.3, tenZero 1.3.6.1.4.1.10.0, ");
  EXPECT_TRUE(Names.TrapsOfEnterprise("none").empty());
  EXPECT_THROW(Names.TrapsOfEnterprise("O'Brien"), DatabaseError);
}

}  // namespace

}  // namespace korvane::store
