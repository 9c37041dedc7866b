// The quick-find bar under a list of traps: plain text over all columns, next and previous, a count of hits.
// Ctrl+F opens it wherever the focus is in its window, F3 and Shift+F3 go from hit to hit, Escape closes it.
// A long list is looked through in turns, so that the window never waits for it.  The list moves by what the
// operator does and never by traps that arrive, which are only counted.  User-interface thread.
#pragma once

#include <QTimer>
#include <QWidget>
#include <cstdint>
#include <vector>

#include "traplist/TrapFinder.h"

class QAction;
class QLabel;
class QLineEdit;
class QShortcut;
class QTableView;
class QToolButton;

namespace korvane::traps {

class TrapsTableModel;
class TrapsList;

class FindBar : public QWidget {
  Q_OBJECT

 public:
  // parent: the window in which the keys work.  All of them must outlive the bar.
  FindBar(QTableView& view, TrapsTableModel& table, TrapsList& list, QWidget* parent);
  ~FindBar() override;

  // Shows it with the last text selected and gives it the focus.
  void Open();
  // Hides it and gives the focus to the list.
  void Close();

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;
  void changeEvent(QEvent* event) override;

 private:
  // What the operator asked for and the search has not answered yet.
  enum class Wanted { Nothing, FirstFromHere, Next, Previous };

  QToolButton* AddButton(const QString& name, const QIcon& icon, const QString& what, const QString& keys);
  void SetUpControls();
  void SetUpKeys();
  void FollowList();
  void Show();
  void Begin(Wanted wanted);
  void Look();
  void Go(Wanted wanted);
  void Answer();
  traplist::TrapFinder::Place WantedPlace() const;
  void ShowCount();
  QString CountText() const;
  void MarkHits(const QString& text);
  void ShowNoHits(bool none);

  QTableView& view_;
  TrapsTableModel& table_;
  TrapsList& list_;
  QLineEdit* text_;
  QAction* noHits_;
  QToolButton* previous_;
  QToolButton* next_;
  QLabel* count_;
  QShortcut* escape_;  // for others while the bar is closed

  traplist::TrapFinder finder_;
  QTimer turn_;           // fires when nothing else waits
  bool looking_ = false;  // the last turn was not enough
  Wanted wanted_ = Wanted::Nothing;
  std::vector<std::uint32_t> leaving_;  // rows about to be removed
};

}  // namespace korvane::traps
