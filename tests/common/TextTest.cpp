#include "common/Text.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace korvane {
namespace {

using namespace std::string_literals;

struct Pair {
  std::string A, B;
  bool Holds;
};

TEST(TextTest, ComparesAndFindsIgnoringCaseAndNeverInsideACharacter) {
  for (const auto& [a, b, equal] :
       {Pair{"Router-7", "rOUTER-7", true}, Pair{"Router-7", "Router-77", false},
        Pair{"@AMZ[\\`amz{~", "@amz[\\`AMZ{~", true},
        Pair{"[", "{", false},  // the neighbours of the letters differ by the same bit
        Pair{"1234567@", "1234567`", false}, Pair{"ÄÖÜ", "äöü", true}, Pair{"Straße", "STRASSE", true},
        Pair{"ß", "s", false}, Pair{"ΣΊΣΥΦΟΣ", "σίσυφος", true}, Pair{"МОСКВА", "москва", true},
        Pair{"I", "ı", false},  // no language's own rule
        Pair{"\xFF", "\xFF", true}, Pair{"\xFF", "\xFE", false},
        Pair{"\xC3", "\xE3", false},  // a cut character against another
        Pair{"a\0b"s, "A\0B"s, true}, Pair{"a\0b"s, "a", false}}) {
    EXPECT_EQ(EqualsIgnoreCase(a, b), equal) << a << '|' << b;
    EXPECT_EQ(EqualsIgnoreCase(b, a), equal) << b << '|' << a;
    EXPECT_EQ(FoldCase(a) == FoldCase(b), equal) << a << '|' << b;
  }
  for (const auto& [text, part, found] :
       {Pair{"abc", "", true}, Pair{"", "a", false}, Pair{"ifDescr=Eth0", "IFDESCR=eth", true},
        Pair{"ifDescr=Eth0", "eth1", false}, Pair{"größe", "GRÖSSE", true},
        Pair{"300 \u212A", "300 k", true},  // the Kelvin sign
        Pair{"\uFB01le", "FI", true},       // a ligature
        Pair{"é", "\xC3", false}, Pair{"é", "\xA9", false}, Pair{"x\xA9y", "X\xA9Y", true},
        Pair{"\xC3\xC3\xA9", "é", true}, Pair{"line\r\n\0tail"s, "\n\0T"s, true},
        Pair{std::string(4096, 'a') + "ü", "aÜ", true}, Pair{std::string(100000, 'a'), "needle", false}}) {
    EXPECT_EQ(ContainsIgnoreCase(text, part), found) << part << " in " << text.substr(0, 60);
  }
}

TEST(TextTest, VisibleTextForgesNothing) {
  const std::vector<std::pair<std::string, std::string>> rows = {
      {"a\tb\r\nc\x1B[2J\x7F", "a␉b␍␊c␛[2J␡"},
      {"a\0b"s, "a␀b"},
      {"a\u0085b\u2028c\u2029d", "a␤b␤c␤d"},
      {"\u009B31m", "\uFFFD31m"},
      {"\u202E\u200E\u061C\u2066\uFEFF\u200B", "\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD"},
      {"\uFFFE\uFDD0\U0001FFFF", "\uFFFD\uFFFD\uFFFD"},
      {"می\u200Cخواهم", "می\u200Cخواهم"},  // spelled with a joiner
      {"größe 日本 🔔 ن", "größe 日本 🔔 ن"},
      {"a\xFFz\xC3", "a\uFFFDz\uFFFD"},
      {"\xED\xA0\x80", "\uFFFD\uFFFD\uFFFD"},  // a surrogate
      {"\xC0\xAE", "\uFFFD\uFFFD"},            // an overlong dot
      {"\xF4\x90\x80\x80", "\uFFFD\uFFFD\uFFFD\uFFFD"}};
  for (const auto& [text, visible] : rows) {
    for (std::size_t before = 0; before < 18; ++before) {  // wherever it stands among plain characters
      const std::string front = std::string("~ plain text on both sides").substr(0, before);
      EXPECT_EQ(VisibleText(front + text + " ~"), front + visible + " ~");
    }
    EXPECT_EQ(VisibleText(visible), visible);
  }
}

}  // namespace
}  // namespace korvane
