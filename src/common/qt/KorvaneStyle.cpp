#include "common/qt/KorvaneStyle.h"

#include <QApplication>
#include <QHeaderView>
#include <QPainter>
#include <QStyleOptionTitleBar>
#include <QTableView>

#include "common/qt/DesktopScheme.h"
#include "common/qt/DialogStyle.h"
#include "common/qt/Icons.h"

namespace korvane {
namespace {

constexpr int kSubWindowFrame = 3;
constexpr int kPutAsideWidth = 260;
constexpr int kTitlePadding = 10;
constexpr int kTitleGap = 8;          // between icon, caption and buttons
constexpr int kRowPictureMargin = 4;  // beyond that of a heading

QColor Mix(const QColor& a, const QColor& b, double shareOfB) {
  const auto mix = [shareOfB](float x, float y) { return static_cast<float>(x + (y - x) * shareOfB); };
  return QColor::fromRgbF(mix(a.redF(), b.redF()), mix(a.greenF(), b.greenF()), mix(a.blueF(), b.blueF()));
}

QColor BorderColour(const QPalette& palette) {
  return Mix(palette.color(QPalette::Window), palette.color(QPalette::WindowText), 0.22);
}

QColor TitleColour(const QPalette& palette, bool active) {
  const QColor window = palette.color(QPalette::Window);
  return active
             ? Mix(window, palette.color(QPalette::Active, QPalette::Highlight), IsDark(palette) ? 0.4 : 0.24)
             : Mix(window, palette.color(QPalette::WindowText), 0.07);
}

bool ButtonShown(const QStyleOptionTitleBar& bar, QStyle::SubControl button) {
  const Qt::WindowFlags flags = bar.titleBarFlags;
  const bool minimised = (bar.titleBarState & Qt::WindowMinimized) != 0;
  const bool maximised = (bar.titleBarState & Qt::WindowMaximized) != 0;
  switch (button) {
    case QStyle::SC_TitleBarMinButton:
      return flags.testFlag(Qt::WindowMinimizeButtonHint) && !minimised;
    case QStyle::SC_TitleBarMaxButton:
      return flags.testFlag(Qt::WindowMaximizeButtonHint) && !maximised;
    case QStyle::SC_TitleBarNormalButton:
      return (flags.testFlag(Qt::WindowMinimizeButtonHint) && minimised) ||
             (flags.testFlag(Qt::WindowMaximizeButtonHint) && maximised);
    default:
      return flags.testFlag(Qt::WindowSystemMenuHint);
  }
}

// The button's sign on a 10-pixel grid around the middle of its rectangle.
void DrawSign(QPainter& painter, QStyle::SubControl button, const QRect& rect) {
  const QPointF middle = QRectF(rect).center();
  const auto at = [middle](double x, double y) { return QPointF(middle.x() + x, middle.y() + y); };
  switch (button) {
    case QStyle::SC_TitleBarMinButton:
      painter.drawLine(at(-4, 3), at(4, 3));
      break;
    case QStyle::SC_TitleBarMaxButton:
      painter.drawRect(QRectF(at(-4, -4), at(4, 4)));
      break;
    case QStyle::SC_TitleBarNormalButton:
      painter.drawRect(QRectF(at(-4, -2), at(2, 4)));
      painter.drawPolyline(QPolygonF({at(-2, -2), at(-2, -4), at(4, -4), at(4, 2), at(2, 2)}));
      break;
    default:
      painter.drawLine(at(-3.5, -3.5), at(3.5, 3.5));
      painter.drawLine(at(-3.5, 3.5), at(3.5, -3.5));
  }
}

void DrawTitleButton(QPainter& painter, const QStyleOptionTitleBar& bar, QStyle::SubControl button,
                     const QRect& rect, const QColor& ink) {
  const bool hot = bar.activeSubControls.testFlag(button) && bar.state.testFlag(QStyle::State_MouseOver);
  const bool down = bar.activeSubControls.testFlag(button) && bar.state.testFlag(QStyle::State_Sunken);
  const bool closing = button == QStyle::SC_TitleBarCloseButton;
  QColor sign = ink;
  if (hot || down) {
    QColor plate = closing ? QColor(0xC6, 0x28, 0x28) : ink;
    plate.setAlphaF(closing ? 1.0F : (down ? 0.28F : 0.16F));
    painter.setPen(Qt::NoPen);
    painter.setBrush(plate);
    painter.drawRoundedRect(QRectF(rect).adjusted(0.5, 0.5, -0.5, -0.5), 3, 3);
    sign = closing ? QColor(Qt::white) : ink;
  }
  painter.setBrush(Qt::NoBrush);
  painter.setPen(QPen(sign, 1.2));
  DrawSign(painter, button, rect);
}

// Fusion derives outlines by darkening the window, which leaves none to see on a dark one.
void OutlineOnDark(QStyle::PrimitiveElement element, const QStyleOption& option, QPainter& painter) {
  const bool box =
      element == QStyle::PE_IndicatorCheckBox || element == QStyle::PE_IndicatorItemViewItemCheck;
  const bool circle = element == QStyle::PE_IndicatorRadioButton;
  const bool field = element == QStyle::PE_FrameLineEdit && !option.state.testFlag(QStyle::State_HasFocus);
  const bool frame = element == QStyle::PE_Frame;
  if (!(box || circle || field || frame) || !IsDark(option.palette)) {
    return;
  }
  const bool enabled = option.state.testFlag(QStyle::State_Enabled);
  painter.save();
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(Mix(option.palette.color(QPalette::Window),
                     option.palette.color(QPalette::Active, QPalette::WindowText),
                     frame || !enabled ? 0.2 : 0.45));
  painter.setBrush(Qt::NoBrush);
  const QRectF outline = QRectF(option.rect).adjusted(0.5, 0.5, -0.5, -0.5);
  if (circle) {
    painter.drawEllipse(outline);
  } else {
    painter.drawRoundedRect(outline, 2, 2);
  }
  painter.restore();
}

// The room of a progress bar, so that what is left can be told from the card around it, dark or light.
void DrawGroove(const QStyleOption& option, QPainter& painter) {
  constexpr double kOutlineShare = 0.5;  // of the text's colour: at least 3 : 1 on either palette
  const QColor base = option.palette.color(QPalette::Base);
  painter.save();
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(Mix(base, option.palette.color(QPalette::Active, QPalette::Text), kOutlineShare));
  painter.setBrush(base);
  painter.drawRoundedRect(QRectF(option.rect).adjusted(0.5, 0.5, -0.5, -0.5), 3, 3);
  painter.restore();
}

void DrawProgress(const QStyleOptionProgressBar& bar, QPainter& painter) {
  constexpr double kInset = 2;
  const QRectF room = QRectF(bar.rect).adjusted(kInset, kInset, -kInset, -kInset);
  const double part =
      static_cast<double>(bar.progress - bar.minimum) / static_cast<double>(bar.maximum - bar.minimum);
  QRectF done(room.topLeft(), QSizeF(room.width() * std::clamp(part, 0.0, 1.0), room.height()));
  if (bar.direction == Qt::RightToLeft) {
    done.moveRight(room.right());
  }
  painter.save();
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(Qt::NoPen);
  painter.setBrush(bar.palette.color(QPalette::Highlight));
  painter.drawRoundedRect(done, 1.5, 1.5);
  painter.restore();
}

// The toolkit calls what ascends "down", after where the list grows.  People read the arrow as the direction
// of the values: up, they grow from the top on.
QStyleOptionHeader WithTurnedArrow(const QStyleOptionHeader& header) {
  QStyleOptionHeader turned = header;
  turned.version = QStyleOptionHeader::Version;  // whatever it is a part of
  if (header.sortIndicator != QStyleOptionHeader::None) {
    turned.sortIndicator = header.sortIndicator == QStyleOptionHeader::SortUp ? QStyleOptionHeader::SortDown
                                                                              : QStyleOptionHeader::SortUp;
  }
  return turned;
}

// Numbers, times, dates, and lists into which one types: outlined with their buttons.
bool IsFieldWithButtons(QStyle::ComplexControl control, const QStyleOptionComplex& option) {
  if (control == QStyle::CC_SpinBox) {
    return true;
  }
  const auto* combo = qstyleoption_cast<const QStyleOptionComboBox*>(&option);
  return control == QStyle::CC_ComboBox && combo != nullptr && combo->editable;
}

struct PaletteColours {
  QRgb Window, WindowText, Base, AlternateBase, Text, Button, Highlight, HighlightedText, Link, LinkVisited,
      ToolTipBase, ToolTipText, Light, Midlight, Mid, Dark, Shadow, Placeholder, Disabled, DisabledHighlight;
};

QPalette PaletteOf(const PaletteColours& c) {
  QPalette palette;
  const auto all = [&palette](QPalette::ColorRole role, QRgb colour) {
    palette.setColor(QPalette::All, role, QColor::fromRgb(colour));
  };
  all(QPalette::Window, c.Window);
  all(QPalette::WindowText, c.WindowText);
  all(QPalette::Base, c.Base);
  all(QPalette::AlternateBase, c.AlternateBase);
  all(QPalette::Text, c.Text);
  all(QPalette::Button, c.Button);
  all(QPalette::ButtonText, c.WindowText);
  all(QPalette::BrightText, c.HighlightedText);
  all(QPalette::Highlight, c.Highlight);
  all(QPalette::HighlightedText, c.HighlightedText);
  all(QPalette::Link, c.Link);
  all(QPalette::LinkVisited, c.LinkVisited);
  all(QPalette::ToolTipBase, c.ToolTipBase);
  all(QPalette::ToolTipText, c.ToolTipText);
  all(QPalette::Light, c.Light);
  all(QPalette::Midlight, c.Midlight);
  all(QPalette::Mid, c.Mid);
  all(QPalette::Dark, c.Dark);
  all(QPalette::Shadow, c.Shadow);
  all(QPalette::PlaceholderText, c.Placeholder);
  for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText,
                          QPalette::HighlightedText, QPalette::PlaceholderText}) {
    palette.setColor(QPalette::Disabled, role, QColor::fromRgb(c.Disabled));
  }
  palette.setColor(QPalette::Disabled, QPalette::Base, QColor::fromRgb(c.Window));
  palette.setColor(QPalette::Disabled, QPalette::Highlight, QColor::fromRgb(c.DisabledHighlight));
  return palette;
}

// The picture of a heading stands where those of the rows below it do.
QStyleOptionHeaderV2 OverThePicturesOfRows(const QStyleOptionHeader& header) {
  QStyleOptionHeaderV2 moved;
  if (const auto* whole = qstyleoption_cast<const QStyleOptionHeaderV2*>(&header)) {
    moved = *whole;
  } else {
    moved.QStyleOptionHeader::operator=(header);
  }
  const bool leftToRight = header.direction == Qt::LeftToRight;
  moved.rect.adjust(leftToRight ? kRowPictureMargin : 0, 0, leftToRight ? 0 : -kRowPictureMargin, 0);
  return moved;
}

}  // namespace

KorvaneStyle::KorvaneStyle() : QProxyStyle(new DialogStyle) {}

int KorvaneStyle::pixelMetric(PixelMetric metric, const QStyleOption* option, const QWidget* widget) const {
  switch (metric) {
    case PM_LayoutLeftMargin:
    case PM_LayoutTopMargin:
    case PM_LayoutRightMargin:
    case PM_LayoutBottomMargin:
      return kMargin;
    case PM_LayoutHorizontalSpacing:
    case PM_LayoutVerticalSpacing:
      return kSpacing;
    case PM_TitleBarHeight: {
      const QFontMetrics font = option != nullptr ? option->fontMetrics : QFontMetrics(QApplication::font());
      return font.height() + kTitlePadding;
    }
    case PM_MdiSubWindowMinimizedWidth:
      return kPutAsideWidth;
    case PM_MdiSubWindowFrameWidth:
      return kSubWindowFrame;
    case PM_ToolBarIconSize:
      return 24;
    default:
      return QProxyStyle::pixelMetric(metric, option, widget);
  }
}

int KorvaneStyle::styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                            QStyleHintReturn* returnData) const {
  switch (hint) {
    case SH_DialogButtonBox_ButtonsHaveIcons:
      return 0;
    case SH_MessageBox_TextInteractionFlags:
      return Qt::TextSelectableByMouse;  // so that an error's text can be copied
    case SH_TitleBar_NoBorder:
      return 1;
    case SH_WindowFrame_Mask:
      return 0;  // no rounded corners cut out of a sub-window
    case SH_Workspace_FillSpaceOnMaximize:
      return 1;  // a maximised sub-window keeps its caption; the frame's title never shows it
    default:
      return QProxyStyle::styleHint(hint, option, widget, returnData);
  }
}

QIcon KorvaneStyle::standardIcon(StandardPixmap picture, const QStyleOption* option,
                                 const QWidget* widget) const {
  switch (picture) {
    case SP_MessageBoxInformation:
      return MessageIcon(MessagePicture::Information);
    case SP_MessageBoxQuestion:
      return MessageIcon(MessagePicture::Question);
    case SP_MessageBoxWarning:
      return MessageIcon(MessagePicture::Exclamation);
    case SP_MessageBoxCritical:
      return MessageIcon(MessagePicture::Critical);
    default:
      return QProxyStyle::standardIcon(picture, option, widget);
  }
}

// A picture in a heading stands over the pictures of the rows, and so does the text behind it.
void KorvaneStyle::drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                               const QWidget* widget) const {
  const auto* header = qstyleoption_cast<const QStyleOptionHeader*>(option);
  const auto* item = qstyleoption_cast<const QStyleOptionMenuItem*>(option);
  const auto* bar = qstyleoption_cast<const QStyleOptionProgressBar*>(option);
  if (element == CE_ProgressBarGroove) {
    DrawGroove(*option, *painter);
  } else if (element == CE_ProgressBarContents && bar != nullptr && bar->maximum > bar->minimum) {
    DrawProgress(*bar, *painter);
  } else if (element == CE_HeaderLabel && header != nullptr && !header->icon.isNull()) {
    const QStyleOptionHeaderV2 moved = OverThePicturesOfRows(*header);
    QProxyStyle::drawControl(element, &moved, painter, widget);
  } else if (element == CE_MenuItem && item != nullptr && !item->icon.isNull() &&
             item->state.testFlag(State_Selected) && item->state.testFlag(State_Enabled)) {
    // The picture of a highlighted item is asked for as one under the pointer, which on a toolbar keeps its
    // ink; on the highlight it would be as good as gone.
    const int side = pixelMetric(PM_SmallIconSize, option, widget);
    QStyleOptionMenuItem highlighted = *item;
    highlighted.icon =
        QIcon(item->icon.pixmap(QSize(side, side), painter->device()->devicePixelRatioF(), QIcon::Selected));
    QProxyStyle::drawControl(element, &highlighted, painter, widget);
  } else {
    QProxyStyle::drawControl(element, option, painter, widget);
  }
}

void KorvaneStyle::drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                                 const QWidget* widget) const {
  if (const auto* header = qstyleoption_cast<const QStyleOptionHeader*>(option);
      element == PE_IndicatorHeaderArrow && header != nullptr) {
    const QStyleOptionHeader turned = WithTurnedArrow(*header);
    QProxyStyle::drawPrimitive(element, &turned, painter, widget);
    return;
  }
  if (element != PE_FrameWindow) {
    QProxyStyle::drawPrimitive(element, option, painter, widget);
    OutlineOnDark(element, *option, *painter);
    return;
  }
  const bool active = option->state.testFlag(State_Active);
  painter->save();
  painter->setPen(QPen(TitleColour(option->palette, active), 2 * kSubWindowFrame));
  painter->drawRect(option->rect);
  painter->setPen(active ? Mix(BorderColour(option->palette), option->palette.color(QPalette::Highlight), 0.5)
                         : BorderColour(option->palette));
  painter->drawRect(option->rect.adjusted(0, 0, -1, -1));
  painter->restore();
}

void KorvaneStyle::drawComplexControl(ComplexControl control, const QStyleOptionComplex* option,
                                      QPainter* painter, const QWidget* widget) const {
  const auto* bar = qstyleoption_cast<const QStyleOptionTitleBar*>(option);
  if (control != CC_TitleBar || bar == nullptr) {
    QProxyStyle::drawComplexControl(control, option, painter, widget);
    if (IsFieldWithButtons(control, *option)) {
      OutlineOnDark(PE_FrameLineEdit, *option, *painter);
    }
    return;
  }
  const bool active = (bar->titleBarState & Qt::WindowActive) != 0 && bar->state.testFlag(State_Active);
  const QColor ink =
      active ? bar->palette.color(QPalette::WindowText)
             : Mix(bar->palette.color(QPalette::WindowText), bar->palette.color(QPalette::Window), 0.25);
  painter->save();
  painter->fillRect(bar->rect, TitleColour(bar->palette, active));
  painter->setRenderHint(QPainter::Antialiasing);
  QRect icon = proxy()->subControlRect(CC_TitleBar, bar, SC_TitleBarSysMenu, widget);
  QRect label = proxy()->subControlRect(CC_TitleBar, bar, SC_TitleBarLabel, widget);
  label.adjust(kTitleGap, 0, -kTitleGap, 0);
  if (bar->titleBarFlags.testFlag(Qt::WindowSystemMenuHint) && !bar->icon.isNull()) {
    const int side = pixelMetric(PM_SmallIconSize, bar, widget);
    icon.moveLeft(icon.left() + kTitleGap / 2);
    bar->icon.paint(painter, alignedRect(Qt::LeftToRight, Qt::AlignCenter, QSize(side, side), icon));
  }
  painter->setPen(ink);
  painter->drawText(label, Qt::AlignVCenter | Qt::AlignLeft | Qt::TextSingleLine,
                    bar->fontMetrics.elidedText(bar->text, Qt::ElideRight, label.width()));
  for (const SubControl button :
       {SC_TitleBarMinButton, SC_TitleBarMaxButton, SC_TitleBarNormalButton, SC_TitleBarCloseButton}) {
    if (bar->subControls.testFlag(button) && ButtonShown(*bar, button)) {
      DrawTitleButton(*painter, *bar, button, proxy()->subControlRect(CC_TitleBar, bar, button, widget), ink);
    }
  }
  painter->restore();
}

QPalette LightPalette() {
  return PaletteOf({.Window = 0xFFF1F3F5,
                    .WindowText = 0xFF1B1F24,
                    .Base = 0xFFFFFFFF,
                    .AlternateBase = 0xFFF6F8FA,
                    .Text = 0xFF1B1F24,
                    .Button = 0xFFF1F3F5,
                    .Highlight = 0xFF2A66A8,
                    .HighlightedText = 0xFFFFFFFF,
                    .Link = 0xFF1D5FA8,
                    .LinkVisited = 0xFF6A4A9C,
                    .ToolTipBase = 0xFF2B3138,
                    .ToolTipText = 0xFFF4F6F8,
                    .Light = 0xFFFFFFFF,
                    .Midlight = 0xFFE6E9EC,
                    .Mid = 0xFFC6CCD3,
                    .Dark = 0xFFB3BBC4,
                    .Shadow = 0xFF7A838D,
                    .Placeholder = 0xFF6A727B,
                    .Disabled = 0xFF8A929B,
                    .DisabledHighlight = 0xFFC9D3DE});
}

QPalette DarkPalette() {
  return PaletteOf({.Window = 0xFF23272C,
                    .WindowText = 0xFFE4E7EA,
                    .Base = 0xFF1A1D21,
                    .AlternateBase = 0xFF1F2327,
                    .Text = 0xFFE4E7EA,
                    .Button = 0xFF2E343A,
                    .Highlight = 0xFF2F6DB3,
                    .HighlightedText = 0xFFFFFFFF,
                    .Link = 0xFF6FB1F5,
                    .LinkVisited = 0xFFB79AE6,
                    .ToolTipBase = 0xFF3A4149,
                    .ToolTipText = 0xFFF0F2F4,
                    .Light = 0xFF48505A,
                    .Midlight = 0xFF3A4149,
                    .Mid = 0xFF2B3036,
                    .Dark = 0xFF16191C,
                    .Shadow = 0xFF0C0E10,
                    .Placeholder = 0xFF98A1AA,
                    .Disabled = 0xFF767F89,
                    .DisabledHighlight = 0xFF39424C});
}

void ApplyKorvaneStyle(QApplication& application) {
  // The palette that the desktop handed to the toolkit, before ours replaces it.
  const bool dark = IsDark(QApplication::palette());
  QApplication::setStyle(new KorvaneStyle);
  QApplication::setPalette(dark ? DarkPalette() : LightPalette());
  QApplication::setWindowIcon(ApplicationIcon());
  auto* scheme = new DesktopScheme(dark, &application);
  QObject::connect(scheme, &DesktopScheme::Changed, &application,
                   [](bool nowDark) { QApplication::setPalette(nowDark ? DarkPalette() : LightPalette()); });
}

void StyleTable(QTableView& table) {
  constexpr int kRowPadding = 7;
  table.setShowGrid(false);
  table.setAlternatingRowColors(true);
  table.setFrameShape(QFrame::NoFrame);
  table.setWordWrap(false);
  table.setCornerButtonEnabled(false);
  table.setTabKeyNavigation(false);
  table.setSelectionBehavior(QAbstractItemView::SelectRows);
  table.setSelectionMode(QAbstractItemView::ExtendedSelection);
  table.setEditTriggers(QAbstractItemView::NoEditTriggers);
  table.setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
  table.verticalHeader()->hide();
  table.verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
  table.verticalHeader()->setMinimumSectionSize(1);
  table.verticalHeader()->setDefaultSectionSize(table.fontMetrics().height() + kRowPadding);
  table.horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
  table.horizontalHeader()->setHighlightSections(false);
}

}  // namespace korvane
