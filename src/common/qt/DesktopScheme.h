// Whether the desktop wants dark windows, and when it changes its mind.  Asks the desktop's settings portal
// over the session bus; without one, the palette that the desktop gave the toolkit decides, once.
// Never blocks: the portal's first answer arrives as a change.
#pragma once

#include <QObject>
#include <QString>

class QDBusVariant;

namespace korvane {

class DesktopScheme : public QObject {
  Q_OBJECT

 public:
  explicit DesktopScheme(bool darkAtStart, QObject* parent = nullptr);

  bool Dark() const { return dark_; }

 Q_SIGNALS:
  void Changed(bool dark);

 private Q_SLOTS:
  void SettingChanged(const QString& group, const QString& key, const QDBusVariant& value);

 private:
  void AskPortal();
  void Take(uint scheme);

  bool darkAtStart_;
  bool dark_;
};

}  // namespace korvane
