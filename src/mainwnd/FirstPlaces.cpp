#include "mainwnd/FirstPlaces.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <system_error>

namespace korvane::mainwnd {
namespace {

constexpr int kSmallest = 500;

bool CanBeUsed(const Place& place) {
  const auto visible = [](int first, int last) {
    return std::min(last, kWholeArea) - std::max(first, 0) >= kSmallest;
  };
  return place.Top >= 0 && visible(place.Left, place.Right) && visible(place.Top, place.Bottom);
}

}  // namespace

std::string ToText(const FirstPlaces& places) {
  std::string text;
  for (const Place& place : places) {
    text += fmt::format("{}{} {} {} {}", text.empty() ? "" : " ", place.Left, place.Top, place.Right,
                        place.Bottom);
  }
  return text;
}

std::optional<FirstPlaces> PlacesFromText(std::string_view text) {
  FirstPlaces places;
  const char* at = text.data();
  const char* const end = text.data() + text.size();
  for (Place& place : places) {
    for (int* edge : {&place.Left, &place.Top, &place.Right, &place.Bottom}) {
      at = std::find_if(at, end, [](char c) { return c != ' '; });
      const auto [stop, error] = std::from_chars(at, end, *edge);
      if (error != std::errc()) {
        return std::nullopt;
      }
      at = stop;
    }
    const bool sane = std::ranges::all_of(std::array{place.Left, place.Top, place.Right, place.Bottom},
                                          [](int edge) { return std::abs(edge) <= 2 * kWholeArea; });
    if (!sane || !CanBeUsed(place)) {
      return std::nullopt;
    }
  }
  return at == end ? std::optional(places) : std::nullopt;
}

}  // namespace korvane::mainwnd
