#include "intake/FirstTrap.h"

#include <fmt/format.h>

#include <algorithm>
#include <vector>

#include "common/Text.h"
#include "common/Translation.h"

namespace korvane::intake {
namespace {

constexpr std::string_view kReceiverDefaults = "udp:162,udp6:162";

struct ListenPlace {
  bool Six = false;
  std::string_view Address;  // without brackets; empty: every address
  std::string_view Port;
};

ListenPlace PlaceOf(std::string_view setting) {
  ListenPlace place;
  const std::size_t transport = setting.find(':');
  if (transport != std::string_view::npos) {
    place.Six = setting.substr(0, transport) == "udp6";
    setting.remove_prefix(transport + 1);
  }
  const std::size_t port = setting.rfind(':');
  if (port == std::string_view::npos) {
    place.Port = setting;
    return place;
  }
  place.Port = setting.substr(port + 1);
  place.Address = setting.substr(0, port);
  if (place.Address.starts_with('[') && place.Address.ends_with(']')) {
    place.Address = place.Address.substr(1, place.Address.size() - 2);
  }
  return place;
}

std::vector<ListenPlace> PlacesOf(std::string_view list) {
  std::vector<ListenPlace> places;
  while (!list.empty()) {
    const std::size_t end = std::min(list.find_first_of(", \t"), list.size());
    if (end > 0) {
      places.push_back(PlaceOf(list.substr(0, end)));
    }
    list.remove_prefix(std::min(list.size(), end + 1));
  }
  return places;
}

// The same port for both families is said once.
std::string WordsOf(const std::vector<ListenPlace>& places) {
  std::vector<std::string> said;
  for (const ListenPlace& place : places) {
    std::string words = place.Address.empty()
                            ? Phrase("UDP port {}", place.Port)
                            : Phrase("UDP port {} of {}", place.Port, VisibleText(place.Address));
    if (std::ranges::find(said, words) == said.end()) {
      said.push_back(std::move(words));
    }
  }
  std::string text = said.front();
  for (std::size_t i = 1; i < said.size(); ++i) {
    text += (i + 1 == said.size() ? " and " : ", ") + said[i];
  }
  return text;
}

std::string TargetOf(const ListenPlace& place) {
  const bool any = place.Address.empty() || place.Address == "0.0.0.0" || place.Address == "::";
  if (place.Six) {
    return fmt::format("'udp6:[{}]:{}'", any ? "::1" : VisibleText(place.Address), place.Port);
  }
  return fmt::format("{}:{}", any ? "127.0.0.1" : VisibleText(place.Address), place.Port);
}

}  // namespace

std::string HowToSendATrap(std::string_view listenAddresses) {
  std::vector<ListenPlace> places = PlacesOf(listenAddresses);
  if (places.empty()) {
    places = PlacesOf(kReceiverDefaults);
  }
  return Phrase(
      "The receiver listens on {}.\n"
      "Enter its machine as the trap destination of your systems.\n"
      "To send a first trap from that machine:\n\n"
      "snmptrap -v 2c -c public {} '' 1.3.6.1.6.3.1.1.5.1",
      WordsOf(places), TargetOf(places.front()));
}

}  // namespace korvane::intake
