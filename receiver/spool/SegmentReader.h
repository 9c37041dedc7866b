// Reads the records of one spool file in order, up to an end that grows while the file is written.  Damaged
// bytes are skipped to the next whole record.  Used by one thread.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "receiver/spool/Files.h"
#include "receiver/spool/SpoolRecord.h"

namespace korvane::receiver {

class SegmentReader {
 public:
  // Throws std::system_error when the file can't be opened.
  explicit SegmentReader(const std::filesystem::path& file);

  // The next record before the offset, which is an end of a record or of the file; nothing when there is
  // none.  Throws std::system_error when the file can't be read.
  std::optional<SpooledTrap> Next(std::uint64_t end);

  // How many places with unreadable bytes were skipped so far.
  std::uint64_t Damages() const { return damages_; }

 private:
  bool ReadMore(std::uint64_t end);

  std::filesystem::path path_;
  FileDescriptor file_;
  std::string bytes_;         // what was read and not yet used up
  std::size_t position_ = 0;  // in bytes_
  std::uint64_t offset_ = 0;  // in the file, of the end of bytes_
  std::uint64_t damages_ = 0;
};

}  // namespace korvane::receiver
