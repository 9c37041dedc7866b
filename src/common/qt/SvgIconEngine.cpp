#include "common/qt/SvgIconEngine.h"

#include <QFile>
#include <QGuiApplication>
#include <QPainter>
#include <QPalette>
#include <QPixmapCache>
#include <QSvgRenderer>
#include <utility>

namespace korvane {
namespace {

constexpr double kDisabledOpacity = 0.4;

QByteArray InkName(SvgInk ink, QIcon::Mode mode) {
  if (ink == SvgInk::KeylineOnSelection) {
    return mode == QIcon::Selected ? QByteArrayLiteral("#ffffff") : QByteArrayLiteral("none");
  }
  const QPalette palette = QGuiApplication::palette();
  const auto role = mode == QIcon::Selected ? QPalette::HighlightedText : QPalette::ButtonText;
  return palette.color(QPalette::Active, role).name().toLatin1();
}

}  // namespace

SvgIconEngine::SvgIconEngine(QString resource, SvgInk ink) : resource_(std::move(resource)), ink_(ink) {
  QFile file(resource_);
  if (file.open(QIODevice::ReadOnly)) {
    svg_ = file.readAll();
  }
}

void SvgIconEngine::paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State state) {
  const qreal ratio = painter->device()->devicePixelRatioF();
  QPixmap drawn = pixmap((QSizeF(rect.size()) * ratio).toSize(), mode, state);
  drawn.setDevicePixelRatio(ratio);
  painter->drawPixmap(rect.topLeft(), drawn);
}

QPixmap SvgIconEngine::pixmap(const QSize& size, QIcon::Mode mode, QIcon::State) {
  const QByteArray ink = InkName(ink_, mode);
  const bool dimmed = mode == QIcon::Disabled;
  const QString cacheKey = QStringLiteral("%1|%2x%3|%4|%5")
                               .arg(resource_)
                               .arg(size.width())
                               .arg(size.height())
                               .arg(QLatin1String(ink))
                               .arg(dimmed);
  QPixmap drawn;
  if (QPixmapCache::find(cacheKey, &drawn)) {
    return drawn;
  }
  drawn = QPixmap(size);
  drawn.fill(Qt::transparent);
  QSvgRenderer renderer(QByteArray(svg_).replace("currentColor", ink));
  renderer.setAspectRatioMode(Qt::KeepAspectRatio);
  {
    QPainter painter(&drawn);
    painter.setOpacity(dimmed ? kDisabledOpacity : 1.0);
    renderer.render(&painter);
  }
  QPixmapCache::insert(cacheKey, drawn);
  return drawn;
}

QPixmap SvgIconEngine::scaledPixmap(const QSize& size, QIcon::Mode mode, QIcon::State state, qreal) {
  return pixmap(size, mode, state);
}

QIconEngine* SvgIconEngine::clone() const {
  return new SvgIconEngine(*this);
}

}  // namespace korvane
