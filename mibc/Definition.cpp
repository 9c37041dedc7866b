#include "Definition.h"

#include <fmt/format.h>

namespace korvane::mibc {

std::string FaultText(const Fault& fault) {
  return fault.Line > 0 ? fmt::format("{}:{}: {}", fault.File.string(), fault.Line, fault.Reason)
                        : fmt::format("{}: {}", fault.File.string(), fault.Reason);
}

}  // namespace korvane::mibc
