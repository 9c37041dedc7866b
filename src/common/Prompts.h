// What the logic asks of whoever sits in front of it.  The windows show message boxes (plain text, titled
// with the application's title); tests script the answers.  User-interface thread only.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace korvane {

enum class PromptIcon { None, Information, Question, Exclamation, Critical };
enum class PromptButtons { Ok, YesNo, YesNoCancel };

// The numbers are those of the desktop's message boxes; gAckAllAnswer keeps them as they are.
enum class PromptAnswer : std::int16_t { Ok = 1, Cancel = 2, Yes = 6, No = 7 };

class Prompts {
 public:
  virtual ~Prompts() = default;
  // Shows the text with an OK button and returns when it was dismissed.
  virtual void Show(std::string_view text, PromptIcon icon) = 0;
  virtual PromptAnswer Ask(std::string_view text, PromptButtons buttons, PromptIcon icon) = 0;
  // An input box; nothing when it was cancelled.
  virtual std::optional<std::string> AskText(std::string_view prompt, std::string_view initial) = 0;
};

// "If the problem persists, please contact support at " and the contact address of this build.
std::string SupportSentence();
std::string SupportContact();

}  // namespace korvane
