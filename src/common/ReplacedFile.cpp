#include "common/ReplacedFile.h"

#include <cerrno>
#include <random>
#include <system_error>

#include <fmt/format.h>

#include "platform/Files.h"

namespace korvane {
namespace {

constexpr std::size_t kBufferBytes = std::size_t{256} * 1024;
constexpr int kNames = 16;

// Its length does not depend on the target's, which may be as long as the file system takes.
std::string TemporaryName() {
  std::random_device random;
  return fmt::format(".korvane-{:08x}{:08x}.part", random(), random());
}

// 0, or why the target can't be replaced, as far as can be told before anything is written.
int Refusal(const std::filesystem::path& target, FileUse use) {
  std::error_code ignored;
  if (!target.has_filename() || std::filesystem::is_directory(target, ignored)) {
    return EISDIR;
  }
  switch (std::filesystem::symlink_status(target, ignored).type()) {
    case std::filesystem::file_type::regular:
      break;
    case std::filesystem::file_type::character:
    case std::filesystem::file_type::block:
    case std::filesystem::file_type::fifo:
    case std::filesystem::file_type::socket:
      return ENOTSUP;  // to rename over a device would take it away
    default:
      return 0;
  }
  if (use == FileUse::Scratch) {
    return 0;
  }
  // Renaming asks for rights on the folder only; a file that was write-protected is meant to stay.
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> probe(
      std::fopen(platform::TextOf(target).c_str(), "r+b"), std::fclose);
  return probe == nullptr ? errno : 0;
}

}  // namespace

ReplacedFile::ReplacedFile(std::string_view path, FileUse use)
    : use_(use), target_(platform::PathOf(path)), buffer_(new char[kBufferBytes]) {
  if (path.find('\0') != std::string_view::npos) {
    Fail(EINVAL);  // the system would see the path end there
  } else if (const int reason = Refusal(target_, use_); reason != 0) {
    Fail(reason);
  } else {
    Open();
  }
}

ReplacedFile::~ReplacedFile() {
  Discard();
}

void ReplacedFile::Open() {
  for (int attempt = 0; attempt < kNames && file_ == nullptr; ++attempt) {
    temporary_ = target_.parent_path() / TemporaryName();
    file_ = platform::CreateFileLike(temporary_, target_);
    if (file_ == nullptr && errno != EEXIST) {
      break;
    }
  }
  if (file_ == nullptr) {
    const int reason = errno;
    temporary_.clear();
    Fail(reason);
    return;
  }
  std::setvbuf(file_, buffer_.get(), _IOFBF, kBufferBytes);
}

bool ReplacedFile::Write(std::string_view bytes) {
  if (file_ == nullptr) {
    return false;
  }
  return std::fwrite(bytes.data(), 1, bytes.size(), file_) == bytes.size() || Fail(errno);
}

bool ReplacedFile::Commit() {
  if (file_ == nullptr) {
    return false;
  }
  const bool onDisk = use_ == FileUse::Document;
  if (std::fflush(file_) != 0 || (onDisk && !platform::SyncFile(file_))) {
    return Fail(errno);
  }
  std::FILE* const file = file_;
  file_ = nullptr;
  if (std::fclose(file) != 0) {
    return Fail(errno);
  }
  std::error_code error;
  std::filesystem::rename(temporary_, target_, error);
  if (error) {
    const int reason = use_ == FileUse::Scratch ? Rewrite() : error.value();
    if (reason != 0) {
      return Fail(reason);
    }
  }
  temporary_.clear();  // Rewrite has removed it
  if (onDisk) {
    platform::SyncFolder(target_.parent_path());  // the file is there and whole, whatever this answers
  }
  return true;
}

// The finished file's contents into the target as it stands; 0, or why that failed.
int ReplacedFile::Rewrite() {
  using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;
  const File from(std::fopen(platform::TextOf(temporary_).c_str(), "rb"), std::fclose);
  File to(from == nullptr ? nullptr : platform::OpenSharedToRewrite(target_), std::fclose);
  if (to == nullptr) {
    return errno;
  }
  bool whole = true;
  for (std::size_t got = kBufferBytes; whole && got == kBufferBytes;) {
    got = std::fread(buffer_.get(), 1, kBufferBytes, from.get());
    whole = std::ferror(from.get()) == 0 && std::fwrite(buffer_.get(), 1, got, to.get()) == got;
  }
  if (!whole || std::fclose(to.release()) != 0) {
    return errno;
  }
  std::error_code ignored;
  std::filesystem::remove(temporary_, ignored);
  return 0;
}

bool ReplacedFile::Fail(int errorNumber) {
  error_ = std::generic_category().message(errorNumber);
  Discard();
  return false;
}

// The space goes back to the disk at once, not when the message about it was read.
void ReplacedFile::Discard() {
  if (file_ != nullptr) {
    std::fclose(file_);
    file_ = nullptr;
  }
  if (!temporary_.empty()) {
    std::error_code ignored;
    std::filesystem::remove(temporary_, ignored);
    temporary_.clear();
  }
}

}  // namespace korvane
