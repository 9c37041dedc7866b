// The variable bindings of one trap as a table: a line for each, its name and its value.  Long values wrap,
// as far as a table can show them; cells, lines and all of it are copied whole.  Every text may come from the
// network and stays plain, what could mislead stands as visible symbols.  User-interface thread.
#pragma once

#include <QTableView>
#include <string_view>

namespace korvane::traps {

class VarBindsModel;

class VarBindsTable : public QTableView {
  Q_OBJECT

 public:
  explicit VarBindsTable(QWidget* parent = nullptr);

  // False: the text is no list of bindings, and the table is empty.
  bool SetBindings(std::string_view text);

  QSize minimumSizeHint() const override;
  QSize sizeHint() const override;

 protected:
  void resizeEvent(QResizeEvent* event) override;
  void contextMenuEvent(QContextMenuEvent* event) override;

 private:
  void Copy(const QItemSelection& cells) const;
  void CopySelected() const;
  void CopyLines() const;  // of the selected cells
  void CopyAll() const;
  void FitNames();
  void FitLines();

  VarBindsModel* bindings_;
};

}  // namespace korvane::traps
