// The version of this program, "1.2.3": that of the project when it was built.
#pragma once

#include <string_view>

namespace korvane {

std::string_view ProgramVersion();

}  // namespace korvane
