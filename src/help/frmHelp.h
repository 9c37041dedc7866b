// The help window: the user guide with its contents, a search over its pages, and the page that is read.
// A window of its own beside the frame, one at most.  The help file is read when the window opens and let go
// when it closes.  Place, size of the text and width of the contents are kept per user.
// User-interface thread.
#pragma once

#include <QWidget>
#include <memory>
#include <optional>
#include <string_view>

#include "help/HelpBook.h"
#include "platform/Platform.h"

class QListWidgetItem;
class QTreeWidgetItem;

namespace korvane::help {

class HelpHitDelegate;
namespace Ui {
class frmHelp;
}

class frmHelp : public QWidget {
  Q_OBJECT

 public:
  explicit frmHelp(platform::SettingsStore& settings, QWidget* parent = nullptr);
  ~frmHelp() override;

  // Shows the contents of the help file at this path, in front; a window that is open already keeps its page.
  // False when the file can't be read or holds no guide; nothing is shown then.
  bool ShowContents(std::string_view path);

 protected:
  void closeEvent(QCloseEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void SetUpKeys();
  void LetGo();

  void FillContents();
  void Choose(const QTreeWidgetItem* entry);
  void FollowPage(const QString& page);

  void Search(const QString& text);
  void ShowHit(const QListWidgetItem* hit);

  void LeaveReadable(QObject& opening);
  void OpenFind();
  void CloseFind();
  void Find(bool backwards, bool again);

  // Escape: the find bar, then the search, then the guide.
  void CloseInnermost();

  void RestorePlace();
  void PlaceBesideActiveWindow();
  void FitContents();
  void SavePlace();

  platform::SettingsStore& settings_;
  std::unique_ptr<Ui::frmHelp> ui_;
  HelpHitDelegate* hits_;
  std::optional<HelpBook> book_;
  int contentsWidth_;       // as the operator wants it; a narrow window gives less
  bool following_ = false;  // the contents follow the page, not the other way round
};

}  // namespace korvane::help
