#include "common/qt/DialogButtons.h"

#include <QDialogButtonBox>
#include <QPushButton>

namespace korvane {

QPushButton* AddOkAndCancel(QDialogButtonBox& buttons, const QString& cancelCaption) {
  QPushButton* ok = buttons.addButton(QObject::tr("OK"), QDialogButtonBox::AcceptRole);
  ok->setObjectName(QStringLiteral("cmdOK"));
  ok->setDefault(true);
  QPushButton* cancel = buttons.addButton(cancelCaption, QDialogButtonBox::RejectRole);
  cancel->setObjectName(QStringLiteral("cmdCancel"));
  return ok;
}

}  // namespace korvane
