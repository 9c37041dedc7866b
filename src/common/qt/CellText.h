// Text from the network or the store in the cells of a list and in their tool tips.
#pragma once

#include <QString>
#include <string_view>

namespace korvane {

// As a cell shows it (see VisibleText), cut between two characters when it is very long.
QString ShownText(std::string_view text);

// The first lines of a text of many, each as a cell shows it; an ellipsis stands for the rest.
QString FirstLines(std::string_view text);

// Tool tips take anything that looks like markup for markup, so this is markup in which the text is escaped
// and its long lines are broken.
QString PlainToolTip(const QString& text);

}  // namespace korvane
