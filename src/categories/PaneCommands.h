// What can be done in one of the two lists of "Manage Categories", by its pop-up menu and by keys: new, edit,
// remove, and moving what is selected up or down.  User-interface thread.
#pragma once

#include <QObject>
#include <functional>

#include "categories/CategoriesForm.h"

class QAbstractItemView;
class QAction;
class QMenu;

namespace korvane::categories {

struct PaneActs {
  std::function<void()> New;
  std::function<void()> Edit;
  std::function<void()> Remove;
  std::function<void(Direction)> Move;
  // When a menu opens: whether something can be added, and whether what is selected can go that way.
  std::function<bool()> CanAdd;
  std::function<bool(Direction)> CanMove;
};

// Of the menu and its items.
struct PaneNames {
  const char* Menu;
  const char* New;
  const char* Edit;
  const char* Remove;
  const char* Up;
  const char* Down;
};

class PaneCommands : public QObject {
  Q_OBJECT

 public:
  // The list outlives this object, which is its child.
  PaneCommands(QAbstractItemView& list, const PaneNames& names, PaneActs acts);

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  QAction* AddItem(const char* name, const QString& caption, int key, const std::function<void()>& act);
  void PopUp(const QPoint& position);
  bool Key(int key, bool alt);

  QAbstractItemView& list_;
  PaneActs acts_;
  QMenu* menu_;
  QAction* new_;
  QAction* edit_;
  QAction* remove_;
  QAction* up_;
  QAction* down_;
};

}  // namespace korvane::categories
