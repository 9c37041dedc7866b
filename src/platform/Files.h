// What files in folders that others may write, and files that others must not have written, ask of the
// machine beyond the standard library.  linux/ and windows/ implement it.  Safe from any thread; never
// throws, errno says why something failed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace korvane::platform {

// A path of its text in UTF-8, and back.  The standard library's own conversions take a text for one in the
// system's code page on some systems.
inline std::filesystem::path PathOf(std::string_view utf8) {
  return {std::u8string(utf8.begin(), utf8.end())};
}
inline std::string TextOf(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return {text.begin(), text.end()};
}

// Tells a file from one that was put in its place, also by a copy of it.
struct FileIdentity {
  std::uint64_t Volume = 0;
  std::uint64_t Number = 0;

  friend bool operator==(const FileIdentity&, const FileIdentity&) = default;
};
std::optional<FileIdentity> IdentityOfFile(const std::filesystem::path& path);  // nothing: it is not there

// A group that this user can't give a file to would hand its rights to a group of strangers.  Then the group
// gets what everyone has, or the file is not made where that is less or more than the group had.
enum class LostGroup { GetsWhatEveryoneHas, Refuses };

// Creates a file for writing, in binary.  It must not exist yet, not even as a link.  Where target is a
// regular file, whoever may use that one may use the new one and nobody else, from its first moment on;
// otherwise it gets the rights of any new file.  An owner that this user can't give it to is replaced by this
// user, as with any file that is rewritten.  Null: not created.
std::FILE* CreateFileLike(const std::filesystem::path& path, const std::filesystem::path& target,
                          LostGroup lostGroup = LostGroup::GetsWhatEveryoneHas);

// For a file that several users write by turns, in binary: at its end (made when missing, for owner and
// group), or anew from its beginning (it must be there).  A name that another user may have laid out is not
// followed: null for a link, for a file with a second name, and for what is no regular file.
std::FILE* OpenSharedToAppend(const std::filesystem::path& path);
std::FILE* OpenSharedToRewrite(const std::filesystem::path& path);

// The bytes of a regular file that nobody but the administrator and this user can change or exchange; nothing
// for any other, for one that can't be read, and for a larger one.
std::optional<std::string> ReadTrustedFile(const std::filesystem::path& path, std::size_t mostBytes);

// On disk when the call returns: a file's flushed contents, the names in a folder.
bool SyncFile(std::FILE* file);
bool SyncFolder(const std::filesystem::path& folder);

}  // namespace korvane::platform
