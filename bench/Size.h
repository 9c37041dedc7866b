// How much a measurement takes: the figure that its limits are meant for, or a smaller one for a trial run.
#pragma once

#include <cstdint>
#include <cstdlib>

#include <fmt/format.h>

namespace korvane::bench {

// The program's first argument as a positive number; without one, the usual size.  Ends the program
// otherwise.
inline std::int32_t Size(int argc, char** argv, std::int32_t usual) {
  if (argc < 2) {
    return usual;
  }
  const std::int32_t size = std::atoi(argv[1]);
  if (size < 1) {
    fmt::print(stderr, "usage: {} [SIZE]      {} unless given\n", argv[0], usual);
    std::exit(2);
  }
  return size;
}

}  // namespace korvane::bench
