// A service library as the console expects it: five calls by name, a record of forty bytes, texts in the ANSI
// code page with a length in front of them.  It has two traps in its list.
#include <windows.h>

#include <array>
#include <cstdint>
#include <string_view>

#include <oleauto.h>

namespace {

using namespace std::string_view_literals;

constexpr std::int32_t kThreadOk = 2000;

// The fields of the record in their order, of four bytes each.
using Record = std::array<std::uint32_t, 10>;
constexpr std::size_t Source = 0, EnterpriseOid = 1, SpecificTrap = 2, VarBindsFirst = 3, VarBindsSecond = 4,
                      SequenceNumber = 5, GenericTrap = 7, EventTime = 8, TimeKey = 9;

std::int32_t mark = 0;
int taken = 0;

BSTR Text(std::string_view bytes) {
  return SysAllocStringByteLen(bytes.data(), static_cast<UINT>(bytes.size()));
}

void Replace(std::uint32_t& place, std::string_view bytes) {
  SysFreeString(reinterpret_cast<BSTR>(static_cast<std::uintptr_t>(place)));
  place = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(Text(bytes)));
}

}  // namespace

#define LIBRARY_CALL extern "C" __declspec(dllexport)

LIBRARY_CALL std::int32_t __stdcall StartRecvEvents(std::int32_t highWaterMark) {
  mark = highWaterMark;
  taken = 0;
  return highWaterMark >= 0 ? kThreadOk : 1;
}

LIBRARY_CALL std::int32_t __stdcall GetEventFromList(Record* record) {
  if (taken == 2) {
    return 0;
  }
  ++taken;
  Record& fields = *record;
  Replace(fields[Source],
          "r\xFC"
          "ter\0tail"sv);
  fields[SequenceNumber] += static_cast<std::uint32_t>(taken);
  fields[TimeKey] = static_cast<std::uint32_t>(mark + taken);
  if (taken == 1) {
    Replace(fields[EnterpriseOid], "1.3.6.1.4.1.99999");
    Replace(fields[VarBindsFirst], "abc\0\0\0"sv);
    Replace(fields[VarBindsSecond],
            "d\x80"
            "f"sv);
    fields[SpecificTrap] = static_cast<std::uint32_t>(-7);
    fields[GenericTrap] = 6;
    fields[EventTime] = 1'700'000'000;
  }
  return -1;
}

LIBRARY_CALL std::int32_t __stdcall StopRecvEvents() {
  return kThreadOk;
}

LIBRARY_CALL std::int32_t __stdcall KVResolveSystemName(const char* address, BSTR* name) {
  if (address != "192.0.2.7"sv) {
    return 0;
  }
  *name = Text("Ger\xE4t 7\0\0"sv);
  return 1;
}

#ifndef WITHOUT_MAIL_SETTINGS
LIBRARY_CALL std::int32_t __stdcall GetDefaultMailSettings(BSTR* smtpServer, BSTR* recipient, BSTR* domain) {
  *smtpServer = Text("mail.example");
  *recipient = Text("operator");
  *domain = Text("example\0.net"sv);
  return 1;
}
#endif
