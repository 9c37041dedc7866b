// A folder of the test's own, removed with everything in it.
#pragma once

#include <filesystem>
#include <random>
#include <stdexcept>
#include <string>
#include <system_error>

namespace korvane::test {

class TempFolder {
 public:
  TempFolder() {
    std::random_device random;
    path_ = std::filesystem::temp_directory_path() / ("korvane-test-" + std::to_string(random()));
    if (!std::filesystem::create_directory(path_)) {
      throw std::runtime_error("cannot make a temporary folder: " + path_.string());
    }
    std::filesystem::permissions(path_, std::filesystem::perms::owner_all);
  }
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  const std::filesystem::path& Path() const { return path_; }
  std::filesystem::path operator/(const std::filesystem::path& name) const { return path_ / name; }

 private:
  std::filesystem::path path_;
};

}  // namespace korvane::test
