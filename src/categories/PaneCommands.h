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

class PaneCommands : public QObject {
  Q_OBJECT

 public:
  // suffix: of the names of the menu (mnuPop...) and of its items (mnuPopNew..., mnuPopEdit..., mnuPopRem...,
  // mnuPopUp..., mnuPopDown...).  The list outlives this object, which is its child.
  PaneCommands(QAbstractItemView& list, const QString& suffix, PaneActs acts);

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  QAction* AddItem(const char* verb, const QString& caption, int key, const std::function<void()>& act);
  void PopUp(const QPoint& position);
  bool Key(int key, bool alt);

  QAbstractItemView& list_;
  QString suffix_;
  PaneActs acts_;
  QMenu* menu_;
  QAction* new_;
  QAction* edit_;
  QAction* remove_;
  QAction* up_;
  QAction* down_;
};

}  // namespace korvane::categories
