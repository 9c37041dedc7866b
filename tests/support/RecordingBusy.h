// A busy indicator that keeps what it was asked to show.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
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

  std::unique_ptr<WorkInProgress> ShowWork(std::string_view text, std::function<void()> stop) override {
    Record(Calls, "ShowWork: " + std::string(text));
    WorkTexts.emplace_back(text);
    Stop = std::move(stop);
    return std::make_unique<Work>(*this);
  }

  // Every ShowBusy without its ShowFree; negative: freed more often than shown.
  int Depth() const { return depth_; }

  std::vector<std::string> Texts;
  std::vector<std::pair<std::int64_t, std::int64_t>> Progress;
  std::vector<std::string> WorkTexts;
  std::vector<std::pair<std::int64_t, std::int64_t>> WorkProgress;
  std::function<void()> Stop;  // of the last work
  int WorksRunning = 0;
  CallLog* Calls = nullptr;

 private:
  class Work : public WorkInProgress {
   public:
    explicit Work(RecordingBusy& busy) : busy_(busy) { ++busy_.WorksRunning; }
    ~Work() override { --busy_.WorksRunning; }
    void ShowProgress(std::int64_t done, std::int64_t total) override {
      busy_.WorkProgress.emplace_back(done, total);
    }

   private:
    RecordingBusy& busy_;
  };

  int depth_ = 0;
};

}  // namespace korvane::test
