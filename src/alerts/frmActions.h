// The dialog "Configure Action": one page for each action the opener asks for.  The opener adds the tabs,
// runs exec(), and reads the IDs of the rows that now say what is to be done unless it was cancelled.
// User-interface thread.
#pragma once

#include <QDialog>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "alerts/ActionsForm.h"
#include "alerts/AlertServices.h"

class QComboBox;
class QLabel;
class QLineEdit;
namespace Ui {
class frmActions;
}

namespace korvane::alerts {

class frmActions : public QDialog {
  Q_OBJECT

 public:
  explicit frmActions(const AlertServices& services, QWidget* parent = nullptr);
  ~frmActions() override;

  void ClearTabs();
  // Each adds its tab and fills its page from the row; an ID of 1 or less: as for a new action.
  void AddBeepTab(std::int32_t beepId);
  void AddEmailTab(std::int32_t emailId);
  void AddMessageTab(std::int32_t messageId);
  void AddCustomTab(std::int32_t customId);

  bool Cancelled() const { return cancelled_; }
  // Of the tabs that were there; the others hold kNoAction.
  const ActionIds& Ids() const { return form_.Ids(); }

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  // A field that says what it is for while it has the focus, and lets the arrow keys move to its neighbours.
  struct Field {
    QWidget* Editor;
    QLabel* Help;
    QString Text;
  };
  void AddField(QWidget* editor, QLabel* help, const QString& text);
  void TakeDigitsOnly(QLineEdit& edit);
  void LimitLengths();
  QWidget* FirstFieldOf(ActionKind kind) const;
  // Where what OK refused is to be mended; the first field when it was nothing of the page.
  QWidget* FieldToMend(ActionKind kind) const;
  void AddTab(ActionKind kind, std::int32_t id, QWidget* page, const QString& caption);
  void ShowPages();
  void TakePages();
  void Browse();
  void Ok();
  bool StepFrom(const QObject* editor, int step);

  AlertServices services_;
  ActionsForm form_;
  std::unique_ptr<Ui::frmActions> ui_;
  std::vector<Field> fields_;
  bool cancelled_ = true;
};

// Runs the dialog with a tab for each kind, filled from the rows of these IDs.  Nothing when it was
// cancelled.
std::optional<ActionIds> ConfigureActions(const AlertServices& services, const std::vector<ActionKind>& kinds,
                                          const ActionIds& ids, QWidget* parent);

}  // namespace korvane::alerts
