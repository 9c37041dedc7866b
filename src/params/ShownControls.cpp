#include "params/ShownControls.h"

#include <QComboBox>
#include <QEvent>
#include <QItemSelectionModel>
#include <QLineEdit>
#include <QListView>
#include <QSignalBlocker>
#include <QStringListModel>
#include <QTimer>

#include "common/qt/CellText.h"
#include "common/qt/QtText.h"
#include "params/FormControls.h"

namespace korvane::params {

namespace {

QStringList VisibleTexts(const ListControl& control) {
  QStringList texts;
  texts.reserve(static_cast<qsizetype>(control.Items.size()));
  for (const std::string& item : control.Items) {
    texts.append(ToVisibleQString(item));
  }
  return texts;
}

bool SameTexts(const QComboBox& combo, const QStringList& texts) {
  if (combo.count() != texts.size()) {
    return false;
  }
  for (int i = 0; i < combo.count(); ++i) {
    if (combo.itemText(i) != texts[i]) {
      return false;
    }
  }
  return true;
}

class AllSelector : public QObject {
 public:
  explicit AllSelector(QLineEdit& edit) : QObject(&edit), edit_(edit) { edit.installEventFilter(this); }

 protected:
  bool eventFilter(QObject*, QEvent* event) override {
    if (event->type() == QEvent::FocusIn && edit_.text() == ToQString(kAll)) {
      // Once the click that brought the focus has placed its cursor.
      QTimer::singleShot(0, &edit_, &QLineEdit::selectAll);
    }
    return false;
  }

 private:
  QLineEdit& edit_;
};

}  // namespace

void SelectAllOnEntering(QLineEdit& edit) {
  new AllSelector(edit);  // the box owns it
}

void ShowText(QLineEdit& edit, const TextControl& control) {
  const QString text = ToQString(control.Text);
  if (edit.text() != text) {
    edit.setText(text);
    edit.setCursorPosition(0);
  }
  edit.setEnabled(control.Enabled);
}

void ShowCombo(QComboBox& combo, const ListControl& control) {
  const QSignalBlocker blocker(combo);
  const QStringList texts = VisibleTexts(control);
  if (!SameTexts(combo, texts)) {
    combo.clear();
    combo.addItems(texts);
  }
  combo.setCurrentIndex(static_cast<int>(control.Position));
  const bool none = control.Position == 0 && control.Text() == kAll;
  combo.setToolTip(none ? QString() : PlainToolTip(combo.currentText()));
  combo.setEnabled(control.Enabled);
}

void ShowList(QListView& list, QStringListModel& items, const ListControl& control) {
  const QSignalBlocker blocker(list.selectionModel());
  const QStringList texts = VisibleTexts(control);
  if (items.stringList() != texts) {
    items.setStringList(texts);
  }
  const QModelIndex chosen = items.index(static_cast<int>(control.Position));
  if (list.currentIndex() != chosen || !list.selectionModel()->isSelected(chosen)) {
    list.setCurrentIndex(chosen);
    list.scrollTo(chosen);
    list.viewport()->update();
  }
  list.setEnabled(control.Enabled);
}

std::size_t ToPosition(int index) {
  return index < 0 ? 0 : static_cast<std::size_t>(index);
}

}  // namespace korvane::params
