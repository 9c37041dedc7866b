// The page of the help window that is read: shows a page of the guide in the palette's colours, at the size
// the reader chose and never in longer lines than are easily read, with its pictures, and keeps the way back.
// Follows links inside the guide only.  User-interface thread.
#pragma once

#include <QStringList>
#include <QTextBrowser>
#include <QUrl>
#include <functional>

namespace korvane::mainwnd {

class HelpPictures;

class HelpPageView : public QTextBrowser {
  Q_OBJECT

 public:
  // Bytes of a file in the guide by its path, "guide/start.md"; empty: there is none.
  using Read = std::function<QByteArray(const QString& path)>;

  explicit HelpPageView(QWidget* parent = nullptr);

  // Forgets the page and the way back.  read: null closes the guide.
  void Open(Read read);
  // name: "start.md" or "start.md#section".
  void ShowPage(const QString& name);
  // Of the page that is shown, "start.md"; empty: none.
  QString PageName() const;

  // The size of the text in points above the window's own.
  int Zoom() const { return zoom_; }
  void SetZoom(int points);

  // Marks these texts wherever they stand on the page, until another page is shown.
  void Mark(const QStringList& texts);

  struct Found {
    int Place = 0;  // of the one that is selected, from 1; 0: none
    int Count = 0;
  };
  // Selects the next place, or the one before, from where the reader is, and goes on at the other end.
  // again: behind the present place; otherwise the present one may stay.
  Found Find(const QString& text, bool backwards, bool again);

 Q_SIGNALS:
  void PageShown(const QString& name);

 protected:
  QVariant loadResource(int type, const QUrl& url) override;
  void resizeEvent(QResizeEvent* event) override;
  void changeEvent(QEvent* event) override;
  void wheelEvent(QWheelEvent* event) override;

 private:
  void Follow(const QUrl& link);
  void Dress();
  void DressAgain();
  void FitWidth();
  void ShowMarks();

  Read read_;
  QUrl shown_;  // source() is that of the page before while the change is told of
  HelpPictures* pictures_;
  int zoom_ = 0;
  qreal plainSize_;
  bool fresh_ = false;  // a page was read and is not dressed yet
  QStringList marks_;
  QString find_;
};

}  // namespace korvane::mainwnd
