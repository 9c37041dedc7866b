#include "help/HelpContents.h"

#include <QEvent>
#include <QScopedValueRollback>
#include <QStandardItemModel>
#include <QTreeView>

#include "common/qt/QtText.h"
#include "help/HelpBook.h"

namespace korvane::mainwnd {
namespace {

constexpr int kTargetRole = Qt::UserRole + 1;

}  // namespace

QString HelpTarget(const HelpPage& page, const HelpSection& section) {
  const QString name = ToQString(page.Name);
  return section.Anchor.empty() ? name : name + QLatin1Char('#') + ToQString(section.Anchor);
}

HelpContents::HelpContents(QTreeView& tree, QObject* parent)
    : QObject(parent), tree_(tree), entries_(new QStandardItemModel(this)) {
  tree_.setModel(entries_);
  tree_.installEventFilter(this);
  connect(tree_.selectionModel(), &QItemSelectionModel::currentChanged, this,
          [this](const QModelIndex& entry) {
            if (!following_) {
              Choose(entry);
            }
          });
  // A click on the entry that is current already leads back to where it points.
  connect(&tree_, &QTreeView::clicked, this, &HelpContents::Choose);
}

void HelpContents::Fill(const HelpBook& book) {
  const QScopedValueRollback guard(following_, true);
  entries_->clear();
  QStandardItem* group = nullptr;
  for (const HelpPage& page : book.Pages()) {
    const QString name = ToQString(page.Group);
    if (group == nullptr || group->text() != name) {
      group = new QStandardItem(name);
      group->setFlags(Qt::ItemIsEnabled);
      entries_->appendRow(group);
    }
    AddPage(*group, page);
  }
  StyleGroups();
  for (int row = 0; row < entries_->rowCount(); ++row) {
    tree_.expand(entries_->index(row, 0));
  }
}

void HelpContents::AddPage(QStandardItem& group, const HelpPage& page) {
  QStandardItem* entry = nullptr;
  for (const HelpSection& section : page.Sections) {
    auto* item = new QStandardItem(ToQString(section.Title));
    item->setData(HelpTarget(page, section), kTargetRole);
    item->setToolTip(item->text());
    if (entry == nullptr) {
      entry = item;
      group.appendRow(item);
    } else {
      entry->appendRow(item);
    }
  }
}

void HelpContents::Clear() {
  const QScopedValueRollback guard(following_, true);
  entries_->clear();
}

void HelpContents::Follow(const QString& page) {
  const QScopedValueRollback guard(following_, true);
  for (int group = 0; group < entries_->rowCount(); ++group) {
    const QStandardItem& pages = *entries_->item(group);
    for (int row = 0; row < pages.rowCount(); ++row) {
      const QModelIndex entry = pages.child(row)->index();
      const bool here = entry.data(kTargetRole).toString() == page;
      tree_.setExpanded(entry, here);
      if (here && tree_.currentIndex().parent() != entry) {
        tree_.setCurrentIndex(entry);
      }
    }
  }
}

void HelpContents::Choose(const QModelIndex& entry) {
  const QVariant target = entry.data(kTargetRole);
  if (target.isValid()) {
    Q_EMIT Chosen(target.toString());
  }
}

void HelpContents::StyleGroups() {
  QFont bold = tree_.font();
  bold.setBold(true);
  for (int row = 0; row < entries_->rowCount(); ++row) {
    entries_->item(row)->setFont(bold);
    entries_->item(row)->setForeground(tree_.palette().color(QPalette::PlaceholderText));
  }
}

bool HelpContents::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() == QEvent::PaletteChange || event->type() == QEvent::FontChange) {
    StyleGroups();
  }
  return QObject::eventFilter(watched, event);
}

}  // namespace korvane::mainwnd
