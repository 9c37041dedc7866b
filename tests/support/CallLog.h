// One list into which several fakes write, so that a test can check the order across them.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace korvane::test {

using CallLog = std::vector<std::string>;

// A fake whose CallLog is not set records nothing there.
inline void Record(CallLog* calls, std::string call) {
  if (calls != nullptr) {
    calls->push_back(std::move(call));
  }
}

}  // namespace korvane::test
