#include "params/ReadOnlyLook.h"

#include <QComboBox>
#include <QLineEdit>
#include <QListView>
#include <QPalette>
#include <QStyleOptionComboBox>

#include "common/qt/KorvaneStyle.h"

namespace korvane::params {
namespace {

// What a field holds, where it always stands, without the box around it.
class ContentsOnly : public QProxyStyle {
 public:
  explicit ContentsOnly(QObject* owner) : QProxyStyle(new KorvaneStyle) { setParent(owner); }

  void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                     const QWidget* widget) const override {
    if (element != PE_PanelLineEdit && element != PE_FrameLineEdit && element != PE_Frame) {
      QProxyStyle::drawPrimitive(element, option, painter, widget);
    }
  }
  void drawComplexControl(ComplexControl control, const QStyleOptionComplex* option, QPainter* painter,
                          const QWidget* widget) const override {
    if (control != CC_ComboBox) {
      QProxyStyle::drawComplexControl(control, option, painter, widget);
    }
  }
  void drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                   const QWidget* widget) const override {
    const auto* combo = qstyleoption_cast<const QStyleOptionComboBox*>(option);
    if (element != CE_ComboBoxLabel || combo == nullptr) {
      QProxyStyle::drawControl(element, option, painter, widget);
      return;
    }
    QStyleOptionComboBox chosen(*combo);
    chosen.state |= State_Enabled;  // the severity's picture in its colours
    QProxyStyle::drawControl(element, &chosen, painter, widget);
  }
};

// The texts keep the contrast of usable ones; nothing is filled or marked as selected.
QPalette Readable(QPalette palette) {
  for (const QPalette::ColorRole role : {QPalette::Text, QPalette::WindowText, QPalette::ButtonText}) {
    palette.setBrush(QPalette::Disabled, role, palette.brush(QPalette::Active, role));
  }
  palette.setBrush(QPalette::Disabled, QPalette::HighlightedText,
                   palette.brush(QPalette::Active, QPalette::Text));
  palette.setBrush(QPalette::Disabled, QPalette::Base, Qt::transparent);
  palette.setBrush(QPalette::Disabled, QPalette::Highlight, Qt::transparent);
  return palette;
}

}  // namespace

void ShowAsReadOnly(QWidget& panel) {
  panel.setPalette(Readable(panel.palette()));
  auto* const look = new ContentsOnly(&panel);
  for (auto* field : panel.findChildren<QWidget*>()) {
    if (qobject_cast<QComboBox*>(field) != nullptr || qobject_cast<QLineEdit*>(field) != nullptr ||
        qobject_cast<QListView*>(field) != nullptr) {
      field->setStyle(look);
    }
  }
}

}  // namespace korvane::params
