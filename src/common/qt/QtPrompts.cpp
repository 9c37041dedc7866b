#include "common/qt/QtPrompts.h"

#include <QApplication>
#include <QDialogButtonBox>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QScreen>
#include <QStandardPaths>
#include <QVBoxLayout>
#include <algorithm>

#include "common/qt/QtText.h"
#include "platform/ApplicationTitle.h"

namespace korvane {
namespace {

// Longer texts, a database driver's or those quoting a trap, would make a box larger than the screen: it
// shows their beginning and offers the whole text as details.
constexpr qsizetype kLongText = 1200;
constexpr qsizetype kManyLines = 24;
constexpr qsizetype kShortText = 80;
constexpr qsizetype kLongWord = 60;  // letters
constexpr qsizetype kPiece = 6;      // of a long word
// In logical pixels, as the toolkit lays message boxes out.
constexpr int kWidestBox = 500;
constexpr int kNarrowestText = 240;
constexpr int kBesideBox = 480;   // of the screen's width
constexpr int kBesideText = 100;  // picture and margins
constexpr int kBelowText = 160;   // title, buttons and margins
constexpr int kDetails = 170;
constexpr int kLowestText = 60;

QWidget* PromptParent() {
  QWidget* modal = QApplication::activeModalWidget();
  return modal != nullptr ? modal : QApplication::activeWindow();
}

QMessageBox::Icon IconOf(PromptIcon icon) {
  switch (icon) {
    case PromptIcon::None:
      return QMessageBox::NoIcon;
    case PromptIcon::Information:
      return QMessageBox::Information;
    case PromptIcon::Question:
      return QMessageBox::Question;
    case PromptIcon::Exclamation:
      return QMessageBox::Warning;
    case PromptIcon::Critical:
      return QMessageBox::Critical;
  }
  return QMessageBox::NoIcon;
}

QMessageBox::StandardButtons ButtonsOf(PromptButtons buttons) {
  switch (buttons) {
    case PromptButtons::Ok:
      return QMessageBox::Ok;
    case PromptButtons::YesNo:
    case PromptButtons::NoYes:
      return QMessageBox::Yes | QMessageBox::No;
    case PromptButtons::YesNoCancel:
      return QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel;
  }
  return QMessageBox::Ok;
}

// What the toolkit leaves for the text of a message box, so that the box with its buttons, and its details
// when they are shown, stays on the screen.
QSize RoomForText(bool withDetails) {
  const QWidget* parent = PromptParent();
  const QScreen* screen = parent != nullptr ? parent->screen() : QGuiApplication::primaryScreen();
  const QSize whole = screen != nullptr ? screen->availableSize() : QSize(kWidestBox, kWidestBox);
  return {std::clamp(whole.width() - kBesideBox, kNarrowestText, kWidestBox) - kBesideText,
          std::max(whole.height() - kBelowText - (withDetails ? kDetails : 0), kLowestText)};
}

bool Fits(const QString& text, const QSize& room) {
  const QRect rows(0, 0, room.width(), QWIDGETSIZE_MAX);
  return QFontMetrics(QApplication::font("QMessageBox"))
             .boundingRect(rows, Qt::TextWordWrap, text)
             .height() <= room.height();
}

// A name from the network may be one word of any length, which would make the box as wide.
QString WithPlacesToBreak(const QString& text) {
  QString broken;
  qsizetype word = 0;  // where it began
  for (qsizetype i = 0; i <= text.size(); ++i) {
    if (i < text.size() && !text[i].isSpace()) {
      continue;
    }
    const qsizetype piece = i - word > kLongWord ? kPiece : std::max<qsizetype>(i - word, 1);
    for (qsizetype from = word; from < i; from += piece) {
      broken += from > word ? QStringLiteral("\u200B") : QString();
      broken += QStringView(text).mid(from, std::min(piece, i - from));
    }
    broken += QStringView(text).mid(i, 1);
    word = i + 1;
  }
  return broken;
}

QString Fitting(QString text, bool withDetails) {
  const QString whole = text;
  while (text.size() > kShortText &&
         !Fits(WithPlacesToBreak(text), RoomForText(withDetails || text.size() < whole.size()))) {
    text = whole.left(text.size() * 9 / 10) + QChar(0x2026);
  }
  return text;
}

// The text that fits a box, or the whole text.
QString Beginning(const QString& text) {
  qsizetype end = text.size() > kLongText ? kLongText : text.size();
  qsizetype line = -1;
  for (qsizetype lines = 0; lines < kManyLines; ++lines) {
    line = text.indexOf(QLatin1Char('\n'), line + 1);
    if (line < 0) {
      break;
    }
  }
  if (line >= 0 && line < end) {
    end = line;
  }
  return end == text.size() ? text : text.left(end) + QChar(0x2026);
}

PromptAnswer RunBox(std::string_view text, PromptButtons buttons, PromptIcon icon,
                    std::string_view details = {}) {
  // Some texts part their lines by carriage returns, which a message box would not show.
  const QString whole = ToQString(text).replace(QLatin1Char('\r'), QLatin1Char('\n'));
  QMessageBox box(PromptParent());
  box.setObjectName(QStringLiteral("msgPrompt"));
  box.setWindowTitle(ToQString(platform::kApplicationTitle));
  box.setTextFormat(Qt::PlainText);
  box.setIcon(IconOf(icon));
  const QString beginning = Fitting(Beginning(whole), !details.empty());
  box.setText(WithPlacesToBreak(beginning));
  QStringList further;
  if (beginning != whole) {
    further.push_back(whole);
  }
  if (!details.empty()) {
    further.push_back(ToQString(details));
  }
  box.setDetailedText(further.join(QStringLiteral("\n\n")));
  box.setStandardButtons(ButtonsOf(buttons));
  box.setDefaultButton(buttons == PromptButtons::Ok      ? QMessageBox::Ok
                       : buttons == PromptButtons::NoYes ? QMessageBox::No
                                                         : QMessageBox::Yes);
  if (buttons == PromptButtons::YesNo || buttons == PromptButtons::NoYes) {
    box.setEscapeButton(QMessageBox::No);
  }
  switch (box.exec()) {
    case QMessageBox::Yes:
      return PromptAnswer::Yes;
    case QMessageBox::No:
      return PromptAnswer::No;
    case QMessageBox::Cancel:
      return PromptAnswer::Cancel;
    default:
      return PromptAnswer::Ok;
  }
}

// Where a user's files are looked for first: the working directory is the program's own.
QString DocumentsFolder() {
  const QString documents = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
  return QFileInfo(documents).isDir() ? documents : QDir::homePath();
}

void SetUp(QFileDialog& dialog, const FileQuestion& question) {
  dialog.setObjectName(QStringLiteral("filePrompt"));
  dialog.setWindowTitle(ToQString(question.Caption));
  if (dialog.directory() == QDir::current()) {
    dialog.setDirectory(DocumentsFolder());
  }
  if (!question.Extension.empty()) {
    const QString extension = ToQString(question.Extension);
    dialog.setDefaultSuffix(extension);
    dialog.setNameFilters(
        {QStringLiteral("%1 (*.%2)").arg(ToQString(question.Kind), extension), QObject::tr("All files (*)")});
  }
  if (!question.Path.empty()) {
    const QFileInfo path(ToQString(question.Path));
    if (path.isDir()) {
      dialog.setDirectory(path.filePath());
    } else {
      if (path.dir().exists() && path.fileName() != path.filePath()) {
        dialog.setDirectory(path.path());
      }
      dialog.selectFile(path.fileName());
    }
  }
}

}  // namespace

void QtPrompts::Show(std::string_view text, PromptIcon icon) {
  RunBox(text, PromptButtons::Ok, icon);
}

void QtPrompts::ShowFailure(std::string_view text, std::string_view cause) {
  RunBox(text, PromptButtons::Ok, PromptIcon::Critical, cause);
}

PromptAnswer QtPrompts::Ask(std::string_view text, PromptButtons buttons, PromptIcon icon) {
  return RunBox(text, buttons, icon);
}

std::optional<std::string> QtPrompts::AskText(std::string_view prompt, std::string_view initial) {
  QDialog dialog(PromptParent());
  dialog.setObjectName(QStringLiteral("inputPrompt"));
  dialog.setWindowTitle(ToQString(platform::kApplicationTitle));
  auto* label = new QLabel(&dialog);
  label->setTextFormat(Qt::PlainText);
  label->setWordWrap(true);
  label->setText(ToQString(prompt));
  auto* edit = new QLineEdit(ToQString(initial), &dialog);
  edit->setObjectName(QStringLiteral("txtAnswer"));
  edit->setAccessibleName(label->text());
  edit->setMinimumWidth(340);
  edit->selectAll();
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, &dialog);
  QObject::connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
  QObject::connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
  auto* layout = new QVBoxLayout(&dialog);
  layout->setSizeConstraint(QLayout::SetFixedSize);
  layout->addWidget(label);
  layout->addWidget(edit);
  layout->addSpacing(6);
  layout->addWidget(buttons);
  if (dialog.exec() != QDialog::Accepted) {
    return std::nullopt;
  }
  return ToUtf8(edit->text());
}

std::optional<std::string> QtPrompts::AskSaveFile(const FileQuestion& question) {
  QFileDialog dialog(PromptParent());
  SetUp(dialog, question);
  dialog.setAcceptMode(QFileDialog::AcceptSave);
  dialog.setFileMode(QFileDialog::AnyFile);
  if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty()) {
    return std::nullopt;
  }
  return ToUtf8(dialog.selectedFiles().constFirst());
}

std::vector<std::string> QtPrompts::AskOpenFiles(const FileQuestion& question) {
  QFileDialog dialog(PromptParent());
  SetUp(dialog, question);
  dialog.setAcceptMode(QFileDialog::AcceptOpen);
  dialog.setFileMode(question.SeveralFiles ? QFileDialog::ExistingFiles : QFileDialog::ExistingFile);
  std::vector<std::string> paths;
  if (dialog.exec() == QDialog::Accepted) {
    for (const QString& path : dialog.selectedFiles()) {
      paths.push_back(ToUtf8(path));
    }
  }
  return paths;
}

}  // namespace korvane
