#include "help/HelpPage.h"

#include <algorithm>
#include <utility>

#include "common/Text.h"

namespace korvane::mainwnd {
namespace {

constexpr std::string_view kBlanks = " \t\r";

std::string_view Trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kBlanks);
  return first == std::string_view::npos ? std::string_view()
                                         : text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

// Without the mark of a list item; true when there was one.
bool TakeListMark(std::string_view& line) {
  if (line.starts_with("- ") || line.starts_with("* ")) {
    line.remove_prefix(2);
    return true;
  }
  const std::size_t digits = static_cast<std::size_t>(std::ranges::find_if_not(line, IsDigit) - line.begin());
  if (digits > 0 && line.substr(digits).starts_with(". ")) {
    line.remove_prefix(digits + 2);
    return true;
  }
  return false;
}

bool IsTableRule(std::string_view line) {
  return line.find_first_not_of("|-: ") == std::string_view::npos;
}

std::string RowText(std::string_view line) {
  std::string text;
  while (!line.empty()) {
    const std::string_view cell = Trimmed(line.substr(0, line.find('|')));
    if (!cell.empty()) {
      text += (text.empty() ? "" : "  ") + PlainHelpText(cell);
    }
    line.remove_prefix(std::min(line.find('|'), line.size() - 1) + 1);
  }
  return text;
}

// Puts a page's lines together to paragraphs.
class PageReader {
 public:
  explicit PageReader(HelpPage& page) : page_(page) { page_.Sections.emplace_back(); }
  ~PageReader() { End(); }
  PageReader(const PageReader&) = delete;
  PageReader& operator=(const PageReader&) = delete;

  void Take(std::string_view whole) {
    std::string_view line = Trimmed(whole);
    if (line.starts_with("```")) {
      End();
      code_ = !code_;
    } else if (code_) {
      Add(std::string(line));
    } else if (line.starts_with('#')) {
      End();
      TakeHeading(line);
    } else if (line.empty()) {
      End();
    } else if (line.starts_with('|')) {
      End();
      if (!IsTableRule(line)) {
        Add(RowText(line));
      }
    } else {
      TakeText(line);
    }
  }

 private:
  void TakeHeading(std::string_view line) {
    const std::string title = PlainHelpText(Trimmed(line.substr(line.find_first_not_of('#'))));
    if (page_.Title().empty() && page_.Paragraphs.empty()) {
      page_.Sections.front().Title = title;
    } else {
      page_.Sections.push_back({title, HelpAnchor(title)});
    }
  }
  void TakeText(std::string_view line) {
    if (line.starts_with('>')) {
      line = Trimmed(line.substr(1));
    }
    if (TakeListMark(line) || line.empty()) {
      End();
    }
    paragraph_ += (paragraph_.empty() ? "" : " ") + std::string(line);
  }
  void End() {
    if (!paragraph_.empty()) {
      Add(PlainHelpText(std::exchange(paragraph_, {})));
    }
  }
  void Add(std::string text) {
    std::string folded = FoldCase(text);
    page_.Paragraphs.push_back({std::move(text), std::move(folded), page_.Sections.size() - 1});
  }

  HelpPage& page_;
  std::string paragraph_;
  bool code_ = false;
};

}  // namespace

HelpPage ParseHelpPage(std::string name, std::string markdown) {
  HelpPage page;
  page.Name = std::move(name);
  {
    PageReader reader(page);
    for (std::string_view rest = markdown; !rest.empty();) {
      const std::size_t end = std::min(rest.find('\n'), rest.size() - 1);
      reader.Take(rest.substr(0, rest[end] == '\n' ? end : end + 1));
      rest.remove_prefix(end + 1);
    }
  }
  page.Markdown = std::move(markdown);
  return page;
}

std::string PlainHelpText(std::string_view markdown) {
  std::string plain;
  bool code = false;
  for (std::size_t at = 0; at < markdown.size(); ++at) {
    const char c = markdown[at];
    if (c == '`') {
      code = !code;
    } else if (!code && c == '\\' && at + 1 < markdown.size()) {
      plain += markdown[++at];
    } else if (!code && c == ']' && at + 1 < markdown.size() && markdown[at + 1] == '(') {
      at = std::min(markdown.find(')', at), markdown.size() - 1);
    } else if (code || (c != '*' && c != '[' && c != ']' &&
                        !(c == '!' && markdown.substr(at + 1).starts_with('[')))) {
      plain += c;
    }
  }
  return plain;
}

std::string HelpAnchor(std::string_view plainTitle) {
  std::string anchor;
  for (const char c : FoldCase(plainTitle)) {
    const bool letter = (c >= 'a' && c <= 'z') || IsDigit(c) || static_cast<unsigned char>(c) >= 0x80U;
    if (letter || c == '-' || c == '_') {
      anchor += c;
    } else if (c == ' ') {
      anchor += '-';
    }
  }
  return anchor;
}

}  // namespace korvane::mainwnd
