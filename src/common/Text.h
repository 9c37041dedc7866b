// Text helpers.  Text is UTF-8 that may come from the network, so every function accepts any bytes;
// a byte that is no valid UTF-8 compares equal to itself only.
#pragma once

#include <string>
#include <string_view>

namespace korvane {

// The part before the first NUL, or all of it.
std::string_view TrimAtNul(std::string_view text);

// The text between the blanks at its ends.
std::string_view WithoutBlanks(std::string_view text);

// Full Unicode case folding, character by character; no locale takes part.
bool EqualsIgnoreCase(std::string_view a, std::string_view b);
bool ContainsIgnoreCase(std::string_view text, std::string_view part);  // an empty part is contained
std::string FoldCase(std::string_view text);                            // equal keys for equal texts

// Looks for one fixed text in many, with the needle folded once.  Keep one per criterion.
class CaseInsensitiveNeedle {
 public:
  explicit CaseInsensitiveNeedle(std::string_view part);
  bool FoundIn(std::string_view text) const;
  bool Empty() const { return folded_.empty(); }

 private:
  std::string folded_;
  bool ascii_ = true;
};

// For cells and reports: valid UTF-8 in which control characters, line breaks, bidirectional marks and broken
// bytes stand as visible symbols, so that a trap's text can't forge a line or reorder one.
std::string VisibleText(std::string_view text);
void AppendVisible(std::string& to, std::string_view text);  // the same, for writing many

}  // namespace korvane
