#include "traps/LongTextView.h"

#include <QMimeData>
#include <QTextBlock>
#include <algorithm>
#include <vector>

#include "common/qt/QtText.h"

namespace korvane::traps {
namespace {

// Text is laid out by whole lines, and only those on the screen: the cost of showing any text is that of one
// line of this many characters.
constexpr qsizetype kLongestLine = 2000;

// The user state of a block that goes on with the line of the block before it.
constexpr int kContinues = 1;

QString VisibleLine(std::string_view line) {
  QString visible;
  for (std::size_t tab = line.find('\t'); tab != std::string_view::npos; tab = line.find('\t')) {
    visible += ToVisibleQString(line.substr(0, tab)) + QLatin1Char('\t');
    line.remove_prefix(tab + 1);
  }
  return visible + ToVisibleQString(line);
}

// Where the first piece of a line that is too long ends: after a blank or a comma when there is one.
qsizetype PieceEnd(QStringView line) {
  for (qsizetype end = kLongestLine; end > kLongestLine / 2; --end) {
    if (line[end - 1] == QLatin1Char(' ') || line[end - 1] == QLatin1Char(',')) {
      return end;
    }
  }
  return line[kLongestLine - 1].isHighSurrogate() ? kLongestLine - 1 : kLongestLine;
}

struct BrokenText {
  QString Text;
  std::vector<int> Continued;  // numbers of the blocks that go on with a line

  void AddLine(QStringView line) {
    for (; line.size() > kLongestLine; line = line.mid(PieceEnd(line))) {
      Text += line.left(PieceEnd(line));
      Text += QLatin1Char('\n');
      Continued.push_back(++blocks_);
    }
    Text += line;
  }
  void BreakLine() {
    Text += QLatin1Char('\n');
    ++blocks_;
  }

 private:
  int blocks_ = 0;
};

BrokenText Broken(std::string_view text) {
  BrokenText broken;
  for (std::size_t end = text.find('\n'); end != std::string_view::npos; end = text.find('\n')) {
    std::string_view line = text.substr(0, end);
    if (line.ends_with('\r')) {
      line.remove_suffix(1);
    }
    broken.AddLine(VisibleLine(line));
    broken.BreakLine();
    text.remove_prefix(end + 1);
  }
  broken.AddLine(VisibleLine(text));
  return broken;
}

}  // namespace

QSize LeastTextBox(const QPlainTextEdit& box) {
  constexpr int kLeastLines = 2;
  constexpr int kLeastCharacters = 20;
  const QFontMetrics metrics = box.fontMetrics();
  const int edge = 2 * (box.frameWidth() + static_cast<int>(box.document()->documentMargin()));
  return {metrics.averageCharWidth() * kLeastCharacters + edge, metrics.lineSpacing() * kLeastLines + edge};
}

LongTextView::LongTextView(QWidget* parent) : QPlainTextEdit(parent) {
  setReadOnly(true);
  setUndoRedoEnabled(false);
  setTabChangesFocus(true);
  viewport()->setBackgroundRole(QPalette::Window);  // nothing can be typed here
  setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
}

QSize LongTextView::minimumSizeHint() const {
  return LeastTextBox(*this);
}

void LongTextView::SetText(std::string_view text) {
  const BrokenText broken = Broken(text);
  setPlainText(broken.Text);
  for (const int number : broken.Continued) {
    document()->findBlockByNumber(number).setUserState(kContinues);
  }
}

QMimeData* LongTextView::createMimeDataFromSelection() const {
  const QTextCursor selected = textCursor();
  const int start = selected.selectionStart();
  const int end = selected.selectionEnd();
  QString text;
  for (QTextBlock block = document()->findBlock(start); block.isValid() && block.position() <= end;
       block = block.next()) {
    if (block.position() > start && block.userState() != kContinues) {
      text += QLatin1Char('\n');
    }
    const int from = std::max(start - block.position(), 0);
    const int to = std::min(end - block.position(), block.length() - 1);
    const QString line = block.text();
    text += QStringView(line).mid(from, to - from);
  }
  auto* copied = new QMimeData;
  copied->setText(text);
  return copied;
}

}  // namespace korvane::traps
