// What the logic asks of whoever sits in front of it.  The windows show message boxes (plain text, titled
// with the application's title); tests script the answers.  User-interface thread only.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace korvane {

enum class PromptIcon { None, Information, Question, Exclamation, Critical };
// NoYes has the buttons of YesNo, but its default is No: for what can't be taken back.
enum class PromptButtons { Ok, YesNo, NoYes, YesNoCancel };

// The numbers are those of the desktop's message boxes; gAckAllAnswer keeps them as they are.
enum class PromptAnswer : std::int16_t { Ok = 1, Cancel = 2, Yes = 6, No = 7 };

struct FileQuestion {
  std::string Caption;
  std::string Path;           // folder or file to begin with; empty: where the last one was
  std::string Kind;           // what such files are called, "Category files"
  std::string Extension;      // without the dot; a name typed without one gets it
  bool SeveralFiles = false;  // for AskOpenFiles
};

class Prompts {
 public:
  virtual ~Prompts() = default;
  // Shows the text with an OK button and returns when it was dismissed.
  virtual void Show(std::string_view text, PromptIcon icon) = 0;
  // A failure (the icon is Critical) and, as details of the same box, what caused it: a driver's words, say.
  virtual void ShowFailure(std::string_view text, std::string_view cause) = 0;
  virtual PromptAnswer Ask(std::string_view text, PromptButtons buttons, PromptIcon icon) = 0;
  // An input box; nothing when it was cancelled.
  virtual std::optional<std::string> AskText(std::string_view prompt, std::string_view initial) = 0;
  // The path of a file to write, after asking whether to replace one that exists; of files to read.  Nothing
  // (none) when it was cancelled.
  virtual std::optional<std::string> AskSaveFile(const FileQuestion& question) = 0;
  virtual std::vector<std::string> AskOpenFiles(const FileQuestion& question) = 0;
};

// "If the problem persists, please contact support at " and the contact address of this build.
std::string SupportSentence();
std::string SupportContact();

}  // namespace korvane
