#include "help/HelpPageView.h"

#include <QAbstractTextDocumentLayout>
#include <QApplication>
#include <QBuffer>
#include <QEvent>
#include <QFontDatabase>
#include <QFontInfo>
#include <QImageReader>
#include <QRegularExpression>
#include <QScrollBar>
#include <algorithm>
#include <utility>

#include "common/qt/Icons.h"
#include "help/HelpBook.h"

namespace korvane::help {
namespace {

constexpr int kMargin = 28;
constexpr int kAboveHeading = 8;     // of a section that is gone to
constexpr int kMostCharacters = 92;  // of a line
constexpr int kLeastZoom = -3;
constexpr int kMostZoom = 12;

// Sizes in em are those of the text; a name after an at sign is a colour of the palette.
constexpr const char* kLook = R"(
  h1 { font-weight: 600; margin-top: 0em; margin-bottom: 0.95em }
  h2 { margin-top: 1.75em; margin-bottom: 0.55em }
  p { margin-top: 0em; margin-bottom: 0.9em; line-height: 138% }
  p.picture { line-height: 100% }
  li { margin-bottom: 0.4em; line-height: 138% }
  a { color: @link; text-decoration: none }
  code { font-family: @fixed; font-size: 0.95em; background-color: @code }
  table { border-collapse: collapse; margin-top: 0.55em; margin-bottom: 1.1em }
  th, td { padding: 0.55em; border-bottom: 1px solid @rule; vertical-align: top }
  th { text-align: left; background-color: @head }
  .note td { padding: 0.75em; border-bottom: none; border-left: 3px solid @bar; background-color: @note }
  .note p { margin-bottom: 0em; line-height: 128% }
)";

QString Look(const QFont& text, const QPalette& palette) {
  // Without transparency: the grounds of a cell and of its text lie above each other.
  const auto colour = [&](QPalette::ColorRole role, float share) {
    const QColor from = palette.color(QPalette::Active, QPalette::Base);
    const QColor to = palette.color(QPalette::Active, role);
    const auto mix = [share](float a, float b) { return a + (b - a) * share; };
    return QColor::fromRgbF(mix(from.redF(), to.redF()), mix(from.greenF(), to.greenF()),
                            mix(from.blueF(), to.blueF()))
        .name();
  };
  const bool dark = IsDark(palette);
  const std::pair<const char*, QString> values[] = {
      {"@fixed", QFontDatabase::systemFont(QFontDatabase::FixedFont).family()},
      {"@link", colour(QPalette::Link, 1)},
      {"@bar", colour(QPalette::Link, 0.8F)},
      {"@note", colour(QPalette::Highlight, dark ? 0.22F : 0.09F)},
      {"@code", colour(QPalette::Text, dark ? 0.13F : 0.07F)},
      {"@rule", colour(QPalette::Text, 0.18F)},
      {"@head", colour(QPalette::Text, 0.06F)},
  };
  QString look = QString::fromLatin1(kLook);
  for (const auto& [name, value] : values) {
    look.replace(QLatin1String(name), value);
  }
  static const QRegularExpression size(QStringLiteral("([0-9.]+)em"));
  const int em = QFontInfo(text).pixelSize();
  for (QRegularExpressionMatch found = size.match(look); found.hasMatch(); found = size.match(look)) {
    look.replace(found.capturedStart(), found.capturedLength(),
                 QString::number(qRound(found.captured(1).toDouble() * em)) + QLatin1String("px"));
  }
  return look;
}

}  // namespace

HelpPageView::HelpPageView(QWidget* parent) : QTextBrowser(parent) {
  setFrameShape(QFrame::NoFrame);
  setOpenLinks(false);
  setLineWrapMode(QTextEdit::FixedPixelWidth);
  document()->setDocumentMargin(kMargin);
  connect(this, &QTextBrowser::anchorClicked, this,
          [this](const QUrl& link) { ShowPage(source().resolved(link).toString()); });
  connect(this, &QTextBrowser::sourceChanged, this, &HelpPageView::Follow);
}

void HelpPageView::Open(const HelpBook* book) {
  book_ = nullptr;
  setSource(QUrl());
  clear();
  clearHistory();
  book_ = book;
  Refresh();
}

void HelpPageView::ShowPage(const QString& target) {
  const QUrl url(target);
  if (book_ != nullptr && book_->Find(url.toString(QUrl::RemoveFragment)) != nullptr) {
    setSource(url, QTextDocument::HtmlResource);
  }
}

void HelpPageView::Follow(const QUrl& url) {
  if (url.path() != page_) {
    marks_.clear();
  }
  page_ = url.path();
  Fit();
  ShowMarks();
  if (url.hasFragment()) {
    scrollToAnchor(url.fragment());
    QScrollBar& bar = *verticalScrollBar();
    bar.setValue(bar.value() < bar.maximum() ? bar.value() - kAboveHeading : bar.maximum());
  }
  Q_EMIT PageShown(page_);
}

int HelpPageView::Zoom() const {
  return qRound(font().pointSizeF() - QApplication::font(this).pointSizeF());
}

void HelpPageView::SetZoom(int points) {
  QFont text = QApplication::font(this);
  text.setPointSizeF(text.pointSizeF() + std::clamp(points, kLeastZoom, kMostZoom));
  setFont(text);
}

void HelpPageView::Refresh() {
  document()->setDefaultFont(font());
  document()->setIndentWidth(fontMetrics().height() * 1.3);
  document()->setDefaultStyleSheet(Look(font(), palette()));
  if (!page_.isEmpty()) {
    QScrollBar& bar = *verticalScrollBar();
    const double place = bar.maximum() > 0 ? double(bar.value()) / bar.maximum() : 0;
    reload();
    bar.setValue(qRound(place * bar.maximum()));
  }
}

void HelpPageView::Mark(const QStringList& texts) {
  marks_ = texts;
  ShowMarks();
}

QString HelpPageView::Find(const QString& text, bool backwards, bool again) {
  find_ = text;
  ShowMarks();
  const QList<QTextCursor> places = Places(text);
  QTextCursor cursor = textCursor();
  if (places.isEmpty()) {
    cursor.clearSelection();
    setTextCursor(cursor);
    return text.isEmpty() ? QString() : tr("Not on this page");
  }
  const int from = cursor.selectionStart();
  qsizetype at = std::ranges::count_if(places, [&](const QTextCursor& place) {
    return place.selectionStart() < from || (place.selectionStart() == from && again && !backwards);
  });
  at = (at - (backwards ? 1 : 0) + places.size()) % places.size();
  setTextCursor(places[at]);
  ensureCursorVisible();
  return tr("%1 of %2").arg(at + 1).arg(places.size());
}

QVariant HelpPageView::loadResource(int type, const QUrl& url) {
  if (type == QTextDocument::ImageResource) {
    return Picture(url.fileName());
  }
  const HelpPage* page = book_ == nullptr ? nullptr : book_->Find(url.path());
  return page == nullptr ? QString() : page->Html;
}

int HelpPageView::PageWidth() const {
  const int readable = fontMetrics().averageCharWidth() * kMostCharacters;
  return std::clamp(viewport()->width(), 4 * kMargin, readable + 2 * kMargin);
}

// Lines and pictures for the window's width.
void HelpPageView::Fit() {
  setLineWrapColumnOrWidth(PageWidth());
  for (const QTextFormat& format : document()->allFormats()) {
    if (format.isImageFormat()) {
      const QUrl name(format.toImageFormat().name());
      document()->addResource(QTextDocument::ImageResource, name, Picture(name.fileName()));
    }
  }
  document()->markContentsDirty(0, document()->characterCount());
  // So that the scroll bar can be set to any place of the page right away.
  static_cast<void>(document()->documentLayout()->documentSize());
}

// Never wider than the text and sharp at the screen's scale; a drawing has the palette's ink where it names
// currentColor.
QImage HelpPageView::Picture(const QString& name) const {
  QByteArray bytes = book_ == nullptr ? QByteArray() : book_->Pictures.value(name);
  if (name.endsWith(QLatin1String(".svg"))) {
    bytes.replace("currentColor", palette().color(QPalette::Active, QPalette::Text).name().toLatin1());
  }
  QBuffer buffer(&bytes);
  QImageReader reader(&buffer);
  const int widest = lineWrapColumnOrWidth() - 2 * kMargin;
  const double share = std::min(1.0, double(widest) / std::max(reader.size().width(), 1));
  reader.setScaledSize((QSizeF(reader.size()) * share * devicePixelRatioF()).toSize());
  QImage picture = reader.read();
  picture.setDevicePixelRatio(devicePixelRatioF());
  return picture;
}

QList<QTextCursor> HelpPageView::Places(const QString& text) const {
  QList<QTextCursor> places;
  for (QTextCursor each = document()->find(text); !each.isNull(); each = document()->find(text, each)) {
    places.append(each);
  }
  return places;
}

void HelpPageView::ShowMarks() {
  ExtraSelection mark;
  mark.format.setBackground(IsDark(palette()) ? QColor(0x6B, 0x5A, 0x12) : QColor(0xFF, 0xEE, 0xA8));
  QList<ExtraSelection> selections;
  for (const QString& text : marks_ + QStringList(find_)) {
    for (const QTextCursor& place : Places(text)) {
      mark.cursor = place;
      selections.append(mark);
    }
  }
  setExtraSelections(selections);
}

void HelpPageView::resizeEvent(QResizeEvent* event) {
  if (lineWrapColumnOrWidth() != PageWidth()) {
    Fit();
  }
  QTextBrowser::resizeEvent(event);
}

void HelpPageView::changeEvent(QEvent* event) {
  QTextBrowser::changeEvent(event);
  if (event->type() == QEvent::PaletteChange || event->type() == QEvent::FontChange) {
    Refresh();
  }
}

}  // namespace korvane::help
