#include "traps/ListTools.h"

#include <QLocale>
#include <QShortcut>
#include <QTableView>
#include <optional>

#include "common/Desk.h"
#include "common/qt/Caption.h"
#include "common/qt/ListHabits.h"
#include "common/qt/QtText.h"
#include "traplist/CsvExport.h"
#include "traps/FindBar.h"
#include "traps/TrapsList.h"
#include "traps/TrapsTableModel.h"

namespace korvane::traps {

ListTools::ListTools(QTableView& view, TrapsTableModel& table, TrapsList& list, Desk& desk, QWidget& window)
    : view_(view),
      table_(table),
      desk_(desk),
      window_(window),
      bar_(new FindBar(view, table, list, &window)) {
  auto* exported = new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_E), &window);
  exported->setContext(Qt::WidgetWithChildrenShortcut);
  connect(exported, &QShortcut::activated, this, &ListTools::Export);
}

void ListTools::Find() {
  bar_->Open();
}

void ListTools::Copy() {
  CopySelectedRows(view_);
}

void ListTools::SelectAll() {
  view_.selectAll();
}

void ListTools::Export() {
  table_.FinishSorting();
  const traplist::ShownTraps traps = table_.Shown();
  const std::optional<std::string> path = traplist::ExportTraps(desk_, CaptionOf(window_), traps);
  if (!path) {
    return;
  }
  const auto count = static_cast<qlonglong>(traps.Count());
  const QString what = count == 1 ? tr("1 trap was exported") : tr("%L1 traps were exported").arg(count);
  desk_.Strip.Done(ToUtf8(tr("%1 to %2").arg(what, ToQString(*path))));
}

}  // namespace korvane::traps
