#include "receiver/alerts/BeepAction.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <numbers>
#include <optional>

#include "platform/linux/ChildProcess.h"
#include "receiver/alerts/ChildRun.h"

namespace korvane::receiver {
namespace {

constexpr std::string_view kPlayer = "aplay";
constexpr int kSamplesASecond = 16'000;
constexpr std::int32_t kMostBeeps = 100;
constexpr std::int32_t kLongestSeconds = 60;
constexpr std::int32_t kLowestHertz = 37;
constexpr std::int32_t kHighestHertz = 8'000;
constexpr std::int32_t kUsualHertz = 800;
constexpr double kLoudness = 0.5 * 32'767;

void AppendNumber(std::string& bytes, std::uint32_t number, int width) {
  for (int i = 0; i < width; ++i) {
    bytes.push_back(static_cast<char>(number >> (8 * i) & 0xFFU));
  }
}

std::string WavHeader(std::size_t soundBytes) {
  std::string header = "RIFF";
  AppendNumber(header, static_cast<std::uint32_t>(36 + soundBytes), 4);
  header += "WAVEfmt ";
  AppendNumber(header, 16, 4);
  AppendNumber(header, 1, 2);  // PCM
  AppendNumber(header, 1, 2);  // one channel
  AppendNumber(header, kSamplesASecond, 4);
  AppendNumber(header, kSamplesASecond * 2, 4);
  AppendNumber(header, 2, 2);
  AppendNumber(header, 16, 2);
  header += "data";
  AppendNumber(header, static_cast<std::uint32_t>(soundBytes), 4);
  return header;
}

std::string RingBell(const AlertBeep& beep, const std::stop_token& stop) {
  std::mutex mutex;
  std::condition_variable_any never;
  const std::int32_t count = std::clamp(beep.Count, 1, kMostBeeps);
  const auto pause = std::chrono::milliseconds(
      std::clamp<std::int64_t>((std::int64_t{beep.Duration} + beep.Delay) * 1000, 250, 5'000));
  for (std::int32_t i = 0; i < count && !stop.stop_requested(); ++i) {
    if (write(STDERR_FILENO, "\a", 1) != 1) {
      return "the terminal takes no bell";
    }
    if (i + 1 < count) {
      std::unique_lock lock(mutex);
      never.wait_for(lock, stop, pause, [] { return false; });
    }
  }
  return {};
}

}  // namespace

std::string BeepSound(const AlertBeep& beep) {
  const std::int32_t count = std::clamp(beep.Count, 1, kMostBeeps);
  const std::int32_t hertz =
      beep.Frequency <= 0 ? kUsualHertz : std::clamp(beep.Frequency, kLowestHertz, kHighestHertz);
  // A beep of no duration is a short one.
  const int tone =
      beep.Duration <= 0 ? kSamplesASecond / 4 : std::min(beep.Duration, kLongestSeconds) * kSamplesASecond;
  const int silence =
      beep.Delay <= 0 ? kSamplesASecond / 10 : std::min(beep.Delay, kLongestSeconds) * kSamplesASecond;
  const std::size_t most = std::size_t{kLongestSeconds} * kSamplesASecond * 2;
  std::string sound;
  for (std::int32_t i = 0; i < count && sound.size() < most; ++i) {
    for (int sample = 0; sample < tone; ++sample) {
      const double angle = 2 * std::numbers::pi * hertz * sample / kSamplesASecond;
      AppendNumber(sound, static_cast<std::uint32_t>(static_cast<std::int32_t>(kLoudness * std::sin(angle))),
                   2);
    }
    if (i + 1 < count) {
      sound.append(static_cast<std::size_t>(silence) * 2, '\0');
    }
  }
  sound.resize(std::min(sound.size(), most));
  return WavHeader(sound.size()) + sound;
}

std::string BeepAction::Carry(const AlertFiring& firing, const std::stop_token& stop) {
  const AlertBeep& beep = *firing.Rule->Beep;
  std::string failure = "there is no sound player on this machine";
  if (const std::optional<std::string> player = platform::FindProgram(kPlayer)) {
    const std::string sound = BeepSound(beep);
    failure = RunChild({.File = *player,
                        .Arguments = {"-q", "-"},
                        .Input = sound,
                        .Longest = std::chrono::seconds(kLongestSeconds + 10)},
                       stop);
  }
  if (failure.empty() || isatty(STDERR_FILENO) == 0) {
    return failure;
  }
  return RingBell(beep, stop);
}

}  // namespace korvane::receiver
