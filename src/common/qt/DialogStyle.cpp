#include "common/qt/DialogStyle.h"

#include <QAbstractSpinBox>
#include <QComboBox>
#include <QDialog>
#include <QEvent>
#include <QLabel>
#include <QLineEdit>
#include <QScreen>
#include <QStyleOptionFrame>
#include <QWindow>
#include <algorithm>

namespace korvane {
namespace {

// What a window manager puts around a dialog.
constexpr QSize kWindowFrame(8, 40);
// Milliseconds; whatever moves a dialog later is the operator.
constexpr qint64 kPlacedWithin = 1000;

QString NameOf(const QWidget& field) {
  const QList<QLabel*> labels = field.window()->findChildren<QLabel*>();
  const auto label = std::ranges::find(labels, &field, &QLabel::buddy);
  return field.accessibleName().isEmpty() && label != labels.end() ? (*label)->text()
                                                                   : field.accessibleName();
}

// The edit has the focus, so it is what a screen reader tells of; the label or name is the field's.
void NameInnerEdit(const QWidget& field) {
  auto* edit = field.findChild<QLineEdit*>(QString(), Qt::FindDirectChildrenOnly);
  if (edit != nullptr && edit->accessibleName().isEmpty()) {
    edit->setAccessibleName(NameOf(field));
  }
}

// Only what was given a size: any other takes that of its contents, which the toolkit bounds.
void FitOnScreen(QDialog& dialog) {
  if (dialog.isWindow() && dialog.testAttribute(Qt::WA_Resized)) {
    dialog.resize(dialog.size().boundedTo(dialog.screen()->availableSize() - kWindowFrame));
  }
}

// Dialogs open in the middle of their window, and how high its frame is shows only once it is there: a high
// one would have its caption above the screen.
void KeepCaptionOnScreen(const QDialog& dialog) {
  QWindow* const window = dialog.windowHandle();
  if (window != nullptr) {
    const QPoint place = window->framePosition();
    const int top = window->screen()->availableGeometry().top();
    if (place.y() < top) {
      window->setFramePosition(QPoint(place.x(), top));
    }
  }
}

}  // namespace

DialogStyle::DialogStyle() : QProxyStyle(QStringLiteral("fusion")) {}

int DialogStyle::styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                           QStyleHintReturn* returnData) const {
  // As a menu it would show every enterprise there is, over the whole height of the screen.
  return hint == SH_ComboBox_Popup ? 0 : QProxyStyle::styleHint(hint, option, widget, returnData);
}

void DialogStyle::drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                                const QWidget* widget) const {
  const auto* frame = qstyleoption_cast<const QStyleOptionFrame*>(option);
  if (element != PE_FrameGroupBox || frame == nullptr || !frame->features.testFlag(QStyleOptionFrame::Flat)) {
    QProxyStyle::drawPrimitive(element, option, painter, widget);
  }
}

void DialogStyle::polish(QWidget* widget) {
  QProxyStyle::polish(widget);
  auto* const combo = qobject_cast<QComboBox*>(widget);
  if (combo != nullptr) {
    combo->setMaxVisibleItems(kMostListEntries);
  }
  if (combo != nullptr || qobject_cast<QAbstractSpinBox*>(widget) != nullptr ||
      qobject_cast<QDialog*>(widget) != nullptr) {
    widget->installEventFilter(this);
  }
}

// When it is polished a field may not have its label yet, nor a dialog its size.
bool DialogStyle::eventFilter(QObject* watched, QEvent* event) {
  auto* const dialog = qobject_cast<QDialog*>(watched);
  if (event->type() == QEvent::Move && dialog != nullptr && dialog == opening_ &&
      !sinceShown_.hasExpired(kPlacedWithin)) {
    KeepCaptionOnScreen(*dialog);
  } else if (event->type() == QEvent::Show) {
    if (dialog != nullptr) {
      FitOnScreen(*dialog);
      opening_ = dialog;
      sinceShown_.start();
    } else if (const auto* field = qobject_cast<const QWidget*>(watched)) {
      NameInnerEdit(*field);
    }
  }
  return QProxyStyle::eventFilter(watched, event);
}

}  // namespace korvane
