#include "support/ScriptedPrompts.h"

#include <gtest/gtest.h>

#include <utility>

namespace korvane::test {
namespace {

bool Offers(PromptButtons buttons, PromptAnswer answer) {
  switch (buttons) {
    case PromptButtons::Ok:
      return answer == PromptAnswer::Ok;
    case PromptButtons::YesNo:
      return answer == PromptAnswer::Yes || answer == PromptAnswer::No;
    case PromptButtons::YesNoCancel:
      return answer != PromptAnswer::Ok;
  }
  return false;
}

}  // namespace

ScriptedPrompts::~ScriptedPrompts() {
  if (!answers_.empty() || !texts_.empty() || !files_.empty()) {
    ADD_FAILURE() << answers_.size() + texts_.size() + files_.size()
                  << " scripted answer(s) were never asked for";
  }
}

void ScriptedPrompts::Show(std::string_view text, PromptIcon icon) {
  messages_.push_back({std::string(text), icon, PromptButtons::Ok});
  Record(Calls, "Show: " + std::string(text));
}

PromptAnswer ScriptedPrompts::Ask(std::string_view text, PromptButtons buttons, PromptIcon icon) {
  questions_.push_back({std::string(text), icon, buttons});
  Record(Calls, "Ask: " + std::string(text));
  if (answers_.empty()) {
    ADD_FAILURE() << "unexpected question: " << text;
    return PromptAnswer::No;
  }
  if (const auto happens = std::exchange(WhileAsked, nullptr)) {
    happens();
  }
  const PromptAnswer answer = answers_.front();
  answers_.pop_front();
  EXPECT_TRUE(Offers(buttons, answer)) << "no such button under: " << text;
  return answer;
}

std::optional<std::string> ScriptedPrompts::AskText(std::string_view prompt, std::string_view initial) {
  textQuestions_.push_back({std::string(prompt), std::string(initial)});
  Record(Calls, "AskText: " + std::string(prompt));
  if (texts_.empty()) {
    ADD_FAILURE() << "unexpected input box: " << prompt;
    return std::nullopt;
  }
  std::optional<std::string> answer = std::move(texts_.front());
  texts_.pop_front();
  return answer;
}

std::optional<std::string> ScriptedPrompts::AskSaveFile(const FileQuestion& question) {
  const std::vector<std::string> paths = AskOpenFiles(question);
  return paths.empty() ? std::nullopt : std::optional(paths.front());
}

std::vector<std::string> ScriptedPrompts::AskOpenFiles(const FileQuestion& question) {
  fileQuestions_.push_back(question);
  Record(Calls, "AskFile: " + question.Caption);
  if (files_.empty()) {
    ADD_FAILURE() << "unexpected question for a file: " << question.Caption;
    return {};
  }
  std::vector<std::string> answer = std::move(files_.front());
  files_.pop_front();
  return answer;
}

void ScriptedPrompts::ForgetScript() {
  files_.clear();
  answers_.clear();
  texts_.clear();
}

void ScriptedPrompts::Clear() {
  messages_.clear();
  questions_.clear();
  textQuestions_.clear();
  fileQuestions_.clear();
}

}  // namespace korvane::test
