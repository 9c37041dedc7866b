// Asks, at start-up and at most once, which of more unacknowledged traps than the view limit are to be
// loaded.  Opens on the recent ones; closing it by its close box or Escape is the same as OK.
#pragma once

#include <QDialog>
#include <cstdint>
#include <functional>
#include <memory>
#include <utility>

#include "systems/SystemsModel.h"

namespace Ui {
class frmViewOptions;
}

namespace korvane::systems {

class frmViewOptions : public QDialog {
  Q_OBJECT

 public:
  frmViewOptions(std::int64_t unacknowledgedTraps, std::int32_t maxViewTraps, QWidget* parent = nullptr);
  ~frmViewOptions() override;

  intake::ViewOption Choice() const;

 private:
  std::unique_ptr<Ui::frmViewOptions> ui_;
};

// The question of the systems model, asked by that dialog over the frame window.
class ViewOptionsDialog : public ViewOptionQuestion {
 public:
  // The window that the dialog belongs to when it is asked; none: the active one.
  using ParentWindow = std::function<QWidget*()>;
  explicit ViewOptionsDialog(ParentWindow parent = {}) : parent_(std::move(parent)) {}

  intake::ViewOption AskViewOption(std::int64_t unacknowledgedTraps, std::int32_t maxViewTraps) override;

 private:
  ParentWindow parent_;
};

}  // namespace korvane::systems
