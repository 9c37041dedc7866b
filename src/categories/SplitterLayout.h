// Where the bar between the two lists of "Manage Categories" may stand, and what follows from it.  Lengths
// are twips, as this window's layout is kept; 15 make a logical pixel.
#pragma once

namespace korvane::categories {

inline constexpr int kTwipsPerPixel = 15;
inline constexpr int kRightMargin = 100;  // between the list and the window's edge

struct Span {
  int Left = 0;
  int Width = 0;
  bool operator==(const Span&) const = default;
};

struct CategoryLayout {
  int SplitterLeft = 0;
  Span Tree;
  Span List;
  Span TreeTitle;
  Span ListTitle;
};

// The bar while it is dragged: offset is the pointer's place within the splitter.
int SplitterPosition(int splitterLeft, int pointerOffset, int windowWidth);

// The lists and their titles for a bar that was let go of at this position.  A window too narrow for both
// lists gives the tree its least width.
CategoryLayout SizeControls(int position, int windowWidth);

}  // namespace korvane::categories
