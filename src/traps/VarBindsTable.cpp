#include "traps/VarBindsTable.h"

#include <QAbstractTableModel>
#include <QApplication>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QHeaderView>
#include <QMenu>
#include <QPainter>
#include <QShortcut>
#include <QStyledItemDelegate>
#include <QTextLayout>
#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "common/qt/CellText.h"
#include "common/qt/KorvaneStyle.h"
#include "common/qt/QtText.h"
#include "traplist/VariableBindings.h"

namespace korvane::traps {

class VarBindsModel : public QAbstractTableModel {
 public:
  using QAbstractTableModel::QAbstractTableModel;

  bool Take(std::string_view text) {
    beginResetModel();
    text_ = text;
    bindings_ = traplist::VariableBindingsOf(text_);
    endResetModel();
    return !bindings_.empty();
  }

  std::string_view TextAt(int row, int column) const {
    const traplist::VariableBinding& binding = bindings_[static_cast<std::size_t>(row)];
    return column == 0 ? binding.Name : binding.Value;
  }

  int rowCount(const QModelIndex& parent = {}) const override {
    return parent.isValid() ? 0 : static_cast<int>(bindings_.size());
  }
  int columnCount(const QModelIndex& parent = {}) const override { return parent.isValid() ? 0 : 2; }
  QVariant data(const QModelIndex& index, int role) const override {
    if (!index.isValid() || role != Qt::DisplayRole) {
      return {};
    }
    return ShownText(TextAt(index.row(), index.column()));
  }
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole) {
      return {};
    }
    return section == 0 ? tr("Name") : tr("Value");
  }

 private:
  std::string text_;
  std::vector<traplist::VariableBinding> bindings_;  // parts of it
};

namespace {

constexpr int kMostCellLines = 12;  // of a cell; the whole text is a key away
constexpr int kMostFitted = 200;  // lines of the table that are as high as their text; those behind have one
constexpr int kCellEdge = 3;      // above and below a cell's text
constexpr int kTextEdge = 4;      // beside it
constexpr int kShownAtLeast = 2;  // lines of a table that has no more room
constexpr int kShownAtFirst = 5;

// Wraps anywhere where there is no blank: OIDs and hexadecimal values have none.
class WrappedCell : public QStyledItemDelegate {
 public:
  using QStyledItemDelegate::QStyledItemDelegate;

  void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override {
    QStyleOptionViewItem cell = option;
    initStyleOption(&cell, index);
    const QString text = std::exchange(cell.text, QString());
    cell.widget->style()->drawControl(QStyle::CE_ItemViewItem, &cell, painter, cell.widget);
    const bool selected = cell.state.testFlag(QStyle::State_Selected);
    painter->save();
    painter->setClipRect(cell.rect);
    painter->setFont(cell.font);
    const auto group = cell.state.testFlag(QStyle::State_Active) ? QPalette::Active : QPalette::Inactive;
    painter->setPen(cell.palette.color(group, selected ? QPalette::HighlightedText : QPalette::Text));
    DrawLines(*painter, cell, text);
    painter->restore();
  }

  QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override {
    QStyleOptionViewItem cell = option;
    initStyleOption(&cell, index);
    QTextLayout layout(cell.text, cell.font);
    const int lines = std::clamp(LayOut(layout, cell), 1, kMostCellLines);
    return {cell.rect.width(), lines * cell.fontMetrics.height() + 2 * kCellEdge};
  }

 private:
  static int LayOut(QTextLayout& layout, const QStyleOptionViewItem& cell) {
    QTextOption option;
    // Between the numbers of an OID there are boundaries of words, which would end its first line at once.
    option.setWrapMode(cell.index.column() == 0 ? QTextOption::WrapAnywhere
                                                : QTextOption::WrapAtWordBoundaryOrAnywhere);
    layout.setTextOption(option);
    layout.beginLayout();
    for (QTextLine line = layout.createLine(); line.isValid() && layout.lineCount() <= kMostCellLines + 1;
         line = layout.createLine()) {
      line.setLineWidth(std::max(cell.rect.width() - 2 * kTextEdge, 1));
    }
    layout.endLayout();
    return layout.lineCount();
  }

  static void DrawLines(QPainter& painter, const QStyleOptionViewItem& cell, const QString& text) {
    const int height = cell.fontMetrics.height();
    const int room = std::max((cell.rect.height() - 2 * kCellEdge) / height, 1);
    QTextLayout layout(text, cell.font, painter.device());
    const int lines = LayOut(layout, cell);
    for (int i = 0; i < std::min(lines, room); ++i) {
      const QTextLine line = layout.lineAt(i);
      QString part = text.mid(line.textStart(), line.textLength());
      if (i == room - 1 && lines > room) {
        part = cell.fontMetrics.elidedText(text.mid(line.textStart()), Qt::ElideRight,
                                           cell.rect.width() - 2 * kTextEdge);
      }
      painter.drawText(cell.rect.left() + kTextEdge,
                       cell.rect.top() + kCellEdge + i * height + cell.fontMetrics.ascent(), part);
    }
  }
};

}  // namespace

VarBindsTable::VarBindsTable(QWidget* parent) : QTableView(parent), bindings_(new VarBindsModel(this)) {
  StyleTable(*this);
  setWordWrap(true);
  setFrameShape(QFrame::StyledPanel);
  viewport()->setBackgroundRole(QPalette::Window);  // nothing can be typed here
  setSelectionBehavior(QAbstractItemView::SelectItems);
  setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
  setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  setModel(bindings_);
  setItemDelegate(new WrappedCell(this));
  horizontalHeader()->hide();
  horizontalHeader()->setStretchLastSection(true);
  horizontalHeader()->setMinimumSectionSize(1);
  // The header gives values what names leave, a moment after the names have theirs.
  connect(horizontalHeader(), &QHeaderView::sectionResized, this, &VarBindsTable::FitLines);
  auto* copy = new QShortcut(QKeySequence(QKeySequence::Copy), this);
  copy->setContext(Qt::WidgetShortcut);
  connect(copy, &QShortcut::activated, this, &VarBindsTable::CopySelected);
}

bool VarBindsTable::SetBindings(std::string_view text) {
  const bool some = bindings_->Take(text);
  FitNames();
  FitLines();
  scrollToTop();
  if (some) {
    setCurrentIndex(bindings_->index(0, 1));
    clearSelection();
  }
  return some;
}

QSize VarBindsTable::minimumSizeHint() const {
  return {QTableView::minimumSizeHint().width(),
          kShownAtLeast * verticalHeader()->defaultSectionSize() + 2 * frameWidth()};
}

QSize VarBindsTable::sizeHint() const {
  return {QTableView::sizeHint().width(),
          kShownAtFirst * verticalHeader()->defaultSectionSize() + 2 * frameWidth()};
}

void VarBindsTable::resizeEvent(QResizeEvent* event) {
  QTableView::resizeEvent(event);
  FitNames();
}

// Names take what they need up to two fifths of the room.
void VarBindsTable::FitNames() {
  int names = 0;
  for (int row = 0; row < std::min(bindings_->rowCount(), kMostFitted); ++row) {
    names = std::max(names, fontMetrics().horizontalAdvance(bindings_->index(row, 0).data().toString()));
  }
  setColumnWidth(0, std::clamp(names + 4 * kTextEdge, 1, std::max(viewport()->width() * 2 / 5, 1)));
}

void VarBindsTable::FitLines() {
  for (int row = 0; row < std::min(bindings_->rowCount(), kMostFitted); ++row) {
    resizeRowToContents(row);
  }
}

// Lines of the table, with a tab between a name and its value.
void VarBindsTable::Copy(const QItemSelection& cells) const {
  QModelIndexList sorted = cells.indexes();
  std::sort(sorted.begin(), sorted.end());
  std::string text;
  for (qsizetype i = 0; i < sorted.size(); ++i) {
    if (i > 0) {
      text += sorted[i].row() == sorted[i - 1].row() ? '\t' : '\n';
    }
    text += ToUtf8(ToVisibleQString(bindings_->TextAt(sorted[i].row(), sorted[i].column())));
  }
  if (!sorted.isEmpty()) {
    QApplication::clipboard()->setText(ToQString(text));
  }
}

void VarBindsTable::CopySelected() const {
  Copy(selectionModel()->selection());
}

void VarBindsTable::CopyLines() const {
  QItemSelection lines;
  for (const QItemSelectionRange& range : selectionModel()->selection()) {
    lines.merge({bindings_->index(range.top(), 0), bindings_->index(range.bottom(), 1)},
                QItemSelectionModel::Select);
  }
  Copy(lines);
}

void VarBindsTable::CopyAll() const {
  if (bindings_->rowCount() > 0) {
    Copy({bindings_->index(0, 0), bindings_->index(bindings_->rowCount() - 1, 1)});
  }
}

void VarBindsTable::contextMenuEvent(QContextMenuEvent* event) {
  const bool some = selectionModel()->hasSelection();
  QMenu menu(this);
  QAction* copy = menu.addAction(tr("&Copy"), this, &VarBindsTable::CopySelected);
  copy->setShortcut(QKeySequence::Copy);
  QAction* lines = menu.addAction(tr("Copy &Line"), this, &VarBindsTable::CopyLines);
  copy->setEnabled(some);
  lines->setEnabled(some);
  menu.addAction(tr("Copy &All"), this, &VarBindsTable::CopyAll)->setEnabled(bindings_->rowCount() > 0);
  menu.addSeparator();
  menu.addAction(tr("&Select All"), this, &VarBindsTable::selectAll)->setShortcut(QKeySequence::SelectAll);
  menu.exec(event->globalPos());
}

}  // namespace korvane::traps
