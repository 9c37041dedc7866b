#include "help/HelpFile.h"

#include <QCryptographicHash>
#include <QFile>
#include <QResource>
#include <utility>

#include "common/qt/QtText.h"

namespace korvane::mainwnd {
namespace {

constexpr qint64 kLargestFile = 64 * 1024 * 1024;
constexpr qsizetype kSealLength = 64;

QString Root() {
  return QStringLiteral("/korvane/help");
}

const uchar* Data(const QByteArray& bytes) {
  return reinterpret_cast<const uchar*>(bytes.constData());
}

// The resource without its seal; empty when the seal is not that of the resource.
QByteArray Unsealed(const QByteArray& sealed) {
  if (sealed.size() <= kSealLength) {
    return {};
  }
  QByteArray resource = sealed.chopped(kSealLength);
  const QByteArray digest = QCryptographicHash::hash(resource, QCryptographicHash::Sha256).toHex();
  return digest == sealed.last(kSealLength) ? resource : QByteArray();
}

}  // namespace

std::unique_ptr<HelpFile> HelpFile::Open(std::string_view path) {
  QFile file(ToQString(path));
  if (!file.open(QIODevice::ReadOnly) || file.size() > kLargestFile) {
    return nullptr;
  }
  QByteArray resource = Unsealed(file.readAll());
  if (resource.isEmpty() || !QResource::registerResource(Data(resource), Root())) {
    return nullptr;
  }
  return std::unique_ptr<HelpFile>(new HelpFile(std::move(resource)));
}

HelpFile::HelpFile(QByteArray bytes) : bytes_(std::move(bytes)) {}

HelpFile::~HelpFile() {
  QResource::unregisterResource(Data(bytes_), Root());
}

std::optional<QByteArray> HelpFile::Read(const QString& path) const {
  QFile file(QLatin1Char(':') + Root() + QLatin1Char('/') + path);
  if (!file.open(QIODevice::ReadOnly)) {
    return std::nullopt;
  }
  return file.readAll();
}

}  // namespace korvane::mainwnd
