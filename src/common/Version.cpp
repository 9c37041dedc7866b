#include "common/Version.h"

namespace korvane {

std::string_view ProgramVersion() {
  return KORVANE_VERSION;
}

}  // namespace korvane
