// A page that the search of the help window found: its title above two lines of what it says, with the words
// that were looked for in bold.  User-interface thread.
#pragma once

#include <QStringList>
#include <QStyledItemDelegate>

namespace korvane::help {

inline constexpr int kHelpHitLineRole = Qt::UserRole + 1;    // the line; DisplayRole has the title
inline constexpr int kHelpHitTargetRole = Qt::UserRole + 2;  // "page.md#section"

class HelpHitDelegate : public QStyledItemDelegate {
  Q_OBJECT

 public:
  using QStyledItemDelegate::QStyledItemDelegate;

  void SetWords(const QStringList& words) { words_ = words; }

  void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
  QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

 private:
  QStringList words_;
};

}  // namespace korvane::help
