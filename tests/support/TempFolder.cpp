#include "support/TempFolder.h"

#include <cstdlib>
#include <stdexcept>
#include <string>
#include <system_error>

namespace korvane::test {

TempFolder::TempFolder() {
  std::string name = (std::filesystem::temp_directory_path() / "korvane-test-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) {
    throw std::runtime_error("cannot make a temporary folder: " + name);
  }
  path_ = name;
}

TempFolder::~TempFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

}  // namespace korvane::test
