#include "app/UnaskedPrompts.h"

#include <fmt/format.h>

#include <cstdio>

#include "common/Text.h"

namespace korvane::app {

void UnaskedPrompts::Show(std::string_view text, PromptIcon) {
  const std::string line = VisibleText(text);
  std::fprintf(stderr, "%s\n", line.c_str());
  log_.TryWriteLog(line);
}

void UnaskedPrompts::ShowFailure(std::string_view text, std::string_view cause) {
  Show(fmt::format("{} {}", text, cause), PromptIcon::Critical);
}

PromptAnswer UnaskedPrompts::Ask(std::string_view, PromptButtons, PromptIcon) {
  return PromptAnswer::No;
}

std::optional<std::string> UnaskedPrompts::AskText(std::string_view, std::string_view) {
  return std::nullopt;
}

std::optional<std::string> UnaskedPrompts::AskSaveFile(const FileQuestion&) {
  return std::nullopt;
}

std::vector<std::string> UnaskedPrompts::AskOpenFiles(const FileQuestion&) {
  return {};
}

}  // namespace korvane::app
