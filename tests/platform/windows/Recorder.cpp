// Writes its arguments in UTF-8, each behind a line "arg", into a file beside its own.
#include <windows.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <string>

#include <shellapi.h>

int main() {
  std::array<wchar_t, MAX_PATH> own{};
  GetModuleFileNameW(nullptr, own.data(), MAX_PATH);
  const std::filesystem::path part = std::wstring(own.data()) + L".part";
  std::ofstream file(part, std::ios::binary);
  int count = 0;
  wchar_t** const arguments = CommandLineToArgvW(GetCommandLineW(), &count);
  for (int i = 1; i < count; ++i) {
    std::array<char, 4096> text{};
    WideCharToMultiByte(CP_UTF8, 0, arguments[i], -1, text.data(), static_cast<int>(text.size()), nullptr,
                        nullptr);
    file << "arg\n" << text.data() << '\n';
  }
  file.close();
  std::filesystem::rename(part, std::wstring(own.data()) + L".out");
}
