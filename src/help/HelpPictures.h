// Draws the pictures of a help page: never wider than the page's text, sharp at every scale, and drawings
// (SVG) in the colours of the palette, which they name as currentColor.  User-interface thread.
#pragma once

#include <QColor>
#include <QHash>
#include <QImage>
#include <QObject>
#include <QTextObjectInterface>
#include <QUrl>
#include <functional>

namespace korvane::mainwnd {

class HelpPictures : public QObject, public QTextObjectInterface {
  Q_OBJECT
  Q_INTERFACES(QTextObjectInterface)

 public:
  using Read = std::function<QByteArray(const QString& name)>;  // empty: there is none

  // read: the bytes of a picture by the name that the page gives it.
  HelpPictures(Read read, QObject* parent);

  void SetWidth(qreal widest);  // of a picture, in logical pixels
  void SetInk(const QColor& ink);
  void Clear();  // what was read and drawn

  QSizeF intrinsicSize(QTextDocument* document, int position, const QTextFormat& format) override;
  void drawObject(QPainter* painter, const QRectF& rect, QTextDocument* document, int position,
                  const QTextFormat& format) override;

 private:
  struct Picture {
    QByteArray Drawing;  // an SVG, else empty
    QImage Pixels;
    QSizeF Size;
    QImage Drawn;  // at the size it was last drawn
  };
  Picture& Get(const QTextFormat& format);

  Read read_;
  qreal widest_ = 0;
  QColor ink_ = Qt::black;
  QHash<QString, Picture> pictures_;
};

}  // namespace korvane::mainwnd
