// The MIB compiler's window: takes files or a folder, by its buttons or dropped on it, and lists what became
// of each module.  One object and process; user-interface thread.
#pragma once

#include <QDialog>
#include <filesystem>
#include <memory>
#include <vector>

#include "CompilerRun.h"
#include "ModulesModel.h"

namespace Ui {
class frmMibCompiler;
}

namespace korvane::mibc {

class frmMibCompiler : public QDialog {
  Q_OBJECT

 public:
  explicit frmMibCompiler(RunSettings settings, QWidget* parent = nullptr);
  ~frmMibCompiler() override;

  // What the buttons do with what was chosen; nothing while a run goes on.
  void Compile(const std::vector<std::filesystem::path>& chosen);

 protected:
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dropEvent(QDropEvent* event) override;

 private:
  void ChooseFiles();
  void ChooseFolder();
  void ShowEnd(const QString& problem, bool stopped);
  void ShowRunning(bool running);
  void ShowDetails();

  std::unique_ptr<Ui::frmMibCompiler> ui_;
  ModulesModel modules_;
  CompilerRun run_;
  QString folder_;  // where the dialogs begin: the user's documents, then where the last files were
};

}  // namespace korvane::mibc
