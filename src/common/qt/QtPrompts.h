// Prompts as modal message boxes over the active window, titled with the application's title.  Texts are
// plain text, whatever markup they hold.  User-interface thread only; needs a QApplication.
#pragma once

#include "common/Prompts.h"

namespace korvane {

class QtPrompts : public Prompts {
 public:
  void Show(std::string_view text, PromptIcon icon) override;
  void ShowFailure(std::string_view text, std::string_view cause) override;
  PromptAnswer Ask(std::string_view text, PromptButtons buttons, PromptIcon icon) override;
  std::optional<std::string> AskText(std::string_view prompt, std::string_view initial) override;
  std::optional<std::string> AskSaveFile(const FileQuestion& question) override;
  std::vector<std::string> AskOpenFiles(const FileQuestion& question) override;
};

}  // namespace korvane
