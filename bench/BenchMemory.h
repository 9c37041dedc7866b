// What rows take of the heap beside their own texts.
#pragma once

#include <malloc.h>

#include <cstddef>

#include "traplist/TrapRows.h"

namespace korvane::bench {

inline std::size_t HeapBytes() {
  const auto info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

inline std::size_t TextBytes(const traplist::TrapRows& rows) {
  std::size_t bytes = 0;
  for (std::size_t row = 0; row < rows.Count(); ++row) {
    bytes += rows.VarBindsAt(row).size();
  }
  return bytes;
}

}  // namespace korvane::bench
