#include "common/qt/NoticeBar.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>

namespace korvane {
namespace {

constexpr int kPictureSize = 20;
// A database may have much to say; the list below has its rights.
constexpr qsizetype kLongNotice = 300;

}  // namespace

NoticeBar::NoticeBar(const QString& wayOut, QWidget* parent)
    : QFrame(parent), picture_(new QLabel(this)), text_(new QLabel(this)) {
  setObjectName(QStringLiteral("fraNotice"));
  setAutoFillBackground(true);
  setBackgroundRole(QPalette::AlternateBase);
  picture_->setObjectName(QStringLiteral("imgNotice"));
  text_->setObjectName(QStringLiteral("lblNotice"));
  text_->setTextFormat(Qt::PlainText);
  text_->setWordWrap(true);
  auto* button = new QPushButton(wayOut, this);
  button->setObjectName(QStringLiteral("cmdLoadAgain"));
  connect(button, &QPushButton::clicked, this, &NoticeBar::WayOutTaken);
  auto* layout = new QHBoxLayout(this);
  layout->setSpacing(12);
  layout->setContentsMargins(12, 6, 12, 6);
  layout->addWidget(picture_);
  layout->addWidget(text_, 1);
  layout->addWidget(button);
  hide();
}

void NoticeBar::Say(const QString& text, MessagePicture picture) {
  if (text == said_) {
    return;  // windows say so with every tick
  }
  said_ = text;
  const bool fits = text.size() <= kLongNotice;
  setVisible(!text.isEmpty());
  text_->setText(fits ? text : text.left(kLongNotice) + QChar(0x2026));
  text_->setToolTip(fits ? QString() : Qt::convertFromPlainText(text));
  picture_->setPixmap(MessageIcon(picture).pixmap(QSize(kPictureSize, kPictureSize), devicePixelRatioF()));
}

}  // namespace korvane
