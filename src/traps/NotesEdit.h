// The editor of the operator's notes on a trap: several lines, Tab leaves it, and no text, shown or pasted,
// holds the window up.  User-interface thread.
#pragma once

#include <QPlainTextEdit>
#include <string>
#include <string_view>

namespace korvane::traps {

class NotesEdit : public QPlainTextEdit {
  Q_OBJECT

 public:
  explicit NotesEdit(QWidget* parent = nullptr);

  void SetNotes(std::string_view notes);
  // What it holds, with a line feed for each line break.
  std::string Notes() const;
  // What it would hold of these notes: broken bytes and other line breaks do not come back as they were.
  static std::string Unedited(std::string_view notes);

  QSize minimumSizeHint() const override;

 protected:
  void insertFromMimeData(const QMimeData* source) override;

 private:
  void WrapFor(const QString& text);
};

}  // namespace korvane::traps
