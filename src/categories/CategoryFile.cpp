#include "categories/CategoryFile.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <unordered_set>
#include <utility>

#include "common/Number.h"
#include "common/Text.h"
#include "common/Translation.h"
#include "store/Codes.h"

namespace korvane::categories {

namespace {

constexpr std::string_view kFirstLine = "Korvane category file, version 1";
constexpr std::string_view kLastLine = "end of file";
constexpr std::size_t kLongestName = 255;

// --- writing

std::string QuotedText(std::string_view text) {
  std::string quoted = "\"";
  for (const char c : text) {
    switch (c) {
      case '"':
        quoted += "\\\"";
        break;
      case '\\':
        quoted += "\\\\";
        break;
      case '\n':
        quoted += "\\n";
        break;
      case '\r':
        quoted += "\\r";
        break;
      case '\t':
        quoted += "\\t";
        break;
      default:
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) {
          fmt::format_to(std::back_inserter(quoted), "\\x{:02x}", static_cast<unsigned char>(c));
        } else {
          quoted += c;
        }
    }
  }
  return quoted + '"';
}

void WriteTrap(std::string& file, const TrapDetail& trap) {
  file += "  trap\n";
  file += fmt::format("    source {}\n", QuotedText(trap.Source));
  file += fmt::format("    generic {}\n", trap.GenericTrap);
  file += fmt::format("    enterprise {}\n", QuotedText(trap.EnterpriseOid));
  file += fmt::format("    specific {}\n", QuotedText(trap.SpecificTrap));
  file += fmt::format("    variables {}\n", QuotedText(trap.VarBinds));
  file += fmt::format("    severity {}\n", trap.Severity);
}

// --- reading

std::optional<int> HexDigit(char c) {
  if (c >= '0' && c <= '9') {
    return c - '0';
  }
  if (c >= 'a' && c <= 'f') {
    return c - 'a' + 10;
  }
  return std::nullopt;
}

// As the store counts them.
std::size_t Characters(std::string_view utf8) {
  return static_cast<std::size_t>(
      std::ranges::count_if(utf8, [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

class Reader {
 public:
  explicit Reader(std::string_view text) : rest_(text) {}

  std::vector<ExchangedCategory> Read() {
    // Editors of other systems put one before the text.
    if (rest_.starts_with("\xEF\xBB\xBF")) {
      rest_.remove_prefix(3);
    }
    NextLine();
    if (line_ != kFirstLine) {
      Refuse(line_.starts_with("Korvane category file, version ")
                 ? Translated("this version of the file is not known")
                 : Phrase("the file does not begin with \"{}\"", kFirstLine));
    }
    NextLine();
    std::vector<ExchangedCategory> categories;
    std::unordered_set<std::string> names;
    while (line_ != kLastLine) {
      ExchangedCategory category = ReadCategory();
      if (!names.insert(FoldCase(category.Name)).second) {
        Refuse(Phrase("the category \"{}\" is there twice", VisibleText(category.Name)));
      }
      categories.push_back(std::move(category));
    }
    if (rest_.find_first_not_of("\r\n") != std::string_view::npos) {
      NextLine();
      Refuse(Translated("there is text behind the end of the file"));
    }
    return categories;
  }

 private:
  [[noreturn]] void Refuse(std::string_view reason) const { throw CategoryFileError(number_, reason); }

  // To the next line that is neither empty nor a comment, without its indentation.
  void NextLine() {
    do {
      if (rest_.empty()) {
        ++number_;
        Refuse(Translated("the file ends too early"));
      }
      const std::size_t end = std::min(rest_.find('\n'), rest_.size());
      line_ = rest_.substr(0, end);
      rest_.remove_prefix(std::min(rest_.size(), end + 1));
      ++number_;
      if (line_.ends_with('\r')) {
        line_.remove_suffix(1);
      }
      line_.remove_prefix(std::min(line_.find_first_not_of(' '), line_.size()));
    } while (line_.empty() || line_.starts_with('#'));
  }

  // What stands behind the keyword and one blank.
  std::string_view Value(std::string_view keyword) {
    if (!line_.starts_with(keyword) || line_.size() <= keyword.size() || line_[keyword.size()] != ' ') {
      Refuse(Phrase("\"{}\" is expected here", keyword));
    }
    return line_.substr(keyword.size() + 1);
  }

  std::string Text(std::string_view keyword) {
    std::string_view value = Value(keyword);
    if (value.size() < 2 || value.front() != '"' || value.back() != '"') {
      Refuse(Translated("a text must stand between double quotes"));
    }
    value.remove_prefix(1);
    value.remove_suffix(1);
    std::string text;
    while (!value.empty()) {
      const char c = value.front();
      value.remove_prefix(1);
      if (c == '"') {
        Refuse(Translated("a double quote inside a text needs a backslash before it"));
      }
      if (c == '\\') {
        text += Escaped(value);
      } else if (static_cast<unsigned char>(c) < 0x20) {
        Refuse(Translated("a control character inside a text"));
      } else {
        text += c;
      }
    }
    NextLine();
    return text;
  }

  char Escaped(std::string_view& value) {
    if (value.empty()) {
      Refuse(Translated("a backslash at the end of a text"));
    }
    const char c = value.front();
    value.remove_prefix(1);
    switch (c) {
      case '"':
      case '\\':
        return c;
      case 'n':
        return '\n';
      case 'r':
        return '\r';
      case 't':
        return '\t';
      case 'x': {
        const auto high = value.size() < 2 ? std::nullopt : HexDigit(value[0]);
        const auto low = value.size() < 2 ? std::nullopt : HexDigit(value[1]);
        if (!high || !low) {
          Refuse(Translated("\\x needs two hexadecimal digits in lower case"));
        }
        value.remove_prefix(2);
        return static_cast<char>(*high * 16 + *low);
      }
      default:
        Refuse(Phrase("\\{} stands for nothing", VisibleText(std::string_view(&c, 1))));
    }
  }

  std::int32_t Number(std::string_view keyword, std::int32_t least, std::int32_t most) {
    const auto number = NumberIn<std::int32_t>(Value(keyword));
    if (!number || *number < least || *number > most) {
      Refuse(Phrase("a number from {} to {} is expected here", least, most));
    }
    NextLine();
    return *number;
  }

  std::int32_t Severity() {
    return Number("severity", 0, static_cast<std::int32_t>(store::kSeverityNames.size()) - 1);
  }

  ExchangedCategory ReadCategory() {
    ExchangedCategory category;
    const std::size_t start = number_;
    category.Name = Text("category");
    if (category.Name.empty() || Characters(category.Name) > kLongestName) {
      throw CategoryFileError(start, Translated("a category's name has 1 to 255 characters"));
    }
    category.Details.Description = Text("description");
    category.Details.Severity = Severity();
    while (line_ == "trap") {
      NextLine();
      category.Details.Traps.push_back(ReadTrap());
    }
    if (line_ != "end") {
      Refuse(Translated("\"trap\" or \"end\" is expected here"));
    }
    NextLine();
    return category;
  }

  TrapDetail ReadTrap() {
    TrapDetail trap;
    trap.Source = Text("source");
    trap.GenericTrap = Number("generic", -1, store::kEnterpriseSpecific);
    trap.EnterpriseOid = Text("enterprise");
    trap.SpecificTrap = Text("specific");
    trap.VarBinds = Text("variables");
    trap.Severity = Severity();
    return trap;
  }

  std::string_view rest_;
  std::string_view line_;
  std::size_t number_ = 0;
};

}  // namespace

CategoryFileError::CategoryFileError(std::size_t line, std::string_view reason)
    : std::runtime_error(Phrase("Line {}: {}.", line, reason)), line_(line) {}

std::string WriteCategoryFile(const std::vector<ExchangedCategory>& categories) {
  std::string file(kFirstLine);
  file += '\n';
  for (const ExchangedCategory& category : categories) {
    file += fmt::format("\ncategory {}\n", QuotedText(category.Name));
    file += fmt::format("  description {}\n", QuotedText(category.Details.Description));
    file += fmt::format("  severity {}\n", category.Details.Severity);
    for (const TrapDetail& trap : category.Details.Traps) {
      WriteTrap(file, trap);
    }
    file += "end\n";
  }
  file += '\n';
  file += kLastLine;
  file += '\n';
  return file;
}

std::vector<ExchangedCategory> ReadCategoryFile(std::string_view text) {
  return Reader(text).Read();
}

}  // namespace korvane::categories
