#include "common/qt/Icons.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "common/qt/SvgIconEngine.h"

// A static library's resources are dropped by the linker unless something names them, and the macro that
// does so must stand outside every namespace.
static void NameIconResources() {
  Q_INIT_RESOURCE(icons);
}

namespace korvane {
namespace {

// In code order: Clear, Minor, Information, Major, Warning, Critical.  Clear is what nobody has graded, so
// nothing of it may say that all is well.
struct SeverityLook {
  const char* Picture;
  QRgb OnLight;
  QRgb OnDark;
};

constexpr std::array<SeverityLook, 6> imlSeverity = {{{"severity-clear", 0xFFD3D9DD, 0xFF4C555C},
                                                      {"severity-minor", 0xFFFBC02D, 0xFFFFD54F},
                                                      {"severity-information", 0xFF546E7A, 0xFF9FB3BD},
                                                      {"severity-major", 0xFFF57C00, 0xFFFF9F40},
                                                      {"severity-warning", 0xFF4FB9F0, 0xFF62C6F8},
                                                      {"severity-critical", 0xFFC62828, 0xFFFF6B61}}};

struct ToolbarPicture {
  std::string_view Key;
  const char* Picture;
};

constexpr auto kToolbarPictures = std::to_array<ToolbarPicture>({{"Trap Details", "trap-details"},
                                                                 {"Trap Categories", "trap-categories"},
                                                                 {"Alerts", "alerts"},
                                                                 {"Filters", "filters"},
                                                                 {"Report", "report"},
                                                                 {"Help", "help"},
                                                                 {"Back", "go-back"},
                                                                 {"Forward", "go-forward"},
                                                                 {"Home", "go-home"},
                                                                 {"Previous", "go-up"},
                                                                 {"Next", "go-down"},
                                                                 {"Close", "close"},
                                                                 {"Larger Text", "text-larger"},
                                                                 {"Smaller Text", "text-smaller"},
                                                                 {"Sort by Severity", "sort-severity"}});

const SeverityLook& LookOf(std::int32_t code) {
  const bool known = code >= 0 && code < static_cast<std::int32_t>(imlSeverity.size());
  return imlSeverity.at(known ? static_cast<std::size_t>(code) : 0);
}

QIcon SvgIcon(const char* picture, SvgInk ink) {
  NameIconResources();
  return QIcon(new SvgIconEngine(QStringLiteral(":/korvane/icons/%1.svg").arg(QLatin1String(picture)), ink));
}

// WCAG 2: the relative luminance of an opaque sRGB colour.
double Luminance(const QColor& colour) {
  const auto linear = [](double part) {
    return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
  };
  return 0.2126 * linear(colour.redF()) + 0.7152 * linear(colour.greenF()) + 0.0722 * linear(colour.blueF());
}

}  // namespace

QIcon SeverityIcon(std::int32_t code) {
  return SvgIcon(LookOf(code).Picture, SvgInk::KeylineOnSelection);
}

QColor SeverityColour(std::int32_t code, const QPalette& palette) {
  return QColor::fromRgb(IsDark(palette) ? LookOf(code).OnDark : LookOf(code).OnLight);
}

QColor SeverityTextColour(std::int32_t code, const QPalette& palette) {
  const QColor fill = SeverityColour(code, palette);
  const QColor dark(0x12, 0x16, 0x1A);
  const QColor light(Qt::white);
  return ContrastRatio(dark, fill) > ContrastRatio(light, fill) ? dark : light;
}

QIcon ToolbarIcon(std::string_view key) {
  const auto* found = std::ranges::find(kToolbarPictures, key, &ToolbarPicture::Key);
  return found == kToolbarPictures.end() ? QIcon() : SvgIcon(found->Picture, SvgInk::ButtonText);
}

QIcon NotesIcon() {
  return SvgIcon("trap-notes", SvgInk::ButtonText);
}

QIcon AcknowledgedIcon() {
  return SvgIcon("trap-acknowledged", SvgInk::ButtonText);
}

QIcon ActionIcon(bool used) {
  return SvgIcon(used ? "action-yes" : "action-no", SvgInk::KeylineOnSelection);
}

QIcon MessageIcon(MessagePicture picture) {
  switch (picture) {
    case MessagePicture::Information:
      return SvgIcon("message-information", SvgInk::KeylineOnSelection);
    case MessagePicture::Question:
      return SvgIcon("message-question", SvgInk::KeylineOnSelection);
    case MessagePicture::Exclamation:
      return SvgIcon("message-exclamation", SvgInk::KeylineOnSelection);
    case MessagePicture::Critical:
      break;
  }
  return SvgIcon("message-critical", SvgInk::KeylineOnSelection);
}

QIcon ApplicationIcon() {
  return SvgIcon("korvane-console", SvgInk::KeylineOnSelection);
}

QIcon HelpWindowIcon() {
  return SvgIcon("korvane-help", SvgInk::KeylineOnSelection);
}

bool IsDark(const QPalette& palette) {
  return Luminance(palette.color(QPalette::WindowText)) > Luminance(palette.color(QPalette::Window));
}

double ContrastRatio(const QColor& a, const QColor& b) {
  const double first = Luminance(a) + 0.05;
  const double second = Luminance(b) + 0.05;
  return std::max(first, second) / std::min(first, second);
}

}  // namespace korvane
