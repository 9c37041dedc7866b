// The edge between the logic's UTF-8 and the windows' QString.
#pragma once

#include <QString>
#include <string>
#include <string_view>

namespace korvane {

// For editors and captions: the text as it is; each broken byte becomes U+FFFD.
QString ToQString(std::string_view text);

// For cells, tool tips and labels that show text from the network: see VisibleText.
QString ToVisibleQString(std::string_view text);

// Unpaired surrogates become U+FFFD.
std::string ToUtf8(const QString& text);

}  // namespace korvane
