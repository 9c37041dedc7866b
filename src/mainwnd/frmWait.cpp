#include "mainwnd/frmWait.h"

#include <QApplication>
#include <QCursor>
#include <QKeyEvent>
#include <QLayout>
#include <QLocale>
#include <QPainter>
#include <QPen>
#include <QWindow>
#include <algorithm>
#include <utility>

#include "common/qt/KorvaneStyle.h"
#include "common/qt/QtText.h"
#include "mainwnd/WorkCards.h"
#include "ui_frmWait.h"

namespace korvane::mainwnd {
namespace {

constexpr int kNarrowest = 300;
constexpr int kRoomBeside = 60;  // margins, and some of the frame
constexpr int kPaintEveryMilliseconds = 40;

// The middle of the frame; where a dialog covers that, below the dialog or, without room there, above it.
QRect PlaceIn(const QWidget& frame, const QSize& size) {
  QRect place(QPoint((frame.width() - size.width()) / 2, (frame.height() - size.height()) / 2), size);
  const QWidget* dialog = QApplication::activeModalWidget();
  if (dialog == nullptr || !dialog->isVisible()) {
    return place;
  }
  const QRect covered(frame.mapFromGlobal(dialog->frameGeometry().topLeft()), dialog->frameGeometry().size());
  if (covered.intersects(place)) {
    const int below = covered.bottom() + kMargin;
    const int above = covered.top() - kMargin - size.height();
    if (below + size.height() <= frame.height()) {
      place.moveTop(below);
    } else if (above >= 0) {
      place.moveTop(above);
    }
  }
  return place;
}

bool IsInput(QEvent::Type type) {
  switch (type) {
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonRelease:
    case QEvent::MouseButtonDblClick:
    case QEvent::Wheel:
    case QEvent::KeyPress:
    case QEvent::KeyRelease:
    case QEvent::InputMethod:
    case QEvent::Shortcut:
    case QEvent::ContextMenu:
    case QEvent::TouchBegin:
    case QEvent::TouchUpdate:
    case QEvent::TouchEnd:
    case QEvent::TabletPress:
    case QEvent::TabletRelease:
    case QEvent::DragEnter:
    case QEvent::DragMove:
    case QEvent::Drop:
      return true;
    default:
      return false;
  }
}

// Menus and lists that drop down hold no work that their end would begin.
bool IsPopUp(const QObject* watched) {
  if (watched->isWindowType()) {
    return static_cast<const QWindow*>(watched)->type() == Qt::Popup;
  }
  const auto* widget = qobject_cast<const QWidget*>(watched);
  return widget != nullptr && widget->windowType() == Qt::Popup;
}

}  // namespace

// Keeps everything from running that is not painting or the box itself: whoever is in the middle of long work
// holds what a command or a tick would change.  A timer that is passed over comes again, and with it the end
// of the session.  A dialog that is closed may save and load in its turn: whoever wants that asks again.
class frmWait::InputGate : public QObject {
 public:
  explicit InputGate(frmWait& box) : box_(box) { qApp->installEventFilter(this); }

  bool eventFilter(QObject* watched, QEvent* event) override {
    if (event->type() == QEvent::Timer) {
      return true;
    }
    if (event->type() == QEvent::Close && !IsPopUp(watched)) {
      event->ignore();
      return true;
    }
    // Windows of the system hand their input on to the widgets.
    if (!IsInput(event->type()) || watched->isWindowType()) {
      return false;
    }
    if (event->type() == QEvent::KeyPress && static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape) {
      if (box_.ui_->cmdStop->isVisible()) {
        box_.ui_->cmdStop->click();
      }
      return true;
    }
    const auto* widget = qobject_cast<const QWidget*>(watched);
    return widget == nullptr || (widget != &box_ && !box_.isAncestorOf(widget));
  }

 private:
  frmWait& box_;
};

frmWait::frmWait(QWidget* parent) : QFrame(parent), ui_(std::make_unique<Ui::frmWait>()) {
  ui_->setupUi(this);
  ui_->prgWait->setRange(0, kBarSteps);
  setMinimumWidth(kNarrowest);
  connect(ui_->cmdStop, &QPushButton::clicked, this, [this] {
    if (!texts_.empty()) {
      texts_.back().Stopped = true;
    }
    ui_->cmdStop->setEnabled(false);
  });
  hide();
}

frmWait::~frmWait() = default;

void frmWait::ShowBusy(std::string_view text) {
  texts_.push_back({.Text = std::string(text)});
  if (texts_.size() == 1 && parentWidget() != nullptr) {
    parentWidget()->setCursor(Qt::WaitCursor);
  }
  ShowText();
}

void frmWait::ShowFree() {
  if (texts_.empty()) {
    return;
  }
  texts_.pop_back();
  if (!texts_.empty()) {
    ShowText();
    return;
  }
  hide();
  if (parentWidget() != nullptr) {
    parentWidget()->unsetCursor();
  }
}

void frmWait::ShowProgress(std::int64_t done, std::int64_t total) {
  if (texts_.empty()) {
    return;
  }
  const bool first = ui_->lblCount->isHidden();
  const bool last = done >= total && total > 0;
  if (!first && !last && painted_.isValid() && painted_.elapsed() < kPaintEveryMilliseconds) {
    return;
  }
  const QLocale locale;
  const QString count = locale.toString(static_cast<qlonglong>(done));
  ui_->prgWait->setVisible(total > 0);
  ui_->lblCount->setVisible(true);
  if (total > 0) {
    const std::int64_t shown = std::clamp<std::int64_t>(done, 0, total);
    ui_->prgWait->setValue(
        static_cast<int>(static_cast<double>(shown) / static_cast<double>(total) * kBarSteps));
    ui_->lblCount->setText(tr("%1 of %2").arg(count, locale.toString(static_cast<qlonglong>(total))));
  } else {
    ui_->lblCount->setText(count);
  }
  PlaceAndPaint();
}

bool frmWait::GoOn() {
  if (!answered_.isValid() || answered_.elapsed() >= kPaintEveryMilliseconds) {
    const InputGate gate(*this);
    // Without a Stop there is nothing to hear, and what is typed waits for whom it is meant.
    QCoreApplication::processEvents(ui_->cmdStop->isVisible() ? QEventLoop::AllEvents
                                                              : QEventLoop::ExcludeUserInputEvents);
    answered_.start();
  }
  return texts_.empty() || !texts_.back().Stopped;
}

void frmWait::OfferStop() {
  if (!texts_.empty() && ui_->cmdStop->isHidden()) {
    texts_.back().Stoppable = true;
    ui_->cmdStop->setEnabled(!texts_.back().Stopped);
    ui_->cmdStop->show();
    PlaceAndPaint();
  }
}

std::unique_ptr<WorkInProgress> frmWait::ShowWork(std::string_view text, std::function<void()> stop) {
  if (works_ == nullptr) {
    works_ = new WorkCards(parentWidget());
  }
  return works_->Add(text, std::move(stop));
}

void frmWait::ShowText() {
  const int room = parentWidget() != nullptr ? parentWidget()->width() - 2 * kRoomBeside : QWIDGETSIZE_MAX;
  ui_->lblInfo->setText(ui_->lblInfo->fontMetrics().elidedText(ToQString(texts_.back().Text), Qt::ElideRight,
                                                               std::max(room, kNarrowest)));
  ui_->prgWait->hide();
  ui_->lblCount->hide();
  ui_->cmdStop->setVisible(texts_.back().Stoppable);
  ui_->cmdStop->setEnabled(!texts_.back().Stopped);
  answered_.start();
  PlaceAndPaint();
}

void frmWait::PlaceAndPaint() {
  QWidget* frame = parentWidget();
  if (frame == nullptr || !frame->isVisible()) {
    return;
  }
  const QRect before = isVisible() ? geometry() : QRect();
  // Measured by hand: the layout would wait for an event that is not going to be processed.
  layout()->invalidate();
  layout()->activate();
  setGeometry(PlaceIn(*frame, sizeHint().expandedTo(minimumSize())));
  layout()->activate();
  raise();
  show();
  if (!before.isEmpty() && !geometry().contains(before)) {
    frame->repaint(before);
  }
  repaint();
  painted_.start();
}

void frmWait::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(QPen(palette().color(QPalette::Highlight), 1.5));
  painter.setBrush(palette().color(QPalette::Base));
  painter.fillRect(rect(), palette().color(QPalette::Base));
  painter.drawRect(QRectF(rect()).adjusted(0.75, 0.75, -0.75, -0.75));
}

}  // namespace korvane::mainwnd
