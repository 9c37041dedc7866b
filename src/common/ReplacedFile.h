// A file that is written whole or not at all: everything goes into a temporary file in the same folder, which
// takes the target's name once it is complete and on disk.  Until then, and whenever anything fails, a file
// of that name stays what it was.  A target that is a symbolic link is replaced itself; what it points to is
// left alone.  A scratch file of another user that may be written but not replaced, as in a sticky folder, is
// the exception: it is written anew where it is.  Any thread, one at a time; nothing here throws but for want
// of memory.
#pragma once

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

namespace korvane {

enum class FileUse {
  Document,  // a user's: write protection is respected, and it is on disk when Commit returns
  Scratch,   // this program's own, made anew at will: it gives way wherever the folder may be written, and
             // nobody waits for the disk, which takes many times as long as writing
};

class ReplacedFile {
 public:
  // Opens at once.  A target that is there keeps its permissions; one that is no regular file, or a document
  // that this user may not write, is refused.
  explicit ReplacedFile(std::string_view path, FileUse use = FileUse::Document);
  ~ReplacedFile();  // removes what was not committed
  ReplacedFile(const ReplacedFile&) = delete;
  ReplacedFile& operator=(const ReplacedFile&) = delete;

  // False once anything failed, from opening on; the calls after that do nothing.  Buffered: a full disk
  // may show only in a later call.
  bool Write(std::string_view bytes);
  bool Commit();  // at most once, after the last Write

  // Why it failed, in the system's words ("No space left on device"); empty while nothing has.
  const std::string& Error() const { return error_; }

 private:
  void Open();
  int Rewrite();
  bool Fail(int errorNumber);
  void Discard();

  FileUse use_;
  std::filesystem::path target_;
  std::filesystem::path temporary_;  // empty: there is none (any more)
  std::unique_ptr<char[]> buffer_;
  std::FILE* file_ = nullptr;
  std::string error_;
};

}  // namespace korvane
