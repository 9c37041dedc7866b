#include "platform/Files.h"

#include <fstream>
#include <system_error>
#include <utility>

#include "platform/TrustedPath.h"

namespace korvane::platform {

std::optional<std::string> ReadTrustedFile(const std::filesystem::path& path, std::size_t mostBytes) {
  std::error_code error;
  if (!OnlyTrustedHandsCanChange(path) || !std::filesystem::is_regular_file(path, error)) {
    return std::nullopt;
  }
  std::ifstream file(path, std::ios::binary);
  std::string bytes(mostBytes + 1, '\0');
  file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  bytes.resize(static_cast<std::size_t>(file.gcount()));
  const bool whole = file.eof() && bytes.size() <= mostBytes;
  return whole ? std::optional(std::move(bytes)) : std::nullopt;
}

}  // namespace korvane::platform
