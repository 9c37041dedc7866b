#include "Quarantine.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "Files.h"

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

void Quarantine::Add(const SpooledTrap& trap, std::string_view reason) {
  const FileDescriptor file = OpenFileOrThrow(file_, O_WRONLY | O_CREAT);
  const off_t end = lseek(file.Number(), 0, SEEK_END);
  const int error = WriteAt(file, QuarantineLine(trap, reason), static_cast<std::uint64_t>(end));
  if (error != 0 || fsync(file.Number()) != 0) {
    throw std::system_error(error != 0 ? error : errno, std::generic_category(), file_.string());
  }
}

}  // namespace korvane::receiver
