#include "categories/CategoryFile.h"

#include <gmock/gmock.h>

#include <array>
#include <string>
#include <vector>

namespace korvane::categories {
namespace {

using testing::HasSubstr;

std::vector<ExchangedCategory> Sample() {
  std::string all;
  for (int byte = 0; byte < 256; ++byte) {
    all += static_cast<char>(byte);
  }
  return {{.Name = "Lines & \"links\"",
           .Details = {.Description = "two\r\nlines\tand \\ more ☃",
                       .Severity = 5,
                       .Traps = {{.Source = "router1", .GenericTrap = 2, .Severity = 5},
                                 {.GenericTrap = -1,
                                  .EnterpriseOid = "1.3.6.1.4.1.32473",
                                  .SpecificTrap = "7",
                                  .VarBinds = all,
                                  .Severity = 0}}}},
          {.Name = "end", .Details = {.Description = "# no comment", .Severity = 0, .Traps = {}}}};
}

TEST(CategoryFileTest, AnyTextComesBackAsItWas) {
  const std::string file = WriteCategoryFile(Sample());
  EXPECT_EQ(ReadCategoryFile(file), Sample());
  EXPECT_THAT(file, HasSubstr("description \"two\\r\\nlines\\tand \\\\ more ☃\"\n"));
  // As another system's editor leaves it.
  std::string edited = "\xEF\xBB\xBF# made by hand\n" + file;
  for (std::size_t at = 0; (at = edited.find('\n', at)) != edited.npos; at += 2) {
    edited.replace(at, 1, "\r\n");
  }
  EXPECT_EQ(ReadCategoryFile(edited), Sample());
  for (std::size_t cut = 0; cut + 1 < file.size(); ++cut) {
    EXPECT_THROW(ReadCategoryFile(file.substr(0, cut)), CategoryFileError) << cut;
  }
}

TEST(CategoryFileTest, ADamagedFileIsRefusedWithLineAndReason) {
  const std::string good =
      "Korvane category file, version 1\n"
      "category \"A\"\n"
      "  description \"\"\n"
      "  severity 5\n"
      "  trap\n"
      "    source \"\"\n"
      "    generic 6\n"
      "    enterprise \"\"\n"
      "    specific \"0\"\n"
      "    variables \"\"\n"
      "    severity 5\n"
      "end\n"
      "end of file\n";
  ASSERT_EQ(ReadCategoryFile(good).size(), 1U);
  const std::array<const char*, 3> cases[] = {
      {"version 1", "version 2", "Line 1: this version"},
      {"  severity 5\n  trap", "  severity 6\n  trap", "Line 4: a number from 0 to 5"},
      {"generic 6", "generic 7", "Line 7: a number from -1 to 6"},
      {"source \"\"", "source \"a\"b\"", "Line 6: a double quote inside"},
      {"source \"\"", "source \"\\q\"", "Line 6: \\q stands for nothing"},
      {"end of file\n", "", "Line 13: the file ends too early"},
      {"end of file\n", "end of file\nmore\n", "Line 14: there is text behind"},
      {"end\nend of file", "end\ncategory \"a\"\ndescription \"\"\nseverity 0\nend\nend of file",
       "is there twice"},
  };
  for (const auto& [from, to, what] : cases) {
    std::string file = good;
    file.replace(file.find(from), std::string_view(from).size(), to);
    try {
      ReadCategoryFile(file);
      ADD_FAILURE() << "accepted: " << to;
    } catch (const CategoryFileError& error) {
      EXPECT_THAT(error.what(), HasSubstr(what));
    }
  }
}

}  // namespace
}  // namespace korvane::categories
