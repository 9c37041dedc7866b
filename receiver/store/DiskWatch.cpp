#include "receiver/store/DiskWatch.h"

#include <fmt/format.h>
#include <sys/statvfs.h>

#include <algorithm>
#include <utility>

namespace korvane::receiver {
namespace {

using std::chrono::steady_clock;

constexpr std::int32_t kNearlyFull = 90;
constexpr std::int32_t kRoomAgain = 87;  // so that it is not said again and again at the bound
constexpr std::int32_t kMuchFuller = 3;
constexpr auto kRemindOfDisk = std::chrono::hours(6);

}  // namespace

std::int32_t UsedOfDisk(const std::filesystem::path& path) {
  struct statvfs found {};
  if (statvfs(path.c_str(), &found) != 0) {
    return 0;
  }
  const auto used = static_cast<std::uint64_t>(found.f_blocks - found.f_bfree);
  const std::uint64_t usable = used + found.f_bavail;
  return usable == 0 ? 0 : static_cast<std::int32_t>((used * 100 + usable - 1) / usable);
}

DiskWatch::DiskWatch(std::filesystem::path spool, ServiceLog& log, Measure measure)
    : spoolPath_(std::move(spool)),
      log_(log),
      measure_(std::move(measure)),
      spool_{.Name = "spool",
             .Advice =
                 "Make room, or move the spool to a larger disk (KVSpoolDir): once it is full, traps "
                 "that wait for the store are kept in little memory only, and then dropped",
             .ToldAt = {}},
      store_{.Name = "trap store",
             .Advice =
                 "Make room, let traps be deleted earlier (\"Purge all traps older than\" in the "
                 "console), or move the store to a larger disk: once it is full, nothing is stored and "
                 "traps wait in the spool.  What is deleted makes room for new traps in the same file",
             .ToldAt = {}} {}

std::int32_t DiskWatch::Look(const std::filesystem::path& store) {
  const std::int32_t spool = LookAt(spool_, spoolPath_);
  return store.empty() ? spool : std::max(spool, LookAt(store_, store));
}

std::int32_t DiskWatch::LookAt(Disk& disk, const std::filesystem::path& path) {
  const std::int32_t used = measure_(path);
  const auto now = steady_clock::now();
  if (used >= kNearlyFull &&
      (disk.Told == 0 || used >= disk.Told + kMuchFuller || now - disk.ToldAt >= kRemindOfDisk)) {
    disk.Told = used;
    disk.ToldAt = now;
    log_.Warning(fmt::format("the disk of the {} ({}) is {} % full.  {}", disk.Name, path.string(), used,
                             disk.Advice));
  } else if (used > 0 && used < kRoomAgain && std::exchange(disk.Told, 0) > 0) {
    log_.Info(fmt::format("the disk of the {} has room again: {} % are in use", disk.Name, used));
  }
  return used;
}

}  // namespace korvane::receiver
