// Services are systemd's units, reached over the system bus.  The unit of a service has the service's name.
#include <systemd/sd-bus.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <utility>

#include "platform/linux/LinuxPlatform.h"

namespace korvane::platform {
namespace {

constexpr char kSystemd[] = "org.freedesktop.systemd1";
constexpr char kManagerPath[] = "/org/freedesktop/systemd1";
constexpr char kManager[] = "org.freedesktop.systemd1.Manager";
constexpr char kUnit[] = "org.freedesktop.systemd1.Unit";

using TimePoint = std::chrono::steady_clock::time_point;

struct CloseBus {
  void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
};
struct DropMessage {
  void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using Bus = std::unique_ptr<sd_bus, CloseBus>;
using Message = std::unique_ptr<sd_bus_message, DropMessage>;

struct Limits {
  int CallMilliseconds;
  int StartMilliseconds;
};

// One call with texts as arguments and a bounded wait; null when it failed.
template <typename... Texts>
Message Call(sd_bus* bus, const Limits& limits, const char* path, const char* interface, const char* member,
             Texts... texts) {
  sd_bus_message* call = nullptr;
  if (sd_bus_message_new_method_call(bus, &call, kSystemd, path, interface, member) < 0) {
    return nullptr;
  }
  const Message owned(call);
  sd_bus_message* reply = nullptr;
  sd_bus_error error = SD_BUS_ERROR_NULL;
  const bool filled = ((sd_bus_message_append(call, "s", texts) >= 0) && ...);
  const auto wait = static_cast<std::uint64_t>(limits.CallMilliseconds) * 1000;
  const int result = filled ? sd_bus_call(bus, call, wait, &error, &reply) : -1;
  sd_bus_error_free(&error);
  return Message(result < 0 ? nullptr : reply);
}

std::optional<std::string> ObjectPathIn(const Message& reply) {
  const char* path = nullptr;
  if (!reply || sd_bus_message_read(reply.get(), "o", &path) < 0) {
    return std::nullopt;
  }
  return std::string(path);
}

std::string TextProperty(sd_bus* bus, const Limits& limits, const std::string& path, const char* interface,
                         const char* property) {
  const Message reply =
      Call(bus, limits, path.c_str(), "org.freedesktop.DBus.Properties", "Get", interface, property);
  const char* text = nullptr;
  if (!reply || sd_bus_message_read(reply.get(), "v", "s", &text) < 0) {
    return {};
  }
  return text;
}

// The outcome of the start's job, taken from the manager's JobRemoved signals.
class JobWatch {
 public:
  JobWatch(sd_bus* bus, const Limits& limits) : bus_(bus) {
    sd_bus_match_signal(bus, &slot_, kSystemd, kManagerPath, kManager, "JobRemoved", &JobWatch::Removed,
                        this);
    Call(bus, limits, kManagerPath, kManager, "Subscribe");
  }
  ~JobWatch() { sd_bus_slot_unref(slot_); }
  JobWatch(const JobWatch&) = delete;
  JobWatch& operator=(const JobWatch&) = delete;

  // The job's result in systemd's words, "done" for a success; empty when the time was up first.
  std::string WaitFor(const std::string& job, TimePoint deadline) {
    job_ = job;
    while (result_.empty()) {
      const int processed = sd_bus_process(bus_, nullptr);
      if (processed < 0) {
        return {};
      }
      if (processed > 0) {
        continue;
      }
      const auto left =
          std::chrono::duration_cast<std::chrono::microseconds>(deadline - std::chrono::steady_clock::now());
      if (left.count() <= 0 || sd_bus_wait(bus_, static_cast<std::uint64_t>(left.count())) < 0) {
        return {};
      }
    }
    return result_;
  }

 private:
  static int Removed(sd_bus_message* signal, void* self, sd_bus_error*) {
    auto* watch = static_cast<JobWatch*>(self);
    std::uint32_t number = 0;
    const char* job = nullptr;
    const char* unit = nullptr;
    const char* result = nullptr;
    if (sd_bus_message_read(signal, "uoss", &number, &job, &unit, &result) >= 0 && watch->job_ == job) {
      watch->result_ = result;
    }
    return 0;
  }

  sd_bus* bus_;
  sd_bus_slot* slot_ = nullptr;
  std::string job_;
  std::string result_;
};

class SystemdService : public Service {
 public:
  SystemdService(sd_bus* bus, Limits limits, std::string unit, std::string path)
      : bus_(bus), limits_(limits), unit_(std::move(unit)), path_(std::move(path)) {}

  void SendStop() override {
    Call(bus_, limits_, kManagerPath, kManager, "StopUnit", unit_.c_str(), "replace");
  }

  bool Start() override {
    const std::string before = ActiveState();
    if (before != "inactive" && before != "failed") {
      // It has not ended in the time it was given, so this is no restart.  One that still ends is started
      // all the same once it has: without the receiver, traps would be lost.
      if (before == "deactivating") {
        StartJob();
      }
      return false;
    }
    JobWatch watch(bus_, limits_);
    const std::optional<std::string> job = StartJob();
    if (!job) {
      return false;
    }
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(limits_.StartMilliseconds);
    const std::string result = watch.WaitFor(*job, deadline);
    // A simple service's job is done although its program ended at once.
    return (result.empty() || result == "done") && ActiveState() == "active";
  }

 private:
  std::string ActiveState() { return TextProperty(bus_, limits_, path_, kUnit, "ActiveState"); }
  std::optional<std::string> StartJob() {
    return ObjectPathIn(Call(bus_, limits_, kManagerPath, kManager, "StartUnit", unit_.c_str(), "replace"));
  }

  sd_bus* bus_;
  Limits limits_;
  std::string unit_;
  std::string path_;
};

class SystemdManager : public ServiceManager {
 public:
  SystemdManager(Bus bus, Limits limits) : bus_(std::move(bus)), limits_(limits) {}

  std::unique_ptr<Service> OpenService(std::string_view name) override {
    std::string unit(name);
    if (!unit.ends_with(".service")) {
      unit += ".service";
    }
    const std::optional<std::string> path =
        ObjectPathIn(Call(bus_.get(), limits_, kManagerPath, kManager, "LoadUnit", unit.c_str()));
    // Loading a unit that does not exist is no error, it is loaded as "not-found".
    if (!path || TextProperty(bus_.get(), limits_, *path, kUnit, "LoadState") != "loaded") {
      return nullptr;
    }
    return std::make_unique<SystemdService>(bus_.get(), limits_, unit, *path);
  }

 private:
  Bus bus_;
  Limits limits_;
};

class SystemdServiceControl : public ServiceControl {
 public:
  explicit SystemdServiceControl(Limits limits) : limits_(limits) {}

  std::unique_ptr<ServiceManager> OpenManager() override {
    sd_bus* opened = nullptr;
    if (sd_bus_open_system(&opened) < 0) {
      return nullptr;
    }
    Bus bus(opened);
    sd_bus_set_method_call_timeout(opened, static_cast<std::uint64_t>(limits_.CallMilliseconds) * 1000);
    // The bus may be there without a manager on it.
    if (TextProperty(opened, limits_, kManagerPath, kManager, "Version").empty()) {
      return nullptr;
    }
    return std::make_unique<SystemdManager>(std::move(bus), limits_);
  }

 private:
  Limits limits_;
};

}  // namespace

std::unique_ptr<ServiceControl> MakeServiceControl(int callMilliseconds, int startMilliseconds) {
  return std::make_unique<SystemdServiceControl>(Limits{callMilliseconds, startMilliseconds});
}

}  // namespace korvane::platform
