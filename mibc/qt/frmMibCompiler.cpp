#include "frmMibCompiler.h"

#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QMimeData>
#include <QStandardPaths>
#include <QUrl>

#include "common/qt/KorvaneStyle.h"
#include "common/qt/ListHabits.h"
#include "common/qt/QtText.h"
#include "ui_frmMibCompiler.h"

namespace korvane::mibc {
namespace {

std::filesystem::path PathOf(const QString& name) {
  return QFile::encodeName(name).toStdString();
}

}  // namespace

frmMibCompiler::frmMibCompiler(RunSettings settings, QWidget* parent)
    : QDialog(parent),
      ui_(std::make_unique<Ui::frmMibCompiler>()),
      run_(std::move(settings)),
      folder_(QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation)) {
  ui_->setupUi(this);
  setWindowFlag(Qt::WindowMinMaxButtonsHint);
  setAcceptDrops(true);
  ui_->lvModules->setModel(&modules_);
  StyleTable(*ui_->lvModules);
  ui_->lvModules->setFrameShape(QFrame::StyledPanel);
  SetEmptyText(*ui_->lvModules, tr("Choose MIB files or a folder, or drop them here."));
  CopyRowsByShortcut(*ui_->lvModules);
  QHeaderView* header = ui_->lvModules->horizontalHeader();
  const int unit = fontMetrics().averageCharWidth();
  header->resizeSection(ModulesModel::ModuleColumn, 30 * unit);
  header->resizeSection(ModulesModel::ResultColumn, 44 * unit);
  header->setStretchLastSection(true);
  ui_->lvModules->setSelectionMode(QAbstractItemView::SingleSelection);
  ui_->split->setStretchFactor(0, 3);
  ui_->split->setStretchFactor(1, 2);
  resize(110 * unit, 32 * fontMetrics().height());

  connect(ui_->cmdFiles, &QPushButton::clicked, this, &frmMibCompiler::ChooseFiles);
  connect(ui_->cmdFolder, &QPushButton::clicked, this, &frmMibCompiler::ChooseFolder);
  connect(ui_->cmdStop, &QPushButton::clicked, this, [this] { run_.Stop(); });
  connect(ui_->cmdClose, &QPushButton::clicked, this, &QDialog::reject);
  connect(ui_->lvModules->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
          [this] { ShowDetails(); });
  connect(&run_, &CompilerRun::Begun, this, [this](const QString& file, int number, int count) {
    ui_->progress->setRange(0, count);
    ui_->progress->setValue(number);
    ui_->lblState->setText(tr("%1 of %2: %3").arg(number + 1).arg(count).arg(file));
  });
  connect(&run_, &CompilerRun::Compiled, this,
          [this](const std::shared_ptr<const CompiledFile>& file) { modules_.Add(*file); });
  connect(&run_, &CompilerRun::Ended, this, &frmMibCompiler::ShowEnd);
  ShowRunning(false);
  ui_->cmdFiles->setFocus();
}

frmMibCompiler::~frmMibCompiler() = default;

void frmMibCompiler::Compile(const std::vector<std::filesystem::path>& chosen) {
  if (run_.Running() || chosen.empty()) {
    return;
  }
  modules_.Clear();
  ShowDetails();
  ui_->progress->setRange(0, 0);
  ui_->lblState->setText(tr("Looking through the folder"));
  ShowRunning(true);
  run_.Start(chosen);
}

void frmMibCompiler::dragEnterEvent(QDragEnterEvent* event) {
  if (event->mimeData()->hasUrls() && !run_.Running()) {
    event->acceptProposedAction();
  }
}

void frmMibCompiler::dropEvent(QDropEvent* event) {
  std::vector<std::filesystem::path> chosen;
  for (const QUrl& url : event->mimeData()->urls()) {
    if (url.isLocalFile()) {
      chosen.push_back(PathOf(url.toLocalFile()));
    }
  }
  event->acceptProposedAction();
  Compile(chosen);
}

void frmMibCompiler::ChooseFiles() {
  std::vector<std::filesystem::path> chosen;
  // Makers end the names of MIB files as they like, so none is hidden.
  for (const QString& name : QFileDialog::getOpenFileNames(this, tr("Choose MIB Files"), folder_)) {
    chosen.push_back(PathOf(name));
    folder_ = QFileInfo(name).path();
  }
  Compile(chosen);
}

void frmMibCompiler::ChooseFolder() {
  const QString name = QFileDialog::getExistingDirectory(this, tr("Choose a Folder of MIB Files"), folder_);
  if (!name.isEmpty()) {
    folder_ = name;
    Compile({PathOf(name)});
  }
}

void frmMibCompiler::ShowEnd(const QString& problem, bool stopped) {
  ShowRunning(false);
  const QString summary = stopped ? tr("Stopped. %1").arg(modules_.Summary()) : modules_.Summary();
  ui_->lblState->setText(problem.isEmpty() ? summary : problem);
  ui_->lblState->setToolTip(problem);
  const int refused = modules_.FirstRefused();
  if (modules_.rowCount() > 0) {
    ui_->lvModules->setCurrentIndex(modules_.index(refused >= 0 ? refused : 0, 0));
  }
}

void frmMibCompiler::ShowRunning(bool running) {
  ui_->cmdFiles->setEnabled(!running);
  ui_->cmdFolder->setEnabled(!running);
  ui_->cmdStop->setEnabled(running);
  ui_->progress->setVisible(running);
  if (!running) {
    ui_->cmdClose->setFocus();
  }
}

void frmMibCompiler::ShowDetails() {
  ui_->txtDetails->setPlainText(modules_.Details(ui_->lvModules->currentIndex().row()));
}

}  // namespace korvane::mibc
