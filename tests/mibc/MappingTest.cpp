#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "NotificationMapping.h"
#include "ParserProtocol.h"

namespace korvane::mibc {
namespace {

TEST(MapNotificationOid, FollowsTheRuleOfTheReceiver) {
  struct Case {
    std::vector<unsigned> Oid;
    std::string Enterprise;
    std::int32_t Specific;
  };
  for (const Case& given : std::vector<Case>{
           {{1, 3, 6, 1, 4, 1, 32473, 0, 7}, "1.3.6.1.4.1.32473", 7},    // a 0 before the code goes with it
           {{1, 3, 6, 1, 4, 1, 32473, 5, 7}, "1.3.6.1.4.1.32473.5", 7},  // no 0
           {{1, 3, 6, 1, 4, 1, 32473, 0, 0, 7}, "1.3.6.1.4.1.32473.0", 7},  // one 0 only
           {{1, 3, 6, 1, 4, 1, 32473, 0, 0}, "1.3.6.1.4.1.32473", 0},       // a trap numbered 0
           {{1, 3, 6, 1, 6, 3, 1, 1, 5, 3}, "1.3.6.1.6.3.1.1.5", 3},
           {{1, 3, 6, 1, 4, 1, 9, 0, 4294967295U}, "1.3.6.1.4.1.9", -1},
           {{1}, "", 1}}) {
    const MappedOid mapped = MapNotificationOid(given.Oid);
    EXPECT_EQ(DottedOid(std::span(given.Oid).first(mapped.EnterpriseLength)), given.Enterprise);
    EXPECT_EQ(mapped.SpecificTrap, given.Specific);
  }
  EXPECT_TRUE(IsGenericTrap(std::vector<unsigned>{1, 3, 6, 1, 2, 1, 11, 0, 5}));
  EXPECT_FALSE(IsGenericTrap(std::vector<unsigned>{1, 3, 6, 1, 2, 1, 11, 0, 6}));
}

TEST(DescriptionText, IsFitToBeShown) {
  const std::pair<std::string, std::string> cases[] = {
      {"One line.", "One line."},
      {"\r\n   two lines\r\n   of one\tparagraph  \r\n", "two lines of one paragraph"},
      {"First.\n\n\n  Second.\n", "First.\nSecond."},
      {"See:\n - one\n   goes on\n - two\n 1) three\n10. four\n1999 was long ago",
       "See:\n- one goes on\n- two\n1) three\n10. four 1999 was long ago"},
      {"Stra\xC3\x9F"
       "e \xE2\x9D\x84",
       "Stra\xC3\x9F"
       "e \xE2\x9D\x84"},
      {"St\xF6rung \xB0", "St\xC3\xB6rung \xC2\xB0"},  // Latin-1
      {std::string("a\x1B[31m\0b", 8), "a [31m b"},
      {"", ""}};
  for (const auto& [source, shown] : cases) {
    EXPECT_EQ(DescriptionText(source), shown);
  }
}

TEST(ParserProtocol, BringsAnyTextAcrossAndKnowsTheEnd) {
  const std::string hostile = "tab\t, line\nend, back\\slash \\n";
  const std::string output = ProtocolLine({{"module", "M"}}) +
                             ProtocolLine({{"trap", "1.3", "-7", "name", "maker", hostile}}) +
                             ProtocolLine({{"fault", "a\tb.mib", "12", hostile}});
  ProtocolReader reader;
  for (const char c : output) {
    reader.Take({&c, 1});  // in the smallest pieces that can arrive
  }
  EXPECT_FALSE(reader.Done());
  reader.Take("done\n");
  EXPECT_TRUE(reader.Done() && !reader.Broken());
  const ReadFile result = std::move(reader).Result();
  const Definition expected{"1.3", -7, "name", "maker", hostile};
  EXPECT_EQ(result.Modules.at(0).Definitions.at(0), expected);
  EXPECT_EQ(FaultText(result.Faults.at(0)), "a\tb.mib:12: " + hostile);

  for (const char* line : {"trap\t1\t2\tbefore\tany\tmodule\n", "fault\tf\tno number\tr\n", "nonsense\n"}) {
    ProtocolReader broken;
    broken.Take(line);
    EXPECT_TRUE(broken.Broken()) << line;
  }
}

}  // namespace
}  // namespace korvane::mibc
