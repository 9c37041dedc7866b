#include "help/HelpDress.h"

#include <QFontDatabase>
#include <QFontMetricsF>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextDocumentFragment>
#include <QTextList>
#include <QTextTable>
#include <algorithm>
#include <array>
#include <functional>
#include <vector>

#include "common/qt/Icons.h"
#include "common/qt/QtText.h"
#include "help/HelpPage.h"

namespace korvane::mainwnd {
namespace {

constexpr std::array<double, 4> kHeadingSizes = {1.0, 1.75, 1.3, 1.08};  // by level, in sizes of the text
constexpr double kLineHeight = 138;                                      // per cent

QColor Mix(const QColor& a, const QColor& b, float shareOfB) {
  const auto mix = [shareOfB](float x, float y) { return x + (y - x) * shareOfB; };
  return QColor::fromRgbF(mix(a.redF(), b.redF()), mix(a.greenF(), b.greenF()), mix(a.blueF(), b.blueF()));
}

class Dresser {
 public:
  Dresser(QTextDocument& page, const HelpLook& look)
      : page_(page), look_(look), em_(QFontMetricsF(look.Font).height()) {}

  void Run() {
    page_.setIndentWidth(em_ * 1.3);
    for (QTextBlock block = page_.begin(); block.isValid(); block = block.next()) {
      const int level = block.blockFormat().headingLevel();
      if (level > 0) {
        DressHeading(block, std::min<int>(level, kHeadingSizes.size() - 1));
      } else {
        DressText(block);
      }
      DressSpans(block);
    }
    std::vector<QTextTable*> tables;
    for (QTextFrame* frame : page_.rootFrame()->childFrames()) {
      if (auto* table = qobject_cast<QTextTable*>(frame)) {
        tables.push_back(table);
      }
    }
    std::ranges::for_each(tables, [this](QTextTable* table) { DressTable(*table); });
    FrameNotes();
  }

 private:
  QColor Colour(QPalette::ColorRole role) const { return look_.Palette.color(QPalette::Active, role); }
  QColor Tint(QPalette::ColorRole role, float share) const {
    return Mix(Colour(QPalette::Base), Colour(role), share);
  }
  bool InTable(const QTextBlock& block) const { return QTextCursor(block).currentTable() != nullptr; }

  void DressHeading(const QTextBlock& block, int level) {
    QTextBlockFormat format;
    format.setTopMargin(level == 1 ? 0 : em_ * (level == 2 ? 1.3 : 0.9));
    format.setBottomMargin(em_ * (level == 1 ? 0.7 : 0.4));
    QTextCursor cursor(block);
    cursor.mergeBlockFormat(format);

    // Set, not merged: the toolkit's own size of a heading is a property that would win.
    QTextCharFormat text;
    text.setFontPointSize(look_.Font.pointSizeF() * kHeadingSizes.at(static_cast<std::size_t>(level)));
    text.setFontWeight(level == 1 ? QFont::DemiBold : QFont::Bold);
    text.setForeground(Colour(QPalette::Text));
    text.setAnchor(true);
    text.setAnchorNames({ToQString(HelpAnchor(ToUtf8(block.text())))});
    cursor.movePosition(QTextCursor::EndOfBlock, QTextCursor::KeepAnchor);
    cursor.setCharFormat(text);
  }

  void DressText(const QTextBlock& block) {
    const QTextBlockFormat old = block.blockFormat();
    const bool code = old.hasProperty(QTextFormat::BlockCodeFence) || old.nonBreakableLines();
    QTextBlockFormat format;
    if (InTable(block)) {
      format.setTopMargin(0);
      format.setBottomMargin(0);
      format.setLineHeight(120, QTextBlockFormat::ProportionalHeight);
    } else if (code) {
      const bool last = !block.next().blockFormat().nonBreakableLines();
      format.setTopMargin(0);
      format.setBottomMargin(last ? em_ * 0.8 : 0);
      format.setLeftMargin(em_);
    } else {
      const bool inList = block.textList() != nullptr;
      format.setTopMargin(0);
      format.setBottomMargin(em_ * (inList && block.next().textList() != nullptr ? 0.3 : 0.65));
      // A picture's line is as high as the picture: no share of that belongs above it.
      if (!block.text().contains(QChar::ObjectReplacementCharacter)) {
        format.setLineHeight(kLineHeight, QTextBlockFormat::ProportionalHeight);
      }
    }
    QTextCursor(block).mergeBlockFormat(format);
  }

  void DressSpans(const QTextBlock& block) {
    struct Span {
      int From, To;
      QTextCharFormat Format;
    };
    std::vector<Span> spans;
    for (auto it = block.begin(); !it.atEnd(); ++it) {
      const QTextFragment fragment = it.fragment();
      const QTextCharFormat old = fragment.charFormat();
      const QString target = old.anchorHref();
      QTextCharFormat format;
      if (!target.isEmpty()) {
        const bool follow = look_.MayFollow(target);
        format.setAnchor(follow);
        format.setAnchorHref(follow ? target : QString());
        format.setFontUnderline(false);
        format.setForeground(Colour(follow ? QPalette::Link : QPalette::Text));
      }
      if (old.fontFixedPitch()) {
        format.setFontFamilies({QFontDatabase::systemFont(QFontDatabase::FixedFont).family()});
        format.setFontPointSize(look_.Font.pointSizeF() * 0.95);
        format.setBackground(Tint(QPalette::Text, IsDark(look_.Palette) ? 0.13F : 0.07F));
      }
      if (!format.properties().isEmpty()) {
        spans.push_back({fragment.position(), fragment.position() + fragment.length(), format});
      }
    }
    for (const Span& span : spans) {
      QTextCursor cursor(&page_);
      cursor.setPosition(span.From);
      cursor.setPosition(span.To, QTextCursor::KeepAnchor);
      cursor.mergeCharFormat(span.Format);
    }
  }

  void DressTable(QTextTable& table) {
    QTextTableFormat format = table.format();
    format.setBorderCollapse(true);
    format.setBorder(0);
    format.setCellPadding(em_ * 0.4);
    format.setCellSpacing(0);
    format.setTopMargin(em_ * 0.4);
    format.setBottomMargin(em_ * 0.8);
    format.setWidth(QTextLength(QTextLength::PercentageLength, 100));
    format.clearBackground();
    table.setFormat(format);
    const QBrush rule(Tint(QPalette::Text, 0.18F));
    for (int row = 0; row < table.rows(); ++row) {
      for (int column = 0; column < table.columns(); ++column) {
        QTextTableCell cell = table.cellAt(row, column);
        QTextTableCellFormat look = cell.format().toTableCellFormat();
        look.setBottomBorder(1);
        look.setBottomBorderStyle(QTextFrameFormat::BorderStyle_Solid);
        look.setBottomBorderBrush(rule);
        look.setVerticalAlignment(QTextCharFormat::AlignTop);
        if (row == 0) {
          look.setBackground(Tint(QPalette::Text, 0.06F));
        }
        cell.setFormat(look);
      }
    }
  }

  // Each run of quoted paragraphs becomes a tinted box with a bar at its left: a table of one cell.
  void FrameNotes() {
    for (QTextBlock block = page_.lastBlock(); block.isValid();) {
      if (!IsQuote(block)) {
        block = block.previous();
        continue;
      }
      const QTextBlock last = block;
      while (block.previous().isValid() && IsQuote(block.previous())) {
        block = block.previous();
      }
      const int position = block.position();
      Frame(position, last.position() + last.length() - 1);
      block = page_.findBlock(position).previous();
    }
  }
  static bool IsQuote(const QTextBlock& block) {
    return block.blockFormat().intProperty(QTextFormat::BlockQuoteLevel) > 0;
  }
  void Frame(int from, int to) {
    QTextCursor cursor(&page_);
    cursor.setPosition(from);
    cursor.setPosition(to, QTextCursor::KeepAnchor);
    const QTextDocumentFragment note(cursor);
    cursor.removeSelectedText();
    QTextBlockFormat plain;
    plain.setLineHeight(1, QTextBlockFormat::FixedHeight);  // of the empty line behind the table
    cursor.setBlockFormat(plain);

    QTextTableFormat format;
    format.setBorder(0);
    format.setBorderCollapse(true);
    format.setCellSpacing(0);
    format.setCellPadding(em_ * 0.55);
    format.setTopMargin(em_ * 0.2);
    format.setBottomMargin(em_ * 0.8);
    format.setWidth(QTextLength(QTextLength::PercentageLength, 100));
    QTextTable* table = cursor.insertTable(1, 1, format);
    QTextTableCell cell = table->cellAt(0, 0);
    QTextTableCellFormat look;
    look.setBackground(Tint(QPalette::Highlight, IsDark(look_.Palette) ? 0.22F : 0.09F));
    look.setLeftBorder(3);
    look.setLeftBorderStyle(QTextFrameFormat::BorderStyle_Solid);
    look.setLeftBorderBrush(Tint(QPalette::Link, 0.8F));
    cell.setFormat(look);
    QTextCursor inside = cell.firstCursorPosition();
    inside.insertFragment(note);
    for (QTextBlock block = cell.firstCursorPosition().block(); block.isValid(); block = block.next()) {
      QTextBlockFormat text;
      text.setLeftMargin(0);
      text.setRightMargin(0);
      text.setTopMargin(0);
      text.setBottomMargin(block == cell.lastCursorPosition().block() ? 0 : em_ * 0.4);
      text.setLineHeight(128, QTextBlockFormat::ProportionalHeight);
      QTextCursor(block).mergeBlockFormat(text);
      if (block == cell.lastCursorPosition().block()) {
        break;
      }
    }
  }

  QTextDocument& page_;
  const HelpLook& look_;
  qreal em_;
};

}  // namespace

void DressHelpPage(QTextDocument& page, const HelpLook& look) {
  Dresser(page, look).Run();
}

}  // namespace korvane::mainwnd
