#include "common/qt/Caption.h"

#include <QWidget>

#include "common/qt/QtText.h"

namespace korvane {
namespace {

constexpr QLatin1String kPlaceOfMark("[*]");
constexpr QLatin1String kShownAsItIs("[*][*]");  // an even number in a row is halved and kept

}  // namespace

void SetCaption(QWidget& window, std::string_view caption) {
  window.setWindowTitle(ToQString(caption).replace(kPlaceOfMark, kShownAsItIs));
}

std::string CaptionOf(const QWidget& window) {
  return ToUtf8(window.windowTitle().replace(kShownAsItIs, kPlaceOfMark));
}

}  // namespace korvane
