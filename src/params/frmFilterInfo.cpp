#include "params/frmFilterInfo.h"

#include "common/qt/DialogButtons.h"
#include "params/ShownCriteria.h"
#include "ui_frmFilterInfo.h"

namespace korvane::params {

frmFilterInfo::frmFilterInfo(const FilterValues& filter, store::TrapNames& names, Prompts& prompts,
                             QWidget* parent)
    : QDialog(parent), form_(filter, names, prompts), ui_(std::make_unique<Ui::frmFilterInfo>()) {
  ui_->setupUi(this);
  AddOkAndCancel(*ui_->buttons, tr("&Cancel"));
  connect(ui_->buttons, &QDialogButtonBox::accepted, this, &frmFilterInfo::Ok);
  connect(ui_->buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  auto* criteria = new ShownCriteria(form_,
                                     {.txtSource = *ui_->txtSource,
                                      .cboGeneric = *ui_->cboGeneric,
                                      .lblEnterprise = *ui_->lblEnterprise,
                                      .cboEnterprise = *ui_->cboEnterprise,
                                      .lvTraps = *ui_->lvTraps,
                                      .txtVarBinds = *ui_->txtVarBinds},
                                     this);
  criteria->Show();
  ui_->txtSource->setFocus();
  ui_->txtSource->selectAll();
}

frmFilterInfo::~frmFilterInfo() = default;

void frmFilterInfo::Ok() {
  if (form_.Ok()) {
    accept();
  }
}

}  // namespace korvane::params
