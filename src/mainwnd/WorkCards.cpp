#include "mainwnd/WorkCards.h"

#include <QElapsedTimer>
#include <QEvent>
#include <QGridLayout>
#include <QLabel>
#include <QLocale>
#include <QPointer>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>
#include <algorithm>
#include <utility>

#include "common/qt/QtText.h"

namespace korvane::mainwnd {
namespace {

constexpr int kCardWidth = 400;
constexpr int kFromTheCorner = 16;
constexpr int kAboveTheStatusBar = 44;
constexpr int kShowEveryMilliseconds = 40;

QString CountText(std::int64_t done, std::int64_t total) {
  const QLocale locale;
  const QString count = locale.toString(static_cast<qlonglong>(done));
  return total > 0 ? QObject::tr("%1 of %2").arg(count, locale.toString(static_cast<qlonglong>(total)))
                   : count;
}

}  // namespace

class WorkCards::Card : public QFrame {
 public:
  Card(WorkCards* cards, std::string_view text, std::function<void()> stop)
      : QFrame(cards), stop_(std::move(stop)), count_(new QLabel(this)), bar_(new QProgressBar(this)) {
    setObjectName(QStringLiteral("fraWork"));
    setFrameShape(QFrame::StyledPanel);
    setAutoFillBackground(true);
    setBackgroundRole(QPalette::Base);
    auto* label = new QLabel(ToQString(text), this);
    label->setObjectName(QStringLiteral("lblInfo"));
    label->setTextFormat(Qt::PlainText);
    count_->setObjectName(QStringLiteral("lblCount"));
    count_->setTextFormat(Qt::PlainText);
    count_->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    bar_->setObjectName(QStringLiteral("prgWork"));
    bar_->setTextVisible(false);
    bar_->setAccessibleName(label->text());
    bar_->setRange(0, 0);
    auto* button = new QPushButton(tr("Stop"), this);
    button->setObjectName(QStringLiteral("cmdStop"));
    button->setFocusPolicy(Qt::TabFocus);
    auto* grid = new QGridLayout(this);
    grid->setContentsMargins(12, 10, 12, 10);
    grid->setHorizontalSpacing(12);
    grid->setVerticalSpacing(8);
    grid->addWidget(label, 0, 0);
    grid->addWidget(count_, 0, 1);
    grid->addWidget(bar_, 1, 0, 1, 2);
    grid->addWidget(button, 0, 2, 2, 1, Qt::AlignVCenter);
    grid->setColumnStretch(0, 1);
    setMinimumWidth(kCardWidth);
    connect(button, &QPushButton::clicked, this, [this, button] {
      button->setEnabled(false);
      Stop();
    });
  }

  void Stop() {
    if (const std::function<void()> stop = std::exchange(stop_, nullptr)) {
      stop();
    }
  }

  void ShowProgress(std::int64_t done, std::int64_t total) {
    if (shown_.isValid() && shown_.elapsed() < kShowEveryMilliseconds) {
      return;
    }
    shown_.start();
    count_->setText(CountText(done, total));
    bar_->setRange(0, total > 0 ? kBarSteps : 0);
    if (total > 0) {
      const double part =
          static_cast<double>(std::clamp<std::int64_t>(done, 0, total)) / static_cast<double>(total);
      bar_->setValue(static_cast<int>(part * kBarSteps));
    }
  }

 private:
  std::function<void()> stop_;
  QLabel* count_;
  QProgressBar* bar_;
  QElapsedTimer shown_;
};

class WorkCards::Work : public WorkInProgress {
 public:
  Work(WorkCards& cards, Card* card) : cards_(&cards), card_(card) {}
  ~Work() override {
    if (!card_) {
      return;
    }
    // Its own button may be what ends the work.
    card_->hide();
    card_->deleteLater();
    card_->setParent(nullptr);
    if (cards_) {
      cards_->Place();
    }
  }
  void ShowProgress(std::int64_t done, std::int64_t total) override {
    if (card_) {
      card_->ShowProgress(done, total);
    }
  }

 private:
  QPointer<WorkCards> cards_;
  QPointer<Card> card_;
};

WorkCards::WorkCards(QWidget* frame) : QFrame(frame) {
  setObjectName(QStringLiteral("fraWorks"));
  setFrameShape(QFrame::NoFrame);
  auto* rows = new QVBoxLayout(this);
  rows->setContentsMargins(0, 0, 0, 0);
  rows->setSpacing(8);
  frame->installEventFilter(this);
  hide();
}

std::unique_ptr<WorkInProgress> WorkCards::Add(std::string_view text, std::function<void()> stop) {
  auto* card = new Card(this, text, std::move(stop));
  layout()->addWidget(card);
  card->show();
  Place();
  return std::make_unique<Work>(*this, card);
}

// A text that grew, or a card that came: this widget stands in no layout that would make room.
bool WorkCards::event(QEvent* event) {
  const bool done = QFrame::event(event);
  if (event->type() == QEvent::LayoutRequest) {
    Place();
  }
  return done;
}

bool WorkCards::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() == QEvent::Resize) {
    Place();
  }
  return QFrame::eventFilter(watched, event);
}

void WorkCards::Place() {
  if (layout()->count() == 0) {
    hide();
    return;
  }
  layout()->invalidate();
  const QSize size = layout()->sizeHint();
  setGeometry(parentWidget()->width() - size.width() - kFromTheCorner,
              parentWidget()->height() - size.height() - kAboveTheStatusBar, size.width(), size.height());
  show();
  raise();
}

}  // namespace korvane::mainwnd
