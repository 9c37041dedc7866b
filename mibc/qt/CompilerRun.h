// Compiles files on a thread of its own, with a connection of its own to the trap store, and tells the window
// of each when it is done.  Made and used on the user-interface thread; the signals arrive there.
#pragma once

#include <QMetaType>
#include <QObject>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "Compiler.h"
#include "MibReader.h"

namespace korvane::mibc {

struct RunSettings {
  ReaderOptions Reader;
  std::string DataSource;
};

class CompilerRun : public QObject {
  Q_OBJECT

 public:
  explicit CompilerRun(RunSettings settings, QObject* parent = nullptr);
  ~CompilerRun() override;  // stops and waits; the file in hand is given up

  // Not while one runs.
  void Start(std::vector<std::filesystem::path> given);
  void Stop();
  bool Running() const { return running_; }

 Q_SIGNALS:
  void Begun(const QString& file, int number, int count);  // number: from 0
  void Compiled(const std::shared_ptr<const korvane::mibc::CompiledFile>& file);
  // problem: why nothing could be done at all; else empty.
  void Ended(const QString& problem, bool stopped);

 private:
  void Work(const std::stop_token& stop, const std::vector<std::filesystem::path>& given);
  void CompileAll(const std::stop_token& stop, const std::vector<std::filesystem::path>& given);

  RunSettings settings_;
  bool running_ = false;
  std::jthread thread_;
};

}  // namespace korvane::mibc

Q_DECLARE_METATYPE(std::shared_ptr<const korvane::mibc::CompiledFile>)
