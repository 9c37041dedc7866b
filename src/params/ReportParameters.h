// What a Report / History window shows: a time range, and the conditions of any other window.
#pragma once

#include <cstdint>

#include "params/WindowParameters.h"

namespace korvane::params {

struct ReportParameters {
  std::int32_t FromTime = 0;  // EventTime units; both bounds belong to the range
  std::int32_t ToTime = 0;
  WindowParameters Window;
};

}  // namespace korvane::params
