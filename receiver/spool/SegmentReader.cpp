#include "receiver/spool/SegmentReader.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace korvane::receiver {
namespace {

constexpr std::size_t kReadBytes = std::size_t{256} << 10;

}  // namespace

SegmentReader::SegmentReader(const std::filesystem::path& file)
    : path_(file), file_(OpenFileOrThrow(file, O_RDONLY)) {}

std::optional<SpooledTrap> SegmentReader::Next(std::uint64_t end) {
  SpooledTrap trap;
  bool damaged = false;
  for (;;) {
    const RecordRead result = ReadRecord(bytes_, position_, trap);
    if (result == RecordRead::Found) {
      return trap;
    }
    if (result == RecordRead::Incomplete) {
      if (ReadMore(end)) {
        continue;
      }
      if (position_ == bytes_.size()) {
        return std::nullopt;
      }
      // Records end where the file does, so this one is cut off or its length is wrong; another may follow.
      ++position_;
    }
    damages_ += damaged ? 0 : 1;
    damaged = true;
  }
}

bool SegmentReader::ReadMore(std::uint64_t end) {
  if (offset_ >= end) {
    return false;
  }
  bytes_.erase(0, position_);
  position_ = 0;
  const std::size_t kept = bytes_.size();
  const std::size_t wanted = static_cast<std::size_t>(std::min<std::uint64_t>(kReadBytes, end - offset_));
  bytes_.resize(kept + wanted);
  const std::ptrdiff_t got = ReadAt(file_, bytes_.data() + kept, wanted, offset_);
  bytes_.resize(kept + static_cast<std::size_t>(std::max<std::ptrdiff_t>(got, 0)));
  if (got < 0) {
    throw std::system_error(errno, std::generic_category(), path_.string());
  }
  offset_ += static_cast<std::uint64_t>(got);
  return got > 0;
}

}  // namespace korvane::receiver
