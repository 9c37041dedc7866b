#include "categories/PaneCommands.h"

#include <QAbstractItemView>
#include <QAction>
#include <QItemSelectionModel>
#include <QKeyEvent>
#include <QKeySequence>
#include <QMenu>
#include <utility>

namespace korvane::categories {

PaneCommands::PaneCommands(QAbstractItemView& list, const PaneNames& names, PaneActs acts)
    : QObject(&list), list_(list), acts_(std::move(acts)), menu_(new QMenu(&list)) {
  menu_->setObjectName(QString::fromLatin1(names.Menu));
  new_ = AddItem(names.New, tr("&New"), Qt::Key_Insert, acts_.New);
  edit_ = AddItem(names.Edit, tr("&Edit"), Qt::Key_F2, acts_.Edit);
  remove_ = AddItem(names.Remove, tr("&Remove"), Qt::Key_Delete, acts_.Remove);
  menu_->addSeparator();
  up_ = AddItem(names.Up, tr("Move &Up"), int{Qt::ALT} | Qt::Key_Up, [this] { acts_.Move(Direction::Up); });
  down_ = AddItem(names.Down, tr("Move &Down"), int{Qt::ALT} | Qt::Key_Down,
                  [this] { acts_.Move(Direction::Down); });
  connect(&list_, &QWidget::customContextMenuRequested, this, &PaneCommands::PopUp);
  list_.installEventFilter(this);
}

// The key is only shown: it acts where the list has the focus, not in the menu's window.
QAction* PaneCommands::AddItem(const char* name, const QString& caption, int key,
                               const std::function<void()>& act) {
  QAction* item = menu_->addAction(caption, this, act);
  item->setObjectName(QString::fromLatin1(name));
  item->setShortcut(QKeySequence(key));
  item->setShortcutContext(Qt::WidgetShortcut);
  item->setShortcutVisibleInContextMenu(true);
  return item;
}

void PaneCommands::PopUp(const QPoint& position) {
  const QModelIndex row = list_.indexAt(position);
  if (row.isValid()) {
    // What the menu is about, when several rows are selected.
    list_.selectionModel()->setCurrentIndex(row,
                                            QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
  }
  new_->setEnabled(acts_.CanAdd());
  edit_->setEnabled(row.isValid());
  remove_->setEnabled(row.isValid());
  up_->setEnabled(row.isValid() && acts_.CanMove(Direction::Up));
  down_->setEnabled(row.isValid() && acts_.CanMove(Direction::Down));
  menu_->popup(list_.viewport()->mapToGlobal(position));
}

bool PaneCommands::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() == QEvent::KeyPress) {
    const auto& key = *static_cast<QKeyEvent*>(event);
    const Qt::KeyboardModifiers modifiers = key.modifiers() & ~Qt::KeypadModifier;
    if ((modifiers == Qt::NoModifier || modifiers == Qt::AltModifier) &&
        Key(key.key(), modifiers == Qt::AltModifier)) {
      return true;
    }
  }
  return QObject::eventFilter(watched, event);
}

// Enter is taken in any case: it must not reach OK from a list.
bool PaneCommands::Key(int key, bool alt) {
  if (alt) {
    if (key != Qt::Key_Up && key != Qt::Key_Down) {
      return false;
    }
    acts_.Move(key == Qt::Key_Up ? Direction::Up : Direction::Down);
    return true;
  }
  switch (key) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
    case Qt::Key_F2:
      acts_.Edit();
      return true;
    case Qt::Key_Insert:
      acts_.New();
      return true;
    case Qt::Key_Delete:
      acts_.Remove();
      return true;
    default:
      return false;
  }
}

}  // namespace korvane::categories
