// Beeps on this machine: through the sound system's player, else with the bell of the terminal the receiver
// runs in.
#pragma once

#include <string>

#include "receiver/alerts/AlertAction.h"

namespace korvane::receiver {

class BeepAction : public AlertAction {
 public:
  ActionSet Kind() const override { return kBeepAction; }
  std::string_view Name() const override { return "a beep"; }
  std::string Carry(const AlertFiring& firing, const std::stop_token& stop) override;
};

// The whole beep as a WAV file of one channel: tones of the frequency with silence between them.  Numbers
// beyond reason are held at 100 beeps, 60 seconds in all and 37 to 8,000 hertz.
std::string BeepSound(const AlertBeep& beep);

}  // namespace korvane::receiver
