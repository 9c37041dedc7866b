// The registry as one text file shared by the console and the receiver service.  A write replaces the file
// as a whole under a lock file of its own: a lock on the file itself would be lost when it is replaced.
// A reader needs no lock, it sees the file before or after.  Safe from several threads and processes.
#pragma once

#include <string>

#include "platform/Platform.h"

namespace korvane::platform {

class RegistryFile : public RegistryStore {
 public:
  RegistryFile(std::string path, int lockWaitMilliseconds);

  // The rights asked for must be the user's on the file: those of a mask with query rights to read it, of
  // one with set or create rights to write it.
  std::optional<RegistryData> QueryValue(RegistryHive hive, std::string_view keyPath,
                                         std::string_view valueName, std::uint32_t accessMask,
                                         std::size_t maxBytes) override;
  // Also needs the right to make files in the file's folder.  Keeps owner, group and mode of the file.
  bool SetDword(RegistryHive hive, std::string_view keyPath, std::string_view valueName, std::uint32_t value,
                std::uint32_t accessMask) override;

 private:
  std::string path_;
  int lockWaitMilliseconds_;
};

}  // namespace korvane::platform
