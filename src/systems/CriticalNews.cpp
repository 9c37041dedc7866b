#include "systems/CriticalNews.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <limits>

#include "common/Text.h"
#include "common/Translation.h"

namespace korvane::systems {
namespace {

constexpr std::string_view kNotifySetting = "DesktopNotifications";
constexpr std::size_t kNamedSystems = 3;
constexpr std::size_t kLongestName = 60;  // bytes; a notification is a glance

// Whole characters: a byte that goes on with one is 10xxxxxx.
std::string ShortName(std::string_view text) {
  std::string name = VisibleText(text.substr(0, 4 * kLongestName));
  if (name.size() <= kLongestName) {
    return name;
  }
  std::size_t end = kLongestName;
  while (end > 0 && (static_cast<unsigned char>(name[end]) & 0xC0U) == 0x80U) {
    --end;
  }
  return name.substr(0, end) + "…";
}

}  // namespace

CriticalNews::CriticalNews(Desk& desk, platform::Notifications& notifications, ConsoleFront& front)
    : desk_(desk),
      notifications_(notifications),
      front_(front),
      notifies_(desk.Settings.GetSetting(platform::kSettingsSection, kNotifySetting, "1") != "0"),
      mayShow_(std::numeric_limits<std::int64_t>::min()) {
  notifications_.SetListener([this] { front_.BringToFront(); });
}

CriticalNews::~CriticalNews() {
  notifications_.SetListener({});
  if (shown_ > 0) {
    notifications_.Withdraw();
  }
}

void CriticalNews::Arrived(std::string_view system, std::string_view trapName) {
  ++unseen_.Traps;
  unseen_.NewestName = ShortName(trapName);
  std::string name = ShortName(system);
  if (std::ranges::find(unseen_.Systems, name) != unseen_.Systems.end()) {
    return;
  }
  if (unseen_.Systems.size() < kNamedSystems) {
    unseen_.Systems.push_back(std::move(name));
  } else {
    unseen_.OtherSystems = true;
  }
}

void CriticalNews::NothingUnseen() {
  if (shown_ > 0) {
    notifications_.Withdraw();
  }
  unseen_ = {};
  asked_ = shown_ = 0;
}

void CriticalNews::EndTick() {
  if (front_.InFront()) {
    NothingUnseen();
    return;
  }
  if (unseen_.Traps > asked_) {
    asked_ = unseen_.Traps;
    front_.AskForAttention();
  }
  const std::int64_t now = desk_.Clock.MonotonicMilliseconds();
  if (notifies_ && unseen_.Traps > shown_ && now >= mayShow_) {
    mayShow_ = now + kBetweenNotifications;
    shown_ = unseen_.Traps;
    notifications_.Show(Words());
  }
}

void CriticalNews::SwitchNotifications(bool on) {
  notifies_ = on;
  desk_.Settings.SaveSetting(platform::kSettingsSection, kNotifySetting, on ? "1" : "0");
}

platform::Notification CriticalNews::Words() const {
  const std::string systems = fmt::format("{}{}", fmt::join(unseen_.Systems, ", "),
                                          unseen_.OtherSystems ? Translated(" and others") : "");
  if (unseen_.Traps == 1) {
    return {.Title = Translated("Critical trap from ") + systems, .Text = unseen_.NewestName};
  }
  return {.Title = desk_.WriteNumber(unseen_.Traps) + Translated(" critical traps"),
          .Text = Phrase("{}. The newest: {}", systems, unseen_.NewestName)};
}

}  // namespace korvane::systems
