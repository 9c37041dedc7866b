#include "receiver/clock/MachineClocks.h"

#include <systemd/sd-bus.h>

#include <ctime>
#include <memory>

namespace korvane::receiver {
namespace {

constexpr std::uint64_t kAnswerMicroseconds = 1'000'000;  // a stop of the receiver waits for it

struct CloseBus {
  void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
};

}  // namespace

ClockReading MachineClocks::Read() {
  timespec elapsed{};
  clock_gettime(CLOCK_BOOTTIME, &elapsed);
  return {.Wall = std::time(nullptr), .Elapsed = elapsed.tv_sec};
}

bool MachineClocks::Synchronized() {
  sd_bus* opened = nullptr;
  if (sd_bus_open_system(&opened) < 0) {
    return false;
  }
  const std::unique_ptr<sd_bus, CloseBus> bus(opened);
  sd_bus_set_method_call_timeout(bus.get(), kAnswerMicroseconds);
  int synchronized = 0;
  return sd_bus_get_property_trivial(bus.get(), "org.freedesktop.timedate1", "/org/freedesktop/timedate1",
                                     "org.freedesktop.timedate1", "NTPSynchronized", nullptr, 'b',
                                     &synchronized) >= 0 &&
         synchronized != 0;
}

}  // namespace korvane::receiver
