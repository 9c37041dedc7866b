// The controls "Select View Parameters:" of the parameters dialogs, shown from a WindowParametersForm.  The
// dialog that owns the panel adds what is its own: caption, buttons, and for a report the time range.
#pragma once

#include <QGroupBox>
#include <memory>

class QComboBox;
class QLabel;
class QLineEdit;
class QStringListModel;
class QWidget;

namespace Ui {
class ParametersPanel;
}

namespace korvane::params {

class WindowParametersForm;
struct ListControl;
struct TextControl;

class ParametersPanel : public QGroupBox {
  Q_OBJECT

 public:
  explicit ParametersPanel(QWidget* parent = nullptr);
  ~ParametersPanel() override;

  // Shows the form and passes every edit to it.  The form must outlive the panel.
  void SetForm(WindowParametersForm& form);

  // How far from the left edge the fields begin, in pixels, once the layout around the panel is active; for
  // a frame above or below that lines up.
  int FieldsLeft() const;

 private:
  void ConnectControls();
  void ShowForm();
  void ShowText(QLineEdit* edit, QLabel* label, const TextControl& control);
  void ShowCombo(QComboBox* combo, QLabel* label, const ListControl& control);
  void ShowTraps(const ListControl& control);

  std::unique_ptr<Ui::ParametersPanel> ui_;
  QStringListModel* trapsModel_;
  WindowParametersForm* form_ = nullptr;
};

}  // namespace korvane::params
