#include "help/HelpHitDelegate.h"

#include <QApplication>
#include <QPainter>
#include <QTextLayout>
#include <algorithm>

namespace korvane::mainwnd {
namespace {

constexpr int kPadding = 6;
constexpr int kLines = 2;          // of what the page says
constexpr qsizetype kBefore = 24;  // characters shown before the first word found
constexpr qsizetype kMost = 200;

QFont TitleFont(const QStyleOptionViewItem& option) {
  QFont font = option.font;
  font.setBold(true);
  return font;
}

// The part of the line around the first word found.
QString Extract(const QString& line, const QStringList& words) {
  qsizetype first = line.size();
  for (const QString& word : words) {
    const qsizetype at = line.indexOf(word, 0, Qt::CaseInsensitive);
    first = at >= 0 ? std::min(first, at) : first;
  }
  qsizetype from = 0;
  if (first < line.size() && first > 3 * kBefore) {
    from = line.lastIndexOf(QLatin1Char(' '), first - kBefore) + 1;
  }
  return (from > 0 ? QString(QChar(0x2026)) : QString()) + line.mid(from, kMost);
}

QList<QTextLayout::FormatRange> BoldWords(const QString& text, const QStringList& words) {
  QList<QTextLayout::FormatRange> ranges;
  for (const QString& word : words) {
    for (qsizetype at = text.indexOf(word, 0, Qt::CaseInsensitive); at >= 0 && !word.isEmpty();
         at = text.indexOf(word, at + word.size(), Qt::CaseInsensitive)) {
      QTextLayout::FormatRange range;
      range.start = static_cast<int>(at);
      range.length = static_cast<int>(word.size());
      range.format.setFontWeight(QFont::Bold);
      ranges.append(range);
    }
  }
  return ranges;
}

}  // namespace

void HelpHitDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                            const QModelIndex& index) const {
  QStyleOptionViewItem ground = option;
  initStyleOption(&ground, index);
  ground.text.clear();
  const QStyle& style = option.widget != nullptr ? *option.widget->style() : *QApplication::style();
  style.drawControl(QStyle::CE_ItemViewItem, &ground, painter, option.widget);

  const bool selected = option.state.testFlag(QStyle::State_Selected);
  const QPalette& palette = option.palette;
  const QColor ink = palette.color(selected ? QPalette::HighlightedText : QPalette::Text);
  const QRect rect = option.rect.adjusted(kPadding, kPadding, -kPadding, -kPadding);
  painter->save();
  painter->setClipRect(option.rect);
  painter->setPen(ink);
  painter->setFont(TitleFont(option));
  const QFontMetrics title(painter->font());
  painter->drawText(QRect(rect.topLeft(), QSize(rect.width(), title.height())), Qt::AlignLeft,
                    title.elidedText(index.data().toString(), Qt::ElideRight, rect.width()));

  painter->setPen(selected ? ink : palette.color(QPalette::PlaceholderText));
  const QString text = Extract(index.data(kHelpHitLineRole).toString(), words_);
  QTextLayout layout(text, option.font);
  layout.setFormats(BoldWords(text, words_));
  layout.beginLayout();
  double y = rect.top() + title.height() + 2;
  for (int i = 0; i < kLines; ++i) {
    QTextLine line = layout.createLine();
    if (!line.isValid()) {
      break;
    }
    line.setLineWidth(rect.width());
    line.setPosition(QPointF(rect.left(), y));
    y += line.height();
  }
  layout.endLayout();
  layout.draw(painter, QPointF());
  painter->restore();
}

QSize HelpHitDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex&) const {
  return {kPadding * 8,
          2 * kPadding + 2 + QFontMetrics(TitleFont(option)).height() + kLines * option.fontMetrics.height()};
}

}  // namespace korvane::mainwnd
