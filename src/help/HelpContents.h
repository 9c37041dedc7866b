// The contents of the guide as a tree: groups of pages and below each page its sections.  It opens at the
// page that is read and leads to the one that is chosen.  Owned by the help window; user-interface thread.
#pragma once

#include <QObject>
#include <QString>

class QModelIndex;
class QStandardItem;
class QStandardItemModel;
class QTreeView;

namespace korvane::mainwnd {

class HelpBook;
struct HelpPage;
struct HelpSection;

// "page.md", or "page.md#section"; what HelpPageView::ShowPage takes.
QString HelpTarget(const HelpPage& page, const HelpSection& section);

class HelpContents : public QObject {
  Q_OBJECT

 public:
  // The tree must outlive this object.
  explicit HelpContents(QTreeView& tree, QObject* parent = nullptr);

  void Fill(const HelpBook& book);
  void Clear();
  // page: the name of the one that is read now.
  void Follow(const QString& page);

 Q_SIGNALS:
  void Chosen(const QString& target);

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void AddPage(QStandardItem& group, const HelpPage& page);
  void Choose(const QModelIndex& entry);
  void StyleGroups();

  QTreeView& tree_;
  QStandardItemModel* entries_;
  bool following_ = false;  // the tree follows the page, not the other way round
};

}  // namespace korvane::mainwnd
