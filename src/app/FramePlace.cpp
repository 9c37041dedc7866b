#include "app/FramePlace.h"

#include <QGuiApplication>
#include <QRect>
#include <QScreen>
#include <algorithm>
#include <cmath>

#include "common/qt/QtText.h"
#include "mainwnd/frmMain.h"

namespace korvane::app {
namespace {

constexpr double kMostPixels = 32000;  // a side, as window systems count them
constexpr int kGrip = 48;              // of the window's top that must be on a screen

int Pixels(float twips) {
  return static_cast<int>(std::lround(std::clamp<double>(twips / kTwipsPerPixel, -kMostPixels, kMostPixels)));
}

float Twips(int pixels) {
  return static_cast<float>(pixels) * kTwipsPerPixel;
}

bool CanBeGripped(const QRect& place) {
  const QRect top(place.left(), place.top(), place.width(), kGrip);
  const QList<QScreen*> screens = QGuiApplication::screens();
  return std::ranges::any_of(screens, [&top](const QScreen* screen) {
    const QRect seen = screen->availableGeometry().intersected(top);
    return seen.width() >= kGrip && seen.height() >= kGrip / 2;
  });
}

QRect OnAScreen(QRect place) {
  const QScreen* screen = QGuiApplication::primaryScreen();
  if (screen == nullptr || CanBeGripped(place)) {
    return place;
  }
  const QRect room = screen->availableGeometry();
  place.setSize(place.size().boundedTo(room.size()));
  place.moveCenter(room.center());
  return place;
}

}  // namespace

void FramePlace::SetPlacement(const WindowPlacement& placement) {
  const QSize size =
      QSize(Pixels(placement.Width), Pixels(placement.Height)).expandedTo(frame_.minimumSize());
  const QRect place = OnAScreen(QRect(QPoint(Pixels(placement.Left), Pixels(placement.Top)), size));
  frame_.resize(place.size());
  frame_.move(place.topLeft());
  switch (placement.State) {
    case kStateMinimised:
      frame_.setWindowState(Qt::WindowMinimized);
      break;
    case kStateMaximised:
      frame_.setWindowState(Qt::WindowMaximized);
      break;
    default:
      frame_.setWindowState(Qt::WindowNoState);
  }
}

WindowPlacement FramePlace::Placement() const {
  WindowPlacement placement{.Left = Twips(frame_.x()),
                            .Top = Twips(frame_.y()),
                            .Width = Twips(frame_.width()),
                            .Height = Twips(frame_.height()),
                            .State = kStateNormal};
  if (frame_.isMinimized()) {
    placement.State = kStateMinimised;
  } else if (frame_.isMaximized() || frame_.isFullScreen()) {
    placement.State = kStateMaximised;
  }
  return placement;
}

void FramePlace::SetCaption(std::string_view caption) {
  frame_.setWindowTitle(ToQString(caption));
}

void FramePlace::Show() {
  frame_.show();
}

void FramePlace::DestroyChildren() {
  frame_.DestroyChildren();
}

}  // namespace korvane::app
