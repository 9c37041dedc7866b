#include "help/HelpPictures.h"

#include <QPainter>
#include <QSvgRenderer>
#include <QTextImageFormat>
#include <algorithm>
#include <utility>

namespace korvane::mainwnd {

HelpPictures::HelpPictures(Read read, QObject* parent) : QObject(parent), read_(std::move(read)) {}

void HelpPictures::SetWidth(qreal widest) {
  widest_ = widest;
}

void HelpPictures::SetInk(const QColor& ink) {
  ink_ = ink;
}

void HelpPictures::Clear() {
  pictures_.clear();
}

HelpPictures::Picture& HelpPictures::Get(const QTextFormat& format) {
  const QString name = format.toImageFormat().name();
  const auto known = pictures_.find(name);
  if (known != pictures_.end()) {
    return *known;
  }
  Picture picture;
  QByteArray bytes = read_(name);
  if (name.endsWith(QLatin1String(".svg"))) {
    picture.Drawing = bytes.replace("currentColor", ink_.name().toLatin1());
    picture.Size = QSvgRenderer(picture.Drawing).defaultSize();
  } else {
    picture.Pixels = QImage::fromData(bytes);
    picture.Size = picture.Pixels.size();
  }
  return *pictures_.insert(name, picture);
}

QSizeF HelpPictures::intrinsicSize(QTextDocument*, int, const QTextFormat& format) {
  const QSizeF size = Get(format).Size;
  if (size.isEmpty() || widest_ <= 0 || size.width() <= widest_) {
    return size.isEmpty() ? QSizeF(1, 1) : size;
  }
  return {widest_, std::max(1.0, size.height() * widest_ / size.width())};
}

void HelpPictures::drawObject(QPainter* painter, const QRectF& rect, QTextDocument*, int,
                              const QTextFormat& format) {
  Picture& picture = Get(format);
  const qreal ratio = painter->device()->devicePixelRatioF();
  const QSize pixels = (rect.size() * ratio).toSize();
  if (picture.Size.isEmpty() || pixels.isEmpty()) {
    return;
  }
  if (picture.Drawn.size() != pixels) {
    if (picture.Drawing.isEmpty()) {
      picture.Drawn = picture.Pixels.scaled(pixels, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    } else {
      picture.Drawn = QImage(pixels, QImage::Format_ARGB32_Premultiplied);
      picture.Drawn.fill(Qt::transparent);
      QPainter drawing(&picture.Drawn);
      QSvgRenderer(picture.Drawing).render(&drawing);
    }
    picture.Drawn.setDevicePixelRatio(ratio);
  }
  painter->drawImage(rect.topLeft(), picture.Drawn);
}

}  // namespace korvane::mainwnd
