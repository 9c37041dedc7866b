#include "help/HelpPageView.h"

#include <QAbstractTextDocumentLayout>
#include <QEvent>
#include <QScrollBar>
#include <QTextBlock>
#include <QTextFrame>
#include <QWheelEvent>
#include <algorithm>
#include <utility>

#include "common/qt/Icons.h"
#include "help/HelpDress.h"
#include "help/HelpPictures.h"

namespace korvane::mainwnd {
namespace {

constexpr int kSideMargin = 28;
constexpr int kTopMargin = 22;
constexpr int kBottomMargin = 36;
constexpr int kAboveHeading = 8;     // of a section that is gone to
constexpr int kMostCharacters = 92;  // of a line
constexpr int kLeastZoom = -3;
constexpr int kMostZoom = 12;

// Pages and pictures are named by a scheme of their own, so that nothing outside the help file is ever meant.
QString Scheme() {
  return QStringLiteral("help");
}

QUrl UrlOf(const QString& name) {
  QUrl url(name);
  url.setScheme(Scheme());
  url.setPath(QStringLiteral("/guide/") + url.path());
  return url;
}

QString PathOf(const QUrl& url) {
  return url.path().mid(1);
}

}  // namespace

HelpPageView::HelpPageView(QWidget* parent) : QTextBrowser(parent), plainSize_(font().pointSizeF()) {
  setFrameShape(QFrame::NoFrame);
  setOpenLinks(false);
  setUndoRedoEnabled(false);
  setLineWrapMode(QTextEdit::FixedPixelWidth);
  pictures_ = new HelpPictures(
      [this](const QString& name) {
        const QUrl url = shown_.resolved(QUrl(name));
        return read_ && url.scheme() == Scheme() ? read_(PathOf(url)) : QByteArray();
      },
      this);
  document()->documentLayout()->registerHandler(QTextFormat::ImageObject, pictures_);
  connect(this, &QTextBrowser::anchorClicked, this, &HelpPageView::Follow);
  connect(this, &QTextBrowser::sourceChanged, this, [this](const QUrl& url) {
    shown_ = url;
    if (std::exchange(fresh_, false)) {
      marks_.clear();
      Dress();
    }
    if (url.hasFragment()) {
      scrollToAnchor(url.fragment());
      QScrollBar& bar = *verticalScrollBar();
      bar.setValue(bar.value() < bar.maximum() ? bar.value() - kAboveHeading : bar.maximum());
    }
    Q_EMIT PageShown(PageName());
  });
}

void HelpPageView::Open(Read read) {
  read_ = nullptr;
  setSource(QUrl());
  clear();
  clearHistory();
  read_ = std::move(read);
}

void HelpPageView::ShowPage(const QString& name) {
  setSource(UrlOf(name), QTextDocument::MarkdownResource);
}

QString HelpPageView::PageName() const {
  return shown_.fileName();
}

void HelpPageView::SetZoom(int points) {
  const int zoom = std::clamp(points, kLeastZoom, kMostZoom);
  if (zoom != zoom_) {
    zoom_ = zoom;
    DressAgain();
  }
}

void HelpPageView::Mark(const QStringList& texts) {
  marks_ = texts;
  ShowMarks();
}

HelpPageView::Found HelpPageView::Find(const QString& text, bool backwards, bool again) {
  find_ = text;
  ShowMarks();
  QTextCursor cursor = textCursor();
  if (text.isEmpty()) {
    cursor.clearSelection();
    setTextCursor(cursor);
    return {};
  }
  const QTextDocument::FindFlags way = backwards ? QTextDocument::FindBackward : QTextDocument::FindFlag();
  if (!again) {
    cursor.setPosition(cursor.selectionStart());
  }
  QTextCursor found = document()->find(text, cursor, way);
  if (found.isNull()) {
    cursor.movePosition(backwards ? QTextCursor::End : QTextCursor::Start);
    found = document()->find(text, cursor, way);
  }
  Found result;
  for (QTextCursor each = document()->find(text); !each.isNull(); each = document()->find(text, each)) {
    ++result.Count;
    if (each.selectionStart() == found.selectionStart()) {
      result.Place = result.Count;
    }
  }
  if (found.isNull()) {
    cursor.clearSelection();
    setTextCursor(cursor);
  } else {
    setTextCursor(found);
    ensureCursorVisible();
  }
  return result;
}

QVariant HelpPageView::loadResource(int type, const QUrl& url) {
  if (type != QTextDocument::MarkdownResource || url.scheme() != Scheme() || !read_) {
    return {};
  }
  fresh_ = true;
  return QString::fromUtf8(read_(PathOf(url)));
}

void HelpPageView::Follow(const QUrl& link) {
  const QUrl target = shown_.resolved(link);
  if (target.scheme() == Scheme() && read_ && !read_(PathOf(target)).isEmpty()) {
    setSource(target, QTextDocument::MarkdownResource);
  }
}

void HelpPageView::Dress() {
  QFont text = font();
  text.setPointSizeF(plainSize_ + zoom_);
  document()->setDefaultFont(text);
  document()->setDocumentMargin(0);
  QTextFrameFormat page = document()->rootFrame()->frameFormat();
  page.setLeftMargin(kSideMargin);
  page.setRightMargin(kSideMargin);
  page.setTopMargin(kTopMargin);
  page.setBottomMargin(kBottomMargin);
  document()->rootFrame()->setFrameFormat(page);
  pictures_->Clear();
  pictures_->SetInk(palette().color(QPalette::Active, QPalette::Text));
  DressHelpPage(*document(), {.Font = text, .Palette = palette(), .MayFollow = [this](const QString& target) {
                                const QUrl url = shown_.resolved(QUrl(target));
                                return url.scheme() == Scheme() && !read_(PathOf(url)).isEmpty();
                              }});
  FitWidth();
  ShowMarks();
  // So that the scroll bar can be set to any place of the page right away.
  static_cast<void>(document()->documentLayout()->documentSize());
}

void HelpPageView::DressAgain() {
  if (shown_.isEmpty()) {
    return;
  }
  QScrollBar& bar = *verticalScrollBar();
  const double place = bar.maximum() > 0 ? double(bar.value()) / bar.maximum() : 0;
  const QStringList marks = marks_;
  document()->setMarkdown(loadResource(QTextDocument::MarkdownResource, shown_).toString());
  fresh_ = false;
  marks_ = marks;
  Dress();
  bar.setValue(qRound(place * bar.maximum()));
}

void HelpPageView::FitWidth() {
  const QFontMetrics metrics(document()->defaultFont());
  const int readable = metrics.averageCharWidth() * kMostCharacters + 2 * kSideMargin;
  const int width = std::max(std::min(readable, viewport()->width()), 4 * kSideMargin);
  pictures_->SetWidth(width - 2 * kSideMargin);
  if (lineWrapColumnOrWidth() != width) {
    setLineWrapColumnOrWidth(width);
  }
}

void HelpPageView::ShowMarks() {
  QColor ground = IsDark(palette()) ? QColor(0x6B, 0x5A, 0x12) : QColor(0xFF, 0xEE, 0xA8);
  QList<ExtraSelection> selections;
  QStringList texts = marks_;
  texts.append(find_);
  for (const QString& text : texts) {
    if (text.isEmpty()) {
      continue;
    }
    for (QTextCursor each = document()->find(text); !each.isNull(); each = document()->find(text, each)) {
      ExtraSelection mark;
      mark.cursor = each;
      mark.format.setBackground(ground);
      selections.append(mark);
    }
  }
  setExtraSelections(selections);
}

void HelpPageView::resizeEvent(QResizeEvent* event) {
  FitWidth();
  QTextBrowser::resizeEvent(event);
}

void HelpPageView::changeEvent(QEvent* event) {
  QTextBrowser::changeEvent(event);
  if (event->type() == QEvent::PaletteChange) {
    DressAgain();
  } else if (event->type() == QEvent::FontChange) {
    plainSize_ = font().pointSizeF();
    DressAgain();
  }
}

void HelpPageView::wheelEvent(QWheelEvent* event) {
  if (event->modifiers().testFlag(Qt::ControlModifier)) {
    SetZoom(zoom_ + (event->angleDelta().y() > 0 ? 1 : -1));
    event->accept();
    return;
  }
  QTextBrowser::wheelEvent(event);
}

}  // namespace korvane::mainwnd
