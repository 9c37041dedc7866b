// Captions of windows as texts that may hold anything: the toolkit takes "[*]" in a window's title for the
// place of its mark for unsaved changes, and would leave it out.  Every caption that holds a text typed by
// somebody or come from the network is set and read by these.
#pragma once

#include <string>
#include <string_view>

class QWidget;

namespace korvane {

void SetCaption(QWidget& window, std::string_view caption);
std::string CaptionOf(const QWidget& window);

}  // namespace korvane
