// Menu bar, toolbar and pop-up menus of the frame window, made from the rows of the command table.  Every
// item carries its row's name as object name.  Owned by the frame; the menus belong to the frame window
// itself.  User-interface thread only.
#pragma once

#include <QAction>
#include <QIcon>
#include <QMenu>
#include <functional>
#include <map>
#include <string_view>

#include "mainwnd/CommandTable.h"

class QMainWindow;
class QToolBar;

namespace korvane::mainwnd {

class FrameMenus {
 public:
  using Run = std::function<void(const Command&)>;

  FrameMenus(QMainWindow& frame, QToolBar& tbToolbar, Run run);

  // The caption with the command's access key marked in it.
  static QString WithAccessKey(const Command& command, QString caption);

  QAction& Item(std::string_view name) const { return *items_.at(name); }
  QMenu& MenuOf(std::string_view name) const { return *menus_.at(name); }  // of the menu bar
  QMenu& PopUp(std::string_view name) const { return *popUps_.at(name); }

 private:
  QMenu* MakeMenu(const Menu& menu);
  void ShowKeys(const Menu& popUp);
  QAction* MakeItem(const Command& command, QObject* owner);
  QIcon Picture(std::string_view key);

  QMainWindow& frame_;
  Run run_;
  std::map<std::string_view, QIcon> imlToolbarIcons;
  std::map<std::string_view, QAction*> items_;
  std::map<std::string_view, QMenu*> menus_;
  std::map<std::string_view, QMenu*> popUps_;
};

}  // namespace korvane::mainwnd
