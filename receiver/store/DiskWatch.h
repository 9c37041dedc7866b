// Watches the disks that the receiver fills: the spool's, and that of an embedded store.  Says so in the log
// while there is time to do something about it, and gives the figure that the consoles show.  Used from the
// writing thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

#include "receiver/ServiceLog.h"

namespace korvane::receiver {

// Per cent of the file system that are in use, as the system's tools count it: of what others than root may
// use, rounded up.  0 when it can't be told.
std::int32_t UsedOfDisk(const std::filesystem::path& path);

class DiskWatch {
 public:
  using Measure = std::function<std::int32_t(const std::filesystem::path& path)>;

  DiskWatch(std::filesystem::path spool, ServiceLog& log, Measure measure = UsedOfDisk);

  // store: where its files are; empty for a server, or while it is not open.  The fuller one of the two, in
  // per cent; 0 when neither can be told.
  std::int32_t Look(const std::filesystem::path& store);

 private:
  struct Disk {
    std::string Name;
    std::string Advice;
    std::int32_t Told = 0;  // the last figure in the log; 0: none since there was room
    std::chrono::steady_clock::time_point ToldAt;
  };
  std::int32_t LookAt(Disk& disk, const std::filesystem::path& path);

  const std::filesystem::path spoolPath_;
  ServiceLog& log_;
  const Measure measure_;
  Disk spool_;
  Disk store_;
};

}  // namespace korvane::receiver
