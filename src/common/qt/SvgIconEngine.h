// Draws one SVG of the product at whatever size and scale a window asks for.  The word "currentColor" in the
// SVG stands for the ink: the palette's text colour of the mode (dimmed when disabled), or, for pictures that
// carry their own colours, nothing but a light keyline on a selected row.
#pragma once

#include <QByteArray>
#include <QIconEngine>
#include <QString>

namespace korvane {

enum class SvgInk { ButtonText, KeylineOnSelection };

class SvgIconEngine : public QIconEngine {
 public:
  SvgIconEngine(QString resource, SvgInk ink);

  void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State state) override;
  QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override;
  QPixmap scaledPixmap(const QSize& size, QIcon::Mode mode, QIcon::State state, qreal scale) override;
  QIconEngine* clone() const override;
  QString key() const override { return QStringLiteral("korvane-svg"); }
  bool isNull() override { return svg_.isEmpty(); }

 private:
  QString resource_;
  QByteArray svg_;
  SvgInk ink_;
};

}  // namespace korvane
