#include "common/qt/DialogButtons.h"

#include <QDialogButtonBox>
#include <QLayout>
#include <QPushButton>

#include "common/qt/KorvaneStyle.h"

namespace korvane {

QPushButton* AddOkAndCancel(QDialogButtonBox& buttons, const QString& cancelCaption) {
  QPushButton* ok = buttons.addButton(QObject::tr("OK"), QDialogButtonBox::AcceptRole);
  ok->setObjectName(QStringLiteral("cmdOK"));
  ok->setDefault(true);
  QPushButton* cancel = buttons.addButton(cancelCaption, QDialogButtonBox::RejectRole);
  cancel->setObjectName(QStringLiteral("cmdCancel"));
  return ok;
}

void SetButtonGap(QLayout& buttons) {
  buttons.setSpacing(kSpacing);
}

}  // namespace korvane
