#include "mainwnd/FrameMenus.h"

#include <QKeySequence>
#include <QMainWindow>
#include <QMenuBar>
#include <QToolBar>
#include <QToolButton>
#include <utility>

#include "common/Translation.h"
#include "common/qt/Icons.h"
#include "common/qt/QtText.h"

namespace korvane::mainwnd {
namespace {

constexpr int kToolbarIconSize = 20;

QString ToolTip(const Command& command, const QString& keys) {
  const QString text = ToQString(Translated(command.Caption)).remove(QLatin1Char('&'));
  return keys.isEmpty() ? text : text + QStringLiteral(" (") + keys + QLatin1Char(')');
}

// The keys that the menu item of the same action shows.
QKeySequence KeysOfAction(Action action) {
  for (const Command& command : Commands()) {
    if (command.Do == action && !command.Shortcuts.empty()) {
      return QKeySequence::listFromString(ToQString(command.Shortcuts)).value(0);
    }
  }
  return {};
}

}  // namespace

FrameMenus::FrameMenus(QMainWindow& frame, QToolBar& tbToolbar, Run run)
    : frame_(frame), run_(std::move(run)) {
  for (const Menu& menu : MenuBar()) {
    frame_.menuBar()->addMenu(menus_.emplace(menu.Name, MakeMenu(menu)).first->second);
  }
  for (const Menu& menu : PopUpMenus()) {
    popUps_.emplace(menu.Name, MakeMenu(menu));
    ShowKeys(menu);
  }
  tbToolbar.setIconSize(QSize(kToolbarIconSize, kToolbarIconSize));
  for (const std::string_view name : ToolbarButtons()) {
    const Command& command = *FindCommand(name);
    QAction* item = MakeItem(command, &tbToolbar);
    item->setToolTip(ToolTip(command, KeysOfAction(command.Do).toString(QKeySequence::NativeText)));
    tbToolbar.addAction(item);
    if (QWidget* button = tbToolbar.widgetForAction(item)) {
      button->setObjectName(item->objectName() + QStringLiteral("Button"));
      button->setAccessibleName(item->text());
    }
  }
}

QString FrameMenus::WithAccessKey(const Command& command, QString caption) {
  const qsizetype place = command.AccessKey.empty() ? -1 : caption.indexOf(ToQString(command.AccessKey));
  if (place >= 0) {  // a translation may be without the letter
    caption.insert(place, QLatin1Char('&'));
  }
  return caption;
}

QMenu* FrameMenus::MakeMenu(const Menu& menu) {
  auto* made = new QMenu(ToQString(Translated(menu.Caption)), &frame_);
  made->setObjectName(ToQString(menu.Name));
  for (const std::string_view name : menu.Items) {
    if (name.empty()) {
      made->addSeparator();
    } else {
      made->addAction(MakeItem(*FindCommand(name), made));
    }
  }
  return made;
}

// The keys stand in a pop-up to be learnt: they are those of the menu bar and of the windows, and since a
// pop-up belongs to no menu the toolkit passes over those that are set here.
void FrameMenus::ShowKeys(const Menu& popUp) {
  for (const std::string_view name : popUp.Items) {
    if (const Command* command = FindCommand(name)) {
      Item(name).setShortcut(KeysOfAction(command->Do));
    }
  }
}

QAction* FrameMenus::MakeItem(const Command& command, QObject* owner) {
  auto* item = new QAction(WithAccessKey(command, ToQString(Translated(command.Caption))), owner);
  item->setObjectName(ToQString(command.Name));
  item->setMenuRole(QAction::NoRole);
  if (!command.Icon.empty()) {
    item->setIcon(Picture(command.Icon));
  }
  if (!command.Shortcuts.empty()) {
    item->setShortcuts(QKeySequence::listFromString(ToQString(command.Shortcuts)));
  }
  item->setCheckable(command.Tick);
  QObject::connect(item, &QAction::triggered, &frame_, [this, &command] { run_(command); });
  items_.emplace(command.Name, item);
  return item;
}

QIcon FrameMenus::Picture(std::string_view key) {
  QIcon& picture = imlToolbarIcons[key];
  if (picture.isNull()) {
    picture = ToolbarIcon(key);
  }
  return picture;
}

}  // namespace korvane::mainwnd
