// The product's own pictures and the severity colours.  Every icon is drawn from SVG at the very size and
// scale asked for, has disabled and selected variants, and follows the palette in use when it is painted.
// User-interface thread only; needs a QGuiApplication.
#pragma once

#include <QColor>
#include <QIcon>
#include <QPalette>
#include <cstdint>
#include <string_view>

namespace korvane {

// Severity codes as in store/Codes.h: 0 Clear, 1 Minor, 2 Information, 3 Major, 4 Warning, 5 Critical; any
// other code is shown as Clear.  Shapes differ, so that the icons are told apart without colour.
QIcon SeverityIcon(std::int32_t code);

// The fill of a severity's pill on this palette, and the text colour on it (at least 4.5 : 1).
QColor SeverityColour(std::int32_t code, const QPalette& palette);
QColor SeverityTextColour(std::int32_t code, const QPalette& palette);

// By the toolbar's keys: "Trap Details", "Trap Categories", "Alerts", "Filters", "Report", "Help"; and of
// small buttons: "Back", "Forward", "Home", "Previous", "Next", "Close", "Larger Text", "Smaller Text",
// "Sort by Severity".  Any other key: a null icon.
QIcon ToolbarIcon(std::string_view key);

// The marks of a trap in a list: it has notes, it is acknowledged.
QIcon NotesIcon();
QIcon AcknowledgedIcon();

// Whether an alert uses an action: a tick or a dash.
QIcon ActionIcon(bool used);

// The pictures of message boxes; the style hands them to the toolkit.
enum class MessagePicture { Information, Question, Exclamation, Critical };
QIcon MessageIcon(MessagePicture picture);

QIcon ApplicationIcon();
QIcon HelpWindowIcon();

// True when the palette's texts are lighter than its windows.
bool IsDark(const QPalette& palette);

// WCAG 2 contrast of two opaque colours, 1 to 21.
double ContrastRatio(const QColor& a, const QColor& b);

}  // namespace korvane
