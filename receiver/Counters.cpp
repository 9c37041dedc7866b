#include "receiver/Counters.h"

#include <fmt/format.h>

namespace korvane::receiver {

std::string CountersText(const Counters& counters, const Gauges& gauges) {
  return fmt::format(
      "counters: received {}, stored {}, spooled {}, waiting {}, captured {}, dropped by the kernel {}, "
      "dropped by a full ring {}, malformed {}, informs answered {}, informs repeated {}, quarantined {}, "
      "damaged in the spool {}, answers let go {}, passed over {}",
      counters.Received.load(), counters.Stored.load(), gauges.Spooled, gauges.Waiting, gauges.Captured,
      gauges.DroppedByKernel, gauges.DroppedByFullRing, counters.Malformed.load(), counters.Answered.load(),
      counters.Repeated.load(), counters.Quarantined.load(), gauges.DamagedRecords, gauges.AnswersLetGo,
      counters.PassedOver.load());
}

}  // namespace korvane::receiver
