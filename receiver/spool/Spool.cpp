#include "receiver/spool/Spool.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <limits>
#include <stdexcept>
#include <system_error>

namespace korvane::receiver {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kExtension = ".spool";
// The number of a start stands above the number of a trap within it.  The start is counted and synced before
// its first trap, so numbers ascend even where the last files of the run before did not survive.
constexpr int kBitsPerRun = 40;
// The store's column is a signed number.
constexpr std::uint64_t kMostRuns = (std::uint64_t{1} << 23) - 1;
// As many as the listener remembers.
constexpr std::size_t kMostEarlierInforms = 50'000;
constexpr auto kTidyPause = std::chrono::seconds(1);

std::optional<std::uint64_t> HexNumber(std::string_view text) {
  std::uint64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, 16);
  if (text.size() != 16 || error != std::errc() || end != text.data() + text.size()) {
    return std::nullopt;
  }
  return number;
}

}  // namespace

Spool::Spool(const fs::path& folder, SpoolOptions options) : folder_(folder), options_(std::move(options)) {
  fs::create_directories(folder_);
  LockFolder();
  state_ = CountStart(folder_);
  ReadMark();
  FindSegments();
  // Above every number that this folder knows of, whichever of its files were lost: a number at or below the
  // one that the store is told would never be stored.
  const std::uint64_t newest = std::max(rememberedStored_, segments_.empty() ? 0 : segments_.back().Last);
  lostIdentity_ = state_.New && newest > 0;
  const std::uint64_t run = std::max<std::uint64_t>(state_.Starts, (newest >> kBitsPerRun) + 1);
  if (run > kMostRuns) {
    throw std::runtime_error(fmt::format("the spool {} has no numbers left: empty it", folder_.string()));
  }
  runStart_ = run << kBitsPerRun;
  lastNumber_ = runStart_;
  storedNumber_ = rememberedStored_;
}

std::uint64_t Spool::StartOfRun(std::uint64_t number) {
  return number >> kBitsPerRun << kBitsPerRun;
}

void Spool::LockFolder() {
  lock_ = OpenFileOrThrow(folder_ / "lock", O_RDWR | O_CREAT);
  if (flock(lock_.Number(), LOCK_EX | LOCK_NB) != 0) {
    throw std::runtime_error(fmt::format("another receiver uses the spool {}", folder_.string()));
  }
}

// Files of earlier runs are only read; a torn end of theirs is skipped when it is reached.
void Spool::FindSegments() {
  std::vector<fs::path> files;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder_)) {
    if (entry.path().extension() == kExtension && HexNumber(entry.path().stem().string())) {
      files.push_back(entry.path());
    }
  }
  std::sort(files.begin(), files.end());  // and so by number
  for (const fs::path& file : files) {
    AddSegment(file);
  }
  std::sort(segments_.begin(), segments_.end(),
            [](const Segment& a, const Segment& b) { return a.First < b.First; });
  // Copies of these informs are answered without storing them again, so they must be as safe as if the
  // earlier run had come to its sync.
  if (!segments_.empty()) {
    SyncData(OpenFileOrThrow(segments_.back().Path, O_RDONLY));
  }
}

void Spool::AddSegment(const fs::path& file) {
  Segment segment;
  segment.Path = file;
  segment.Bytes = fs::file_size(file);
  SegmentReader reader(file);
  while (const auto trap = reader.Next(segment.Bytes)) {
    // Remains of a write that failed and was done again may stand behind the last record.
    segment.First = segment.Count == 0 ? trap->Number : std::min(segment.First, trap->Number);
    segment.Last = std::max(segment.Last, trap->Number);
    ++segment.Count;
    earlierEnd_ = trap->Row.EventTime;
    // The last so many, not those of the last minutes: a clock that was set would have a copy stored again.
    if (trap->Row.InformKey != 0) {
      earlierInforms_.push_back(trap->Row.InformKey);
    }
  }
  if (earlierInforms_.size() > kMostEarlierInforms) {
    earlierInforms_.erase(earlierInforms_.begin(), earlierInforms_.end() - kMostEarlierInforms);
  }
  damaged_ += segment.Count == 0 || segment.Last > rememberedStored_ ? reader.Damages() : 0;
  if (segment.Count > 0) {
    segments_.push_back(segment);
  } else {
    fs::remove(file);
  }
}

void Spool::ReadMark() {
  mark_ = OpenFileOrThrow(folder_ / "stored", O_RDWR | O_CREAT);
  const std::string text = ReadWholeFile(folder_ / "stored");
  rememberedStored_ = HexNumber(std::string_view(text).substr(0, 16)).value_or(0);
  if (rememberedStored_ >> kBitsPerRun >= kMostRuns) {
    rememberedStored_ = 0;  // damaged
  }
}

void Spool::WriteMark() {
  // Losing it costs nothing while the store knows this spool, so it is neither synced nor checked.
  WriteAt(mark_, fmt::format("{:016x}\n", storedNumber_.load()), 0);
}

void Spool::Append(std::span<const TrapRow> rows) {
  if (rows.empty()) {
    return;
  }
  auto chunk = std::make_shared<Chunk>();
  chunk->First = lastNumber_ + 1;
  chunk->Count = rows.size();
  chunk->Last = lastNumber_ + rows.size();
  std::uint64_t number = lastNumber_;
  for (const TrapRow& row : rows) {
    AppendRecord(chunk->Bytes, ++number, row);
  }
  chunk->Bytes.shrink_to_fit();  // it may have to stay in memory
  {
    const std::lock_guard lock(mutex_);
    unwrittenBytes_ += chunk->Bytes.size();
    lastNumber_ = chunk->Last;
    unwritten_.push_back(std::move(chunk));
  }
  WriteChunks();
  const std::lock_guard lock(mutex_);
  more_.notify_all();
}

// The file is written without the lock, so that reading never waits for the disk; meanwhile the storing
// thread may have dropped the chunk because its traps are stored.
bool Spool::WriteChunks() {
  for (;;) {
    std::shared_ptr<const Chunk> chunk;
    std::uint64_t offset = 0;
    {
      const std::lock_guard lock(mutex_);
      if (unwritten_.empty()) {
        return true;
      }
      chunk = unwritten_.front();
      offset = segmentOpen_ ? segments_.back().Bytes : 0;
    }
    if (!segmentOpen_ || offset >= options_.SegmentBytes) {
      if (!OpenSegment(*chunk)) {
        return false;
      }
      offset = 0;
    }
    lastError_ = options_.Write(current_, chunk->Bytes, offset);
    if (lastError_ != 0) {
      return false;
    }
    needsSync_ = true;
    const std::lock_guard lock(mutex_);
    Segment& segment = segments_.back();
    segment.Bytes = offset + chunk->Bytes.size();
    segment.Last = chunk->Last;
    segment.Count += chunk->Count;
    segment.Written = std::chrono::steady_clock::now();
    if (!unwritten_.empty() && unwritten_.front() == chunk) {
      unwritten_.pop_front();
      unwrittenBytes_ -= chunk->Bytes.size();
    }
  }
}

bool Spool::OpenSegment(const Chunk& chunk) {
  if (segmentOpen_ && SyncCurrent() != 0) {
    return false;
  }
  Segment segment;
  segment.First = chunk.First;
  segment.Last = chunk.First - 1;
  segment.Path = folder_ / fmt::format("{:016x}{}", chunk.First, kExtension);
  FileDescriptor file = OpenFile(segment.Path, O_RDWR | O_CREAT | O_TRUNC);
  if (!file.IsOpen()) {
    lastError_ = errno;
    return false;
  }
  try {
    SyncFolder(folder_);
  } catch (const std::system_error& error) {
    lastError_ = error.code().value();
    return false;
  }
  current_ = std::move(file);
  const std::lock_guard lock(mutex_);
  segments_.push_back(segment);
  segmentOpen_ = true;
  return true;
}

int Spool::SyncCurrent() {
  if (!needsSync_) {
    return 0;
  }
  lastError_ = options_.SyncFile(current_);
  needsSync_ = lastError_ != 0;
  return lastError_;
}

bool Spool::Sync() {
  return WriteChunks() && SyncCurrent() == 0;
}

std::optional<Spool::Segment> Spool::SegmentAfter(std::uint64_t number) const {
  const std::lock_guard lock(mutex_);
  const auto found = std::find_if(segments_.begin(), segments_.end(),
                                  [&](const Segment& segment) { return segment.Last > number; });
  return found == segments_.end() ? std::nullopt : std::optional(*found);
}

// A file that can't be read any more is passed over: the store gets everything else.
bool Spool::EnterSegment(SpoolPlace& place, const Segment& segment, std::uint64_t& damaged) {
  if (place.reader_ && place.first_ == segment.First) {
    return true;
  }
  try {
    place.reader_.emplace(segment.Path);
  } catch (const std::system_error& error) {
    if (error.code() != std::errc::no_such_file_or_directory) {
      throw;
    }
    ++damaged;
    return false;
  }
  place.first_ = segment.First;
  return true;
}

std::vector<SpooledTrap> Spool::Read(std::uint64_t after, std::size_t maxRows, std::size_t maxBytes) {
  std::uint64_t damaged = 0;
  std::vector<SpooledTrap> traps = ReadFrom(place_, after, maxRows, maxBytes, damaged);
  damaged_ += damaged;
  return traps;
}

std::vector<SpooledTrap> Spool::ReadAgain(SpoolPlace& place, std::uint64_t after, std::size_t maxRows,
                                          std::size_t maxBytes) {
  std::uint64_t counted = 0;  // by Read
  return ReadFrom(place, after, maxRows, maxBytes, counted);
}

std::vector<SpooledTrap> Spool::ReadFrom(SpoolPlace& place, std::uint64_t after, std::size_t maxRows,
                                         std::size_t maxBytes, std::uint64_t& damaged) {
  if (after != place.upTo_) {
    place.reader_.reset();
  }
  place.upTo_ = after;
  std::vector<SpooledTrap> traps;
  std::size_t bytes = 0;
  std::optional<Segment> segment;
  while (traps.size() < maxRows && bytes < maxBytes) {
    if (!segment || place.upTo_ >= segment->Last) {
      segment = SegmentAfter(place.upTo_);
      if (!segment) {
        break;
      }
    }
    std::optional<SpooledTrap> next;
    if (EnterSegment(place, *segment, damaged)) {
      const std::uint64_t damagesBefore = place.reader_->Damages();
      next = place.reader_->Next(segment->Bytes);
      // Those of earlier runs were counted when the files were found.
      damaged += segment->First > runStart_ ? place.reader_->Damages() - damagesBefore : 0;
    }
    if (!next) {
      // The records this file should still hold are unreadable; what follows is elsewhere.
      place.reader_.reset();
      place.upTo_ = segment->Last;
    } else if (next->Number > place.upTo_) {
      place.upTo_ = next->Number;
      bytes += BytesOf(next->Row);
      traps.push_back(std::move(*next));
    }
  }
  if (traps.empty()) {
    ReadFromMemory(place.upTo_, maxRows, traps);
    place.upTo_ = traps.empty() ? place.upTo_ : traps.back().Number;
  }
  return traps;
}

void Spool::ReadFromMemory(std::uint64_t after, std::size_t maxRows, std::vector<SpooledTrap>& traps) const {
  std::vector<std::shared_ptr<const Chunk>> chunks;
  {
    const std::lock_guard lock(mutex_);
    if (!segments_.empty() && segments_.back().Last > after) {
      return;  // written meanwhile: what is in memory now comes later
    }
    for (const auto& chunk : unwritten_) {
      if (chunk->Last > after && chunks.size() < maxRows) {
        chunks.push_back(chunk);
      }
    }
  }
  SpooledTrap trap;
  for (const auto& chunk : chunks) {
    std::size_t position = 0;
    while (traps.size() < maxRows && ReadRecord(chunk->Bytes, position, trap) == RecordRead::Found) {
      if (trap.Number > after) {
        traps.push_back(std::move(trap));
      }
    }
  }
}

void Spool::MarkStored(std::uint64_t number) {
  storedNumber_ = number;
  {
    const std::lock_guard lock(mutex_);
    while (!unwritten_.empty() && unwritten_.front()->Last <= number) {
      unwrittenBytes_ -= unwritten_.front()->Bytes.size();
      unwritten_.pop_front();
    }
  }
  WriteMark();
  Tidy();
}

void Spool::Tidy() {
  const auto now = std::chrono::steady_clock::now();
  if (now - lastTidy_ < kTidyPause && options_.KeptTime.count() > 0) {
    return;
  }
  lastTidy_ = now;
  const std::lock_guard lock(mutex_);
  std::uint64_t kept = 0;
  // The last file may be the one that is written to, so it stays.
  for (std::size_t i = segments_.size() - std::min<std::size_t>(1, segments_.size()); i-- > 0;) {
    const Segment segment = segments_[i];
    if (segment.Last > storedNumber_) {
      continue;
    }
    kept += segment.Bytes;
    const bool looked = segment.Last <= lookedNumber_;
    if (kept > (looked ? options_.KeptBytes : options_.UnlookedBytes) ||
        (looked && now - segment.Written > options_.KeptTime)) {
      std::error_code error;
      fs::remove(segment.Path, error);
      segments_.erase(segments_.begin() + static_cast<std::ptrdiff_t>(i));
    }
  }
}

void Spool::WaitForMore(std::uint64_t after, std::uint64_t count, std::chrono::milliseconds longest) {
  std::unique_lock lock(mutex_);
  const std::uint64_t wakes = wakes_;
  const auto enough = [&] {
    // Within one run numbers are consecutive, so a difference is a count.
    return wakes_ != wakes || lastNumber_ >= std::max(after, runStart_) + count ||
           (after < runStart_ && std::any_of(segments_.begin(), segments_.end(), [&](const Segment& segment) {
              return segment.Last > after && segment.Last <= runStart_;
            }));
  };
  more_.wait_for(lock, longest, enough);
}

void Spool::WaitForWake(std::chrono::milliseconds longest) {
  std::unique_lock lock(mutex_);
  more_.wait_for(lock, longest, [this, wakes = wakes_] { return wakes_ != wakes; });
}

void Spool::Wake() {
  const std::lock_guard lock(mutex_);
  ++wakes_;
  more_.notify_all();
}

std::uint64_t Spool::WaitingAfter(std::uint64_t number) const {
  const std::lock_guard lock(mutex_);
  std::uint64_t waiting = 0;
  const auto add = [&](const Stretch& stretch) {
    if (stretch.Last > number) {
      waiting += std::min(stretch.Count, stretch.Last - number);
    }
  };
  std::for_each(segments_.begin(), segments_.end(), add);
  for (const auto& chunk : unwritten_) {
    add(*chunk);
  }
  return waiting;
}

}  // namespace korvane::receiver
