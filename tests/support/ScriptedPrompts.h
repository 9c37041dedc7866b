// Prompts that answer from a script and keep what was shown.  A question without a scripted answer fails the
// test and is answered No (or as cancelled); so does an answer that the buttons do not offer, and one left
// over when the object dies.
#pragma once

#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

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
  struct TextAsked {
    std::string Prompt;
    std::string Initial;
    bool operator==(const TextAsked&) const = default;
  };

  ScriptedPrompts() = default;
  ~ScriptedPrompts() override;

  void Show(std::string_view text, PromptIcon icon) override;
  PromptAnswer Ask(std::string_view text, PromptButtons buttons, PromptIcon icon) override;
  std::optional<std::string> AskText(std::string_view prompt, std::string_view initial) override;
  std::optional<std::string> AskSaveFile(const FileQuestion& question) override;
  std::vector<std::string> AskOpenFiles(const FileQuestion& question) override;

  // What is answered next, in order; one list for each kind of question.
  void WillAnswer(PromptAnswer answer) { answers_.push_back(answer); }
  void WillAnswerText(std::optional<std::string> text) { texts_.push_back(std::move(text)); }
  // To AskSaveFile (the first of them) or AskOpenFiles; an empty list cancels.
  void WillAnswerFiles(std::vector<std::string> paths) { files_.push_back(std::move(paths)); }
  void ForgetScript();

  const std::vector<Shown>& Messages() const { return messages_; }    // Show
  const std::vector<Shown>& Questions() const { return questions_; }  // Ask
  const std::vector<TextAsked>& TextQuestions() const { return textQuestions_; }
  const std::vector<FileQuestion>& FileQuestions() const { return fileQuestions_; }
  // The text of the last message, or an empty one.
  std::string LastMessage() const { return messages_.empty() ? std::string() : messages_.back().Text; }
  void Clear();

  std::function<void()> WhileAsked;  // what happens while the next question of Ask is open
  CallLog* Calls = nullptr;          // "Show: TEXT", "Ask: TEXT", "AskText: PROMPT"

 private:
  std::deque<PromptAnswer> answers_;
  std::deque<std::optional<std::string>> texts_;
  std::deque<std::vector<std::string>> files_;
  std::vector<Shown> messages_;
  std::vector<Shown> questions_;
  std::vector<TextAsked> textQuestions_;
  std::vector<FileQuestion> fileQuestions_;
};

}  // namespace korvane::test
