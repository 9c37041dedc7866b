#include "platform/ServiceLibrary.h"

#include <oleauto.h>

#include <limits>
#include <memory>
#include <type_traits>

#include "platform/TrustedPath.h"
#include "platform/windows/SystemHeaders.h"
#include "platform/windows/WideText.h"
#include "platform/windows/WindowsPlatform.h"

namespace korvane::platform {
namespace {

// What the library exports under its plain names.  Texts handed over outside of the record are addresses of
// such texts as the record holds; the library puts its own in their place.
struct LibraryCalls {
  std::int32_t(__stdcall* StartRecvEvents)(std::int32_t highWaterMark) = nullptr;
  std::int32_t(__stdcall* GetEventFromList)(void* record) = nullptr;
  std::int32_t(__stdcall* StopRecvEvents)() = nullptr;
  std::int32_t(__stdcall* KVResolveSystemName)(const char* address, BSTR* name) = nullptr;
  std::int32_t(__stdcall* GetDefaultMailSettings)(BSTR* smtpServer, BSTR* recipient, BSTR* domain) = nullptr;
};

struct LibraryCloser {
  void operator()(HMODULE library) const { FreeLibrary(library); }
};
using LoadedLibrary = std::unique_ptr<std::remove_pointer_t<HMODULE>, LibraryCloser>;

template <typename Call>
bool Find(HMODULE library, const char* name, Call& call) {
  call = reinterpret_cast<Call>(reinterpret_cast<void*>(GetProcAddress(library, name)));
  return call != nullptr;
}

// Whether every address of this process fits the record.
bool AddressesAreSmall() {
  if constexpr (sizeof(void*) == sizeof(std::uint32_t)) {
    return true;
  }
  const auto* const image = reinterpret_cast<const std::byte*>(GetModuleHandleW(nullptr));
  const auto* const dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(image);
  const auto* const headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(image + dos->e_lfanew);
  return (headers->FileHeader.Characteristics & IMAGE_FILE_LARGE_ADDRESS_AWARE) == 0;
}

std::string BytesOf(BSTR text) {
  return {reinterpret_cast<const char*>(text), SysStringByteLen(text)};
}

BSTR TextAt(std::uint32_t address) {
  return reinterpret_cast<BSTR>(static_cast<std::uintptr_t>(address));
}

// A text that the library hands over; freed with this object.
class HandedText {
 public:
  HandedText() = default;
  ~HandedText() { SysFreeString(text_); }
  HandedText(const HandedText&) = delete;
  HandedText& operator=(const HandedText&) = delete;
  BSTR* Place() { return &text_; }
  std::string Bytes() const { return text_ == nullptr ? std::string() : BytesOf(text_); }

 private:
  BSTR text_ = nullptr;
};

class KvsIns : public ServiceLibrary {
 public:
  KvsIns(LoadedLibrary library, const LibraryCalls& calls) : library_(std::move(library)), calls_(calls) {}

  std::int32_t StartRecvEvents(std::int32_t highWaterMark) override {
    return calls_.StartRecvEvents(highWaterMark);
  }
  std::int32_t GetEventFromList(std::span<std::byte, kServiceRecordBytes> record) override {
    return calls_.GetEventFromList(record.data());
  }
  std::int32_t StopRecvEvents() override { return calls_.StopRecvEvents(); }

  bool KVResolveSystemName(const std::string& address, std::string& name) override {
    HandedText text;
    if (calls_.KVResolveSystemName(ToAnsi(address).c_str(), text.Place()) == 0) {
      return false;
    }
    name = UpToNul(text);
    return true;
  }

  LibraryMailSettings GetDefaultMailSettings() override {
    HandedText server;
    HandedText recipient;
    HandedText domain;
    calls_.GetDefaultMailSettings(server.Place(), recipient.Place(), domain.Place());
    return {.SmtpServer = UpToNul(server), .Recipient = UpToNul(recipient), .Domain = UpToNul(domain)};
  }

  std::uint32_t MakeText(std::string_view bytes) override {
    BSTR text = SysAllocStringByteLen(bytes.data(), static_cast<UINT>(bytes.size()));
    const auto address = reinterpret_cast<std::uintptr_t>(text);
    if (address > std::numeric_limits<std::uint32_t>::max()) {
      SysFreeString(text);
      return 0;
    }
    return static_cast<std::uint32_t>(address);
  }
  std::string ReadText(std::uint32_t address) override { return BytesOf(TextAt(address)); }
  void ReleaseText(std::uint32_t address) noexcept override { SysFreeString(TextAt(address)); }

  // The code page of the system, which is not that of this process.
  std::string ToUtf8(std::string_view ansi) override {
    const int bytes = static_cast<int>(ansi.size());
    const int units = MultiByteToWideChar(codePage_, 0, ansi.data(), bytes, nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(units), L'\0');
    MultiByteToWideChar(codePage_, 0, ansi.data(), bytes, wide.data(), units);
    return Narrow(wide);
  }
  std::string ToAnsi(std::string_view utf8) override {
    const std::wstring wide = Wide(utf8);
    const int units = static_cast<int>(wide.size());
    const int bytes = WideCharToMultiByte(codePage_, 0, wide.data(), units, nullptr, 0, nullptr, nullptr);
    std::string ansi(static_cast<std::size_t>(bytes), '\0');
    WideCharToMultiByte(codePage_, 0, wide.data(), units, ansi.data(), bytes, nullptr, nullptr);
    return ansi;
  }

 private:
  std::string UpToNul(const HandedText& text) {
    const std::string bytes = text.Bytes();
    return ToUtf8(std::string_view(bytes).substr(0, bytes.find('\0')));
  }
  static UINT SystemCodePage() {
    UINT page = 0;
    GetLocaleInfoEx(LOCALE_NAME_SYSTEM_DEFAULT, LOCALE_IDEFAULTANSICODEPAGE | LOCALE_RETURN_NUMBER,
                    reinterpret_cast<LPWSTR>(&page), sizeof page / sizeof(wchar_t));
    return page != 0 ? page : 1252;  // a locale without one has CP_ACP, this process's
  }

  LoadedLibrary library_;
  LibraryCalls calls_;
  UINT codePage_ = SystemCodePage();
};

}  // namespace

std::unique_ptr<ServiceLibrary> LoadServiceLibrary(const std::filesystem::path& folder,
                                                   std::string_view name) {
  const std::filesystem::path file = folder / Wide(name);
  if (!AddressesAreSmall() || !file.is_absolute() || !OnlyTrustedHandsCanChange(file)) {
    return nullptr;
  }
  LoadedLibrary library(
      LoadLibraryExW(file.c_str(), nullptr, LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32));
  LibraryCalls calls;
  if (!library || !Find(library.get(), "StartRecvEvents", calls.StartRecvEvents) ||
      !Find(library.get(), "GetEventFromList", calls.GetEventFromList) ||
      !Find(library.get(), "StopRecvEvents", calls.StopRecvEvents) ||
      !Find(library.get(), "KVResolveSystemName", calls.KVResolveSystemName) ||
      !Find(library.get(), "GetDefaultMailSettings", calls.GetDefaultMailSettings)) {
    return nullptr;
  }
  return std::make_unique<KvsIns>(std::move(library), calls);
}

}  // namespace korvane::platform
