#include "mainwnd/WindowListMenu.h"

#include <QAction>
#include <QMenu>
#include <QPointer>

#include "common/qt/Caption.h"
#include "common/qt/QtText.h"
#include "mainwnd/ChildArea.h"

namespace korvane::mainwnd {
namespace {

constexpr int kNumbered = 9;
constexpr int kLongestCaption = 360;  // logical pixels; a name from the network can be any length

QString ItemOf(const QMenu& menu, const ChildWindow& child, int number) {
  QString caption = ToVisibleQString(CaptionOf(*child.widget())).trimmed();
  caption = menu.fontMetrics().elidedText(caption, Qt::ElideMiddle, kLongestCaption);
  caption.replace(QLatin1Char('&'), QLatin1String("&&"));
  if (child.isMinimized()) {
    caption = WindowListMenu::tr("%1 (put aside)").arg(caption);
  }
  return number > kNumbered ? caption : QStringLiteral("&%1  %2").arg(number).arg(caption);
}

}  // namespace

WindowListMenu::WindowListMenu(QMenu& menu, ChildArea& area) : menu_(menu), area_(area) {
  connect(&menu, &QMenu::aboutToShow, this, &WindowListMenu::Fill);
}

void WindowListMenu::Fill() {
  qDeleteAll(shown_);
  shown_.clear();
  shown_.push_back(menu_.addSeparator());
  for (ChildWindow* child : area_.InCreationOrder()) {
    QAction* item = menu_.addAction(ItemOf(menu_, *child, static_cast<int>(shown_.size())));
    item->setCheckable(true);
    item->setChecked(child == area_.Active());
    connect(item, &QAction::triggered, this, [window = QPointer<ChildWindow>(child)] {
      if (window) {
        window->BringUp();
      }
    });
    shown_.push_back(item);
  }
}

}  // namespace korvane::mainwnd
