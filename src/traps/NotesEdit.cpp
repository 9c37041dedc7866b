#include "traps/NotesEdit.h"

#include <QMimeData>
#include <QTextDocument>
#include <algorithm>

#include "common/qt/QtText.h"
#include "traps/LongTextView.h"

namespace korvane::traps {
namespace {

// Wrapping between words reads on to the end of the word for every line it makes of it.
constexpr qsizetype kLongestWord = 10'000;

bool HasVeryLongWord(const QString& text) {
  qsizetype length = 0;
  return std::ranges::any_of(text, [&](QChar c) {
    length = c.isSpace() ? 0 : length + 1;
    return length > kLongestWord;
  });
}

// The document's own plain text would turn blanks that do not break into others.
std::string TextOf(const QTextDocument& document) {
  QString text = document.toRawText();
  for (QChar& c : text) {
    const char16_t code = c.unicode();
    if (code == QChar::ParagraphSeparator || code == QChar::LineSeparator || code == 0xFDD0 ||
        code == 0xFDD1) {
      c = QLatin1Char('\n');
    }
  }
  return ToUtf8(text);
}

}  // namespace

NotesEdit::NotesEdit(QWidget* parent) : QPlainTextEdit(parent) {
  setTabChangesFocus(true);
}

QSize NotesEdit::minimumSizeHint() const {
  return LeastTextBox(*this);
}

void NotesEdit::SetNotes(std::string_view notes) {
  const QString text = ToQString(notes);
  clear();  // changing how it wraps lays out what it holds
  setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
  WrapFor(text);
  setPlainText(text);
  moveCursor(QTextCursor::End);  // where what is added goes
}

std::string NotesEdit::Notes() const {
  return TextOf(*document());
}

std::string NotesEdit::Unedited(std::string_view notes) {
  if (notes.empty()) {
    return {};
  }
  QTextDocument unedited;
  unedited.setPlainText(ToQString(notes));
  return TextOf(unedited);
}

void NotesEdit::insertFromMimeData(const QMimeData* source) {
  WrapFor(source->text());
  QPlainTextEdit::insertFromMimeData(source);
}

void NotesEdit::WrapFor(const QString& text) {
  if (HasVeryLongWord(text)) {
    setWordWrapMode(QTextOption::WrapAnywhere);
  }
}

}  // namespace korvane::traps
