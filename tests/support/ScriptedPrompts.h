// Prompts that answer from a script and keep what was shown, and a busy indicator that keeps what it was
// asked to show.  A question without a scripted answer fails the test and is answered No (or as cancelled);
// so does an answer that the buttons do not offer, and one left over when the object dies.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "common/BusyIndicator.h"
#include "common/Prompts.h"
#include "support/CallLog.h"

namespace korvane::test {

class ScriptedPrompts : public Prompts {
 public:
  struct Shown {
    std::string Text;
    PromptIcon Icon = PromptIcon::None;
    PromptButtons Buttons = PromptButtons::Ok;
    bool operator==(const Shown&) const = default;
  };

  ScriptedPrompts() = default;
  ~ScriptedPrompts() override {
    EXPECT_EQ(answers_.size() + texts_.size() + files_.size(), 0U) << "scripted answers were never asked for";
  }

  void Show(std::string_view text, PromptIcon icon) override {
    messages_.push_back({std::string(text), icon, PromptButtons::Ok});
    Record(Calls, "Show: " + std::string(text));
  }
  void ShowFailure(std::string_view text, std::string_view cause) override {
    Show(text, PromptIcon::Critical);
    Cause = cause;
    Causes.emplace_back(cause);
  }
  PromptAnswer Ask(std::string_view text, PromptButtons buttons, PromptIcon icon) override {
    questions_.push_back({std::string(text), icon, buttons});
    if (const auto happens = std::exchange(WhileAsked, nullptr)) {
      happens();
    }
    const auto answer = Next(answers_, "Ask: " + std::string(text), PromptAnswer::No);
    EXPECT_TRUE(answer == PromptAnswer::Ok
                    ? buttons == PromptButtons::Ok
                    : buttons == PromptButtons::YesNoCancel ||
                          (buttons != PromptButtons::Ok && answer != PromptAnswer::Cancel))
        << "no such button under: " << text;
    return answer;
  }
  std::optional<std::string> AskText(std::string_view prompt, std::string_view) override {
    return Next(texts_, "AskText: " + std::string(prompt), {});
  }
  std::optional<std::string> AskSaveFile(const FileQuestion& question) override {
    const std::vector<std::string> paths = AskOpenFiles(question);
    return paths.empty() ? std::nullopt : std::optional(paths.front());
  }
  std::vector<std::string> AskOpenFiles(const FileQuestion& question) override {
    fileQuestions_.push_back(question);
    return Next(files_, "AskFile: " + question.Caption, {});
  }

  // What is answered next, in order; one list for each kind of question.
  void WillAnswer(PromptAnswer answer) { answers_.push_back(answer); }
  void WillAnswerText(std::optional<std::string> text) { texts_.push_back(std::move(text)); }
  // To AskSaveFile (the first of them) or AskOpenFiles; an empty list cancels.
  void WillAnswerFiles(std::vector<std::string> paths) { files_.push_back(std::move(paths)); }
  void ForgetScript() {
    files_.clear();
    answers_.clear();
    texts_.clear();
  }

  const std::vector<Shown>& Messages() const { return messages_; }    // Show
  const std::vector<Shown>& Questions() const { return questions_; }  // Ask
  const std::vector<FileQuestion>& FileQuestions() const { return fileQuestions_; }
  // The text of the last message, or an empty one.
  std::string LastMessage() const { return messages_.empty() ? std::string() : messages_.back().Text; }
  void Clear() {
    messages_.clear();
    questions_.clear();
    fileQuestions_.clear();
  }

  std::function<void()> WhileAsked;  // what happens while the next question of Ask is open
  std::string Cause;                 // of the last ShowFailure
  std::vector<std::string> Causes;   // of all of them
  CallLog* Calls = nullptr;          // "Show: TEXT", "Ask: TEXT", "AskText: PROMPT", "AskFile: CAPTION"

 private:
  template <typename Answer>
  Answer Next(std::deque<Answer>& script, const std::string& asked, Answer otherwise) {
    Record(Calls, asked);
    if (script.empty()) {
      ADD_FAILURE() << "unexpected " << asked;
      return otherwise;
    }
    otherwise = std::move(script.front());
    script.pop_front();
    return otherwise;
  }

  std::deque<PromptAnswer> answers_;
  std::deque<std::optional<std::string>> texts_;
  std::deque<std::vector<std::string>> files_;
  std::vector<Shown> messages_;
  std::vector<Shown> questions_;
  std::vector<FileQuestion> fileQuestions_;
};

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
  bool GoOn() override {
    Between();
    return StepsLeft < 0 || --StepsLeft >= 0;
  }
  std::unique_ptr<WorkInProgress> ShowWork(std::string_view text, std::function<void()> stop) override {
    Record(Calls, "ShowWork: " + std::string(text));
    Stop = std::move(stop);
    return std::make_unique<Work>(*this);
  }

  // Every ShowBusy without its ShowFree; negative: freed more often than shown.
  int Depth() const { return depth_; }

  std::function<void()> Between = [] {};  // two steps of long work
  int StepsLeft = -1;                     // until Stop is pressed; negative: nobody does
  std::vector<std::string> Texts;
  std::vector<std::pair<std::int64_t, std::int64_t>> Progress;
  std::vector<std::pair<std::int64_t, std::int64_t>> WorkProgress;
  std::function<void()> Stop;  // of the last work
  int WorksRunning = 0;
  CallLog* Calls = nullptr;

 private:
  struct Work : WorkInProgress {
    explicit Work(RecordingBusy& busy) : Busy(busy) { ++Busy.WorksRunning; }
    ~Work() override { --Busy.WorksRunning; }
    void ShowProgress(std::int64_t done, std::int64_t total) override {
      Busy.WorkProgress.emplace_back(done, total);
    }
    RecordingBusy& Busy;
  };

  int depth_ = 0;
};

}  // namespace korvane::test
