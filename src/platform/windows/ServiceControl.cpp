#include <memory>
#include <type_traits>

#include "platform/windows/SystemHeaders.h"
#include "platform/windows/WideText.h"
#include "platform/windows/WindowsPlatform.h"

namespace korvane::platform {
namespace {

constexpr DWORD kAllOfManager = 0xF003F;
constexpr DWORD kAllOfService = 0xF01FF;

struct ServiceHandleCloser {
  void operator()(SC_HANDLE handle) const { CloseServiceHandle(handle); }
};
using ServiceHandle = std::unique_ptr<std::remove_pointer_t<SC_HANDLE>, ServiceHandleCloser>;

class WindowsService : public Service {
 public:
  explicit WindowsService(SC_HANDLE service) : service_(service) {}
  void SendStop() override {
    SERVICE_STATUS status{};
    ControlService(service_.get(), SERVICE_CONTROL_STOP, &status);
  }
  bool Start() override { return StartServiceW(service_.get(), 0, nullptr) != 0; }

 private:
  ServiceHandle service_;
};

class WindowsServiceManager : public ServiceManager {
 public:
  explicit WindowsServiceManager(SC_HANDLE manager) : manager_(manager) {}
  std::unique_ptr<Service> OpenService(std::string_view name) override {
    const std::optional<std::wstring> wide = WideWithoutNul(name);
    SC_HANDLE service = wide ? OpenServiceW(manager_.get(), wide->c_str(), kAllOfService) : nullptr;
    return service == nullptr ? nullptr : std::make_unique<WindowsService>(service);
  }

 private:
  ServiceHandle manager_;
};

class WindowsServiceControl : public ServiceControl {
 public:
  std::unique_ptr<ServiceManager> OpenManager() override {
    SC_HANDLE manager = OpenSCManagerW(nullptr, nullptr, kAllOfManager);
    return manager == nullptr ? nullptr : std::make_unique<WindowsServiceManager>(manager);
  }
};

}  // namespace

std::unique_ptr<ServiceControl> MakeServiceControl() {
  return std::make_unique<WindowsServiceControl>();
}

}  // namespace korvane::platform
