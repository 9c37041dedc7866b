// The prompts of a console that ends with nobody to ask: what would be shown goes to stderr and the log,
// every answer is No.
#pragma once

#include "common/Log.h"
#include "common/Prompts.h"

namespace korvane::app {

class UnaskedPrompts : public Prompts {
 public:
  explicit UnaskedPrompts(Log& log) : log_(log) {}

  void Show(std::string_view text, PromptIcon icon) override;
  void ShowFailure(std::string_view text, std::string_view cause) override;
  PromptAnswer Ask(std::string_view text, PromptButtons buttons, PromptIcon icon) override;
  std::optional<std::string> AskText(std::string_view prompt, std::string_view initial) override;
  std::optional<std::string> AskSaveFile(const FileQuestion& question) override;
  std::vector<std::string> AskOpenFiles(const FileQuestion& question) override;

 private:
  Log& log_;
};

}  // namespace korvane::app
