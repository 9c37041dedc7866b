#include "mainwnd/FrameStrip.h"

#include <QAccessible>
#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>
#include <algorithm>
#include <utility>

#include "common/qt/Icons.h"
#include "common/qt/KorvaneStyle.h"
#include "common/qt/QtText.h"

namespace korvane::mainwnd {
namespace {

constexpr int kStripPicture = 16;
constexpr int kStripEdge = 3;
constexpr std::array<const char*, kStripKinds> kRowNames = {
    "StoreAway", "Replaced", "Stopped", "ReceiverSilent", "Limits", "Elsewhere", "Done", "Told"};

MessagePicture PictureOf(PromptIcon icon) {
  switch (icon) {
    case PromptIcon::Critical:
      return MessagePicture::Critical;
    case PromptIcon::Exclamation:
      return MessagePicture::Exclamation;
    case PromptIcon::Question:
      return MessagePicture::Question;
    default:
      return MessagePicture::Information;
  }
}

// Between texts and their background, so that what is quieter can still be read on either palette.
QColor QuietText(const QPalette& palette) {
  const QColor text = palette.color(QPalette::WindowText);
  const QColor ground = palette.color(QPalette::AlternateBase);
  const auto part = [](int near, int far) { return (near * 3 + far) / 4; };
  return {part(text.red(), ground.red()), part(text.green(), ground.green()),
          part(text.blue(), ground.blue())};
}

}  // namespace

class FrameStrip::Row : public QWidget {
 public:
  Row(const char* name, QWidget* parent)
      : QWidget(parent),
        picture_(new QLabel(this)),
        text_(new QLabel(this)),
        note_(new QLabel(this)),
        Button(new QPushButton(this)) {
    text_->setObjectName(QStringLiteral("lbl") + QLatin1String(name));
    note_->setObjectName(QStringLiteral("lblNext") + QLatin1String(name));
    Button->setObjectName(QStringLiteral("cmd") + QLatin1String(name));
    for (QLabel* label : {text_, note_}) {
      label->setTextFormat(Qt::PlainText);
      label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    }
    text_->setWordWrap(true);
    note_->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(kMargin, 0, kMargin, 0);
    layout->setSpacing(2 * kSpacing);
    layout->addWidget(picture_);
    layout->addWidget(text_, 1);
    layout->addWidget(note_);
    layout->addWidget(Button);
    hide();
  }

  // True when its text is another one now.
  bool Show(const StripLine* line) {
    setVisible(line != nullptr);
    if (line == nullptr) {
      said_.clear();
      return false;
    }
    text_->setText(ToVisibleQString(line->Text));
    note_->setText(ToVisibleQString(line->Note));
    note_->setVisible(!line->Note.empty());
    Button->setText(ToQString(line->Button));
    Button->setVisible(!line->Button.empty());
    setToolTip(line->Details.empty() ? QString() : Qt::convertFromPlainText(ToVisibleQString(line->Details)));
    icon_ = line->Icon;
    Paint();
    return std::exchange(said_, line->Text) != line->Text;
  }

  void Paint() {
    picture_->setPixmap(
        MessageIcon(PictureOf(icon_)).pixmap(QSize(kStripPicture, kStripPicture), devicePixelRatioF()));
    QPalette quiet = palette();
    quiet.setColor(QPalette::WindowText, QuietText(quiet));
    note_->setPalette(quiet);
  }

  const std::string& Said() const { return said_; }

 private:
  QLabel* picture_;
  QLabel* text_;
  QLabel* note_;
  PromptIcon icon_ = PromptIcon::Information;
  std::string said_;

 public:
  QPushButton* const Button;
};

FrameStrip::FrameStrip(QWidget* parent) : QFrame(parent), empty_(new QWidget(this)), end_(new QTimer(this)) {
  setAccessibleName(tr("Notices"));
  setAutoFillBackground(true);
  setBackgroundRole(QPalette::AlternateBase);
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, kStripEdge, 0, kStripEdge);
  layout->setSpacing(kStripEdge);
  for (std::size_t i = 0; i < rows_.size(); ++i) {
    rows_[i] = new Row(kRowNames[i], this);
    layout->addWidget(rows_[i]);
  }
  layout->addWidget(empty_);
  KeepRoom();
  end_->setSingleShot(true);
  connect(end_, &QTimer::timeout, this, &FrameStrip::DropWhatHasHadItsTime);
}

FrameStrip::~FrameStrip() {
  if (lines_ != nullptr) {
    lines_->SetListener({});
  }
}

void FrameStrip::Follow(StripLines& lines, platform::Clock& clock) {
  lines_ = &lines;
  clock_ = &clock;
  lines.SetListener([this] { ShowLines(); });
  for (std::size_t i = 0; i < rows_.size(); ++i) {
    connect(rows_[i]->Button, &QPushButton::clicked, this,
            [this, i] { lines_->Press(static_cast<StripKind>(i)); });
  }
  ShowLines();
}

void FrameStrip::ShowLines() {
  for (std::size_t i = 0; i < rows_.size(); ++i) {
    if (rows_[i]->Show(lines_->Line(static_cast<StripKind>(i)))) {
      setAccessibleDescription(ToVisibleQString(rows_[i]->Said()));
      QAccessibleEvent alert(this, QAccessible::Alert);
      QAccessible::updateAccessibility(&alert);
    }
  }
  KeepRoom();
  DropWhatHasHadItsTime();
}

// A timer may be early by a little, and a machine that slept is late by much.
void FrameStrip::DropWhatHasHadItsTime() {
  const std::optional<std::int64_t> end = lines_->NextEnd();
  if (!end) {
    end_->stop();
    return;
  }
  const std::int64_t left = *end - clock_->MonotonicMilliseconds();
  if (left <= 0) {
    lines_->Tick();  // comes back here
    return;
  }
  end_->start(static_cast<int>(std::min<std::int64_t>(left, StripLines::kToldFor)));
}

// One empty row stands in for those that are not there.
void FrameStrip::KeepRoom() {
  const int height = rows_[0]->Button->sizeHint().height();
  for (QWidget* row : rows_) {
    row->setMinimumHeight(height);
  }
  empty_->setMinimumHeight(height);
  empty_->setVisible(std::ranges::all_of(rows_, [](const QWidget* row) { return row->isHidden(); }));
}

void FrameStrip::changeEvent(QEvent* event) {
  QFrame::changeEvent(event);
  if (event->type() == QEvent::PaletteChange && rows_.back() != nullptr) {
    std::ranges::for_each(rows_, &Row::Paint);
  } else if (event->type() == QEvent::FontChange && rows_.back() != nullptr) {
    KeepRoom();
  }
}

}  // namespace korvane::mainwnd
