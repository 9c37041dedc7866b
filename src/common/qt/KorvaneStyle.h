// The one look of all windows: Fusion with flat sub-window frames, no icons on dialog buttons, 12 pixel
// margins and 6 pixel spacing, and complete light and dark palettes.  main.cpp calls ApplyKorvaneStyle once,
// right after the QApplication exists.
#pragma once

#include <QPalette>
#include <QProxyStyle>

class QApplication;
class QTableView;

namespace korvane {

class KorvaneStyle : public QProxyStyle {
  Q_OBJECT

 public:
  KorvaneStyle();

  int pixelMetric(PixelMetric metric, const QStyleOption* option, const QWidget* widget) const override;
  int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                QStyleHintReturn* returnData) const override;
  QIcon standardIcon(StandardPixmap picture, const QStyleOption* option,
                     const QWidget* widget) const override;
  void drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                   const QWidget* widget) const override;
  void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                     const QWidget* widget) const override;
  void drawComplexControl(ComplexControl control, const QStyleOptionComplex* option, QPainter* painter,
                          const QWidget* widget) const override;
};

inline constexpr int kSpacing = 6;  // between controls that belong together, in logical pixels
inline constexpr int kMargin = 12;  // around a dialog and between its groups

QPalette LightPalette();
QPalette DarkPalette();

// Installs the style, the application icon and the palette of the desktop's colour scheme, and follows the
// scheme when it changes while the program runs.
void ApplyKorvaneStyle(QApplication& application);

// What every list of the product looks like: no grid, alternating rows, whole rows selected, left-aligned
// headers, no frame, low even rows.  Leaves model, columns and sorting to the window.
void StyleTable(QTableView& table);

}  // namespace korvane
