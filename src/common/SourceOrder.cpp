#include "common/SourceOrder.h"

#include "platform/Addresses.h"

namespace korvane {
namespace {

// Most names are told from an address by their first letter.
bool MayBeAddress(std::string_view source) {
  return !source.empty() && source.find_first_not_of("0123456789abcdefABCDEF:") != 0;
}

}  // namespace

SourceKey::SourceKey(std::string_view source) {
  if (!MayBeAddress(source)) {
    return;
  }
  const platform::AddressBytes address = platform::BytesOfAddress(source);
  if (address.Length != 0) {
    Kind = address.Length == 4 ? 0 : 1;
    Bytes = address.Bytes;
  }
}

}  // namespace korvane
