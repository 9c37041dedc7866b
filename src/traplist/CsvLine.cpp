#include "traplist/CsvLine.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "common/Text.h"

namespace korvane::traplist {
namespace {

// What may begin a formula's cell and is passed over by those that look for one, the symbols of control
// characters included: what stands for a blank may be made one again.
constexpr std::string_view kSkipped[] = {" ", "\"", "'", "\u00A0", "\u1680", "\u202F", "\u205F", "\u3000"};
constexpr std::string_view kFormulas[] = {"=", "+", "-", "@", "\uFF1D", "\uFF0B", "\uFF0D", "\uFF20"};

// Needs no second look: printable ASCII that parts no cells and begins like nothing above.
bool IsPlain(std::string_view text) {
  if (text.empty()) {
    return true;
  }
  unsigned odd = std::string_view(" '=+-@").find(text.front()) != std::string_view::npos ? 1 : 0;
  for (const char c : text) {  // to the end in any case: many bytes a step are faster than a way out
    const auto byte = static_cast<unsigned char>(c);
    odd |= static_cast<unsigned>(byte < 0x20) | static_cast<unsigned>(byte > 0x7E) |
           static_cast<unsigned>(byte == '"') | static_cast<unsigned>(byte == ';');
  }
  return odd == 0;
}

// How much of the beginning is passed over; 0: none.
std::size_t SkippedAtFront(std::string_view text) {
  for (const std::string_view skipped : kSkipped) {
    if (text.starts_with(skipped)) {
      return skipped.size();
    }
  }
  // The wide and narrow blanks, and the symbols of control characters; UTF-8 sorts as its characters do.
  const std::string_view three = text.substr(0, 3);
  const bool blank = three >= "\u2000" && three <= "\u200A";
  const bool symbol = three >= "\u2400" && three <= "\u2424";
  return blank || symbol ? three.size() : 0;
}

bool LooksLikeFormula(std::string_view text) {
  while (const std::size_t skipped = SkippedAtFront(text)) {
    text.remove_prefix(skipped);
  }
  return std::ranges::any_of(kFormulas, [text](std::string_view sign) { return text.starts_with(sign); });
}

// Of a text that is not empty.
bool BeginsWithControl(std::string_view text) {
  return std::string_view("\t\r\n").find(text.front()) != std::string_view::npos;
}

}  // namespace

void CsvLine::BeginCell() {
  if (ended_) {
    line_.clear();
    ended_ = false;
  }
  if (!line_.empty()) {
    line_ += ',';
  }
}

void CsvLine::AppendDefused(std::string_view shown, bool beginsWithControl) {
  bool mayBeginCell = true;
  for (std::size_t at = 0; at < shown.size(); ++at) {
    if (mayBeginCell && ((at == 0 && beginsWithControl) || LooksLikeFormula(shown.substr(at)))) {
      line_ += '\'';
    }
    const char c = shown[at];
    mayBeginCell = c == ';' || c == '\n';
    if (c == '"') {
      line_ += '"';
    }
    line_ += c;
  }
}

void CsvLine::AddText(std::string_view text) {
  BeginCell();
  line_ += '"';
  if (IsPlain(text)) {
    line_ += text;
  } else {
    shown_.clear();
    AppendVisible(shown_, text);
    AppendDefused(shown_, BeginsWithControl(text));
  }
  line_ += '"';
}

void CsvLine::AddParagraphs(std::string_view text) {
  if (IsPlain(text)) {
    AddText(text);
    return;
  }
  BeginCell();
  shown_.clear();
  const bool beginsWithControl = BeginsWithControl(text);
  while (!text.empty()) {
    const std::size_t end = std::min(text.find_first_of("\r\n"), text.size());
    AppendVisible(shown_, text.substr(0, end));
    text.remove_prefix(end);
    if (!text.empty()) {
      shown_ += '\n';
      text.remove_prefix(text.starts_with("\r\n") ? 2 : 1);
    }
  }
  line_ += '"';
  AppendDefused(shown_, beginsWithControl);
  line_ += '"';
}

void CsvLine::AddOwn(std::string_view text) {
  BeginCell();
  line_ += text;
}

void CsvLine::AddNumber(std::int64_t number) {
  std::array<char, 24> digits;
  const auto written = std::to_chars(digits.data(), digits.data() + digits.size(), number);
  AddOwn({digits.data(), static_cast<std::size_t>(written.ptr - digits.data())});
}

std::string_view CsvLine::End() {
  ended_ = true;
  return line_ += "\r\n";
}

}  // namespace korvane::traplist
