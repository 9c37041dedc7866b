#include "receiver/spool/Quarantine.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <tuple>

#include "receiver/spool/Files.h"

namespace korvane::receiver {
namespace {

std::string Escaped(std::string_view text) {
  std::string escaped;
  for (const char c : text) {
    if (c == '"' || c == '\\') {
      escaped += '\\';
      escaped += c;
    } else if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) {
      escaped += fmt::format("\\x{:02X}", static_cast<unsigned char>(c));
    } else {
      escaped += c;
    }
  }
  return escaped;
}

}  // namespace

std::string QuarantineLine(const SpooledTrap& trap, std::string_view reason) {
  const TrapRow& row = trap.Row;
  return fmt::format(
      "number={} EventTime={} Source=\"{}\" EnterpriseOid=\"{}\" GenericTrap={} SpecificTrap={} "
      "reason=\"{}\" "
      "EventDescription=\"{}\" Event_ExtDescr=\"{}\"\n",
      trap.Number, row.EventTime, Escaped(row.Source), Escaped(row.EnterpriseOid), row.GenericTrap,
      row.SpecificTrap, Escaped(reason), Escaped(row.EventDescription), Escaped(row.Event_ExtDescr));
}

bool Quarantine::Add(const SpooledTrap& trap, std::string_view reason) {
  const FileDescriptor file = OpenFileOrThrow(file_, O_WRONLY | O_CREAT);
  const std::string line = QuarantineLine(trap, reason);
  start_ = static_cast<std::uint64_t>(lseek(file.Number(), 0, SEEK_END));
  end_ = start_;
  if (start_ + line.size() > mostBytes_) {
    return false;
  }
  int error = WriteAt(file, line, start_);
  end_ = start_ + line.size();
  if (error == 0 && fsync(file.Number()) != 0) {
    error = errno;
  }
  if (error != 0) {
    TakeBack();  // a part of the line, or one that is written again
    throw std::system_error(error, std::generic_category(), file_.string());
  }
  return true;
}

void Quarantine::TakeBack() noexcept {
  const FileDescriptor file = OpenFile(file_, O_WRONLY);
  struct stat now {};
  // Nothing when the file was moved away or changed meanwhile.
  if (start_ < end_ && file.IsOpen() && fstat(file.Number(), &now) == 0 &&
      static_cast<std::uint64_t>(now.st_size) > start_ && static_cast<std::uint64_t>(now.st_size) <= end_) {
    std::ignore = ftruncate(file.Number(), static_cast<off_t>(start_));
  }
  end_ = start_;
}

}  // namespace korvane::receiver
