#include "categories/SplitterLayout.h"

#include <algorithm>

namespace korvane::categories {

namespace {

constexpr int kDragLimit = 500;   // from either edge of the window
constexpr int kPaneLimit = 1500;  // the same once the bar is let go of
constexpr int kBarWidth = 40;
constexpr int kTitleIndent = 20;  // on both sides of the list

// The lower limit wins where the two cross.
int Between(int position, int limit, int windowWidth) {
  return std::max(limit, std::min(position, windowWidth - limit));
}

}  // namespace

int SplitterPosition(int splitterLeft, int pointerOffset, int windowWidth) {
  return Between(splitterLeft + pointerOffset, kDragLimit, windowWidth);
}

CategoryLayout SizeControls(int position, int windowWidth) {
  const int bar = Between(position, kPaneLimit, windowWidth);
  const Span list = {.Left = bar + kBarWidth,
                     .Width = std::max(0, windowWidth - (bar + kBarWidth + kRightMargin))};
  return {
      .SplitterLeft = bar,
      .Tree = {.Left = 0, .Width = bar},
      .List = list,
      .TreeTitle = {.Left = 0, .Width = bar},
      .ListTitle = {.Left = list.Left + kTitleIndent, .Width = std::max(0, list.Width - 2 * kTitleIndent)}};
}

}  // namespace korvane::categories
