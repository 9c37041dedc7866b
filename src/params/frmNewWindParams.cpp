#include "params/frmNewWindParams.h"

#include <QDialogButtonBox>
#include <QPushButton>

#include "common/qt/DialogButtons.h"
#include "common/qt/QtText.h"
#include "ui_frmNewWindParams.h"

namespace korvane::params {

frmNewWindParams::frmNewWindParams(WindowParameters& parameters, ParametersLists& lists, Prompts& prompts,
                                   QWidget* parent)
    : QDialog(parent), ui_(std::make_unique<Ui::frmNewWindParams>()), form_(parameters, lists, prompts) {
  ui_->setupUi(this);
  setWindowTitle(ToQString(form_.Controls().FormCaption));
  ui_->freParameters->SetForm(form_);

  QPushButton* ok = AddOkAndCancel(*ui_->buttons, tr("&Cancel"));
  connect(ui_->buttons, &QDialogButtonBox::accepted, this, [this] {
    form_.Ok();
    accept();
  });
  connect(ui_->buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  if (form_.ReadOnly()) {
    ok->setFocus();
  }
}

frmNewWindParams::~frmNewWindParams() = default;

}  // namespace korvane::params
