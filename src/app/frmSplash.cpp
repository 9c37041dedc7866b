#include "app/frmSplash.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFont>
#include <QGuiApplication>
#include <QPainter>
#include <QScreen>
#include <QWindow>

#include "common/qt/Icons.h"
#include "common/qt/QtText.h"
#include "platform/ApplicationTitle.h"
#include "ui_frmSplash.h"

namespace korvane::app {
namespace {

constexpr int kIconSize = 80;
constexpr int kLongestWaitMilliseconds = 300;
constexpr int kAccentHeight = 4;

}  // namespace

frmSplash::frmSplash()
    : QWidget(nullptr, Qt::SplashScreen | Qt::FramelessWindowHint), ui_(std::make_unique<Ui::frmSplash>()) {
  ui_->setupUi(this);
  ui_->imgIcon->setPixmap(ApplicationIcon().pixmap(QSize(kIconSize, kIconSize), devicePixelRatioF()));
  QFont title = ui_->lblTitle->font();
  title.setPointSizeF(title.pointSizeF() * 1.6);
  title.setBold(true);
  ui_->lblTitle->setFont(title);
  ui_->lblTitle->setText(ToQString(platform::kApplicationTitle));
}

frmSplash::~frmSplash() = default;

void frmSplash::Show() {
  adjustSize();
  if (const QScreen* screen = QGuiApplication::primaryScreen()) {
    QRect place(QPoint(), size());
    place.moveCenter(screen->availableGeometry().center());
    move(place.topLeft());
  }
  show();
  // Nothing else exists yet, so the events that put it on the screen are all there is to process.
  QElapsedTimer waited;
  waited.start();
  while (!windowHandle()->isExposed() && waited.elapsed() < kLongestWaitMilliseconds) {
    QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents, 10);
  }
  repaint();
  QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
}

void frmSplash::Close() {
  hide();
}

void frmSplash::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.fillRect(rect(), palette().color(QPalette::Base));
  painter.fillRect(QRect(0, height() - kAccentHeight, width(), kAccentHeight),
                   palette().color(QPalette::Highlight));
  painter.setPen(palette().color(QPalette::Mid));
  painter.drawRect(rect().adjusted(0, 0, -1, -1));
}

}  // namespace korvane::app
