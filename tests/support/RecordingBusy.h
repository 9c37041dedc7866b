// A busy indicator that keeps what it was asked to show.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "common/BusyIndicator.h"
#include "support/CallLog.h"

namespace korvane::test {

class RecordingBusy : public BusyIndicator {
 public:
  void ShowBusy(std::string_view text) override {
    ++depth_;
    Texts.emplace_back(text);
    Record(Calls, "ShowBusy: " + std::string(text));
  }
  void ShowFree() override {
    --depth_;
    Record(Calls, "ShowFree");
  }
  void ShowProgress(std::int64_t done, std::int64_t total) override { Progress.emplace_back(done, total); }

  // Every ShowBusy without its ShowFree; negative: freed more often than shown.
  int Depth() const { return depth_; }

  std::vector<std::string> Texts;
  std::vector<std::pair<std::int64_t, std::int64_t>> Progress;
  CallLog* Calls = nullptr;

 private:
  int depth_ = 0;
};

}  // namespace korvane::test
