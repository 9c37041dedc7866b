// The page of the help window that is read: shows a page of the guide in the palette's colours, at the size
// the reader chose and never in longer lines than are easily read, with its pictures, and keeps the way back.
// Follows links inside the guide only, and reads nothing that is not in it.  User-interface thread.
#pragma once

#include <QImage>
#include <QStringList>
#include <QTextBrowser>

namespace korvane::help {

struct HelpBook;

class HelpPageView : public QTextBrowser {
  Q_OBJECT

 public:
  explicit HelpPageView(QWidget* parent = nullptr);

  // Forgets the page and the way back.  book: must outlive the next call; null closes the guide.
  void Open(const HelpBook* book);
  // target: "start.md" or "start.md#section"; nothing happens when the guide has no such page.
  void ShowPage(const QString& target);
  // Of the page that is shown, "start.md"; empty: none.
  const QString& PageName() const { return page_; }

  // The size of the text in points above the windows' own.
  int Zoom() const;
  void SetZoom(int points);
  // Shows the page again where it was, as its palette, font, zoom and screen are now.
  void Refresh();

  // Marks these texts wherever they stand on the page, until another page is shown.
  void Mark(const QStringList& texts);

  // Selects the next place, or the one before, from where the reader is, and goes on at the other end.
  // again: behind the present place; otherwise the present one may stay.  Answers which place of how many.
  QString Find(const QString& text, bool backwards, bool again);

 Q_SIGNALS:
  void PageShown(const QString& name);

 protected:
  QVariant loadResource(int type, const QUrl& url) override;
  void resizeEvent(QResizeEvent* event) override;
  void changeEvent(QEvent* event) override;

 private:
  void Follow(const QUrl& url);
  int PageWidth() const;
  void Fit();
  QImage Picture(const QString& name) const;
  QList<QTextCursor> Places(const QString& text) const;
  void ShowMarks();

  const HelpBook* book_ = nullptr;
  QString page_;
  QStringList marks_;
  QString find_;
};

}  // namespace korvane::help
