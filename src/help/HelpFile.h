// The help file: the guide's pages and pictures as one binary resource of the toolkit, sealed at its end with
// the SHA-256 of what stands before, as sixty-four hexadecimal digits.  The toolkit trusts what it is given,
// so nothing of a file whose seal is broken reaches it.  Held in memory while open.
// User-interface thread; one open at a time.
#pragma once

#include <QByteArray>
#include <QString>
#include <memory>
#include <optional>
#include <string_view>

namespace korvane::mainwnd {

inline constexpr std::string_view kHelpFile = "kvw.hlp";

class HelpFile {
 public:
  // Null when the file is missing, unreadable, too large, cut off or damaged.
  static std::unique_ptr<HelpFile> Open(std::string_view path);
  ~HelpFile();
  HelpFile(const HelpFile&) = delete;
  HelpFile& operator=(const HelpFile&) = delete;

  // What lies at a path such as "guide/start.md"; nothing when there is none.
  std::optional<QByteArray> Read(const QString& path) const;

 private:
  explicit HelpFile(QByteArray bytes);

  QByteArray bytes_;
};

}  // namespace korvane::mainwnd
