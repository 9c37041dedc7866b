#include "help/HelpHitDelegate.h"

#include <QAbstractTextDocumentLayout>
#include <QApplication>
#include <QPainter>
#include <QRegularExpression>
#include <QTextDocument>

namespace korvane::help {
namespace {

constexpr int kPadding = 6;
constexpr int kLines = 3;          // the title and two of what the page says
constexpr qsizetype kBefore = 24;  // characters shown before the first word found
constexpr qsizetype kMost = 200;

// The part of the line around the first word found, as HTML with the words in bold.
QString Extract(const QString& line, const QStringList& words) {
  QStringList patterns;
  for (const QString& word : words) {
    patterns.append(QRegularExpression::escape(word));
  }
  const QRegularExpression any(QLatin1Char('(') + patterns.join(QLatin1Char('|')) + QLatin1Char(')'),
                               QRegularExpression::CaseInsensitiveOption);
  const qsizetype first = line.indexOf(any);
  const qsizetype from = first > 3 * kBefore ? line.lastIndexOf(QLatin1Char(' '), first - kBefore) + 1 : 0;
  // Two characters that no page has stand for the tags until the text is escaped.
  const QString text = line.mid(from, kMost).replace(any, QStringLiteral("\x01\\1\x02")).toHtmlEscaped();
  return (from > 0 ? QStringLiteral("\u2026") : QString()) +
         QString(text).replace(QChar(1), QLatin1String("<b>")).replace(QChar(2), QLatin1String("</b>"));
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
  const QRect rect = option.rect.adjusted(kPadding, kPadding, -kPadding, -kPadding);
  const auto colour = [&](QPalette::ColorRole role) {
    return option.palette.color(selected ? QPalette::HighlightedText : role).name();
  };
  QFont bold = option.font;
  bold.setBold(true);
  const QString title = QFontMetrics(bold).elidedText(index.data().toString(), Qt::ElideRight, rect.width());
  QTextDocument text;
  text.setDefaultFont(option.font);
  text.setDocumentMargin(0);
  text.setTextWidth(rect.width());
  text.setHtml(QStringLiteral("<b style='color:%1'>%2</b><br><span style='color:%3'>%4</span>")
                   .arg(colour(QPalette::Text), title.toHtmlEscaped(), colour(QPalette::PlaceholderText),
                        Extract(index.data(kHelpHitLineRole).toString(), words_)));
  painter->save();
  painter->translate(rect.topLeft());
  text.drawContents(painter, QRectF(QPointF(), rect.size()));
  painter->restore();
}

QSize HelpHitDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex&) const {
  return {kPadding * 8, 2 * kPadding + kLines * option.fontMetrics.height()};
}

}  // namespace korvane::help
