// The service library `KvsIns` as the machine has it: its five calls, and the memory that its texts lie in.
// What the bytes of its record mean is settled above.  windows/ implements it; where the machine has none
// there is no object.  User-interface thread only; the calls never block.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace korvane::platform {

inline constexpr std::size_t kServiceRecordBytes = 40;

struct LibraryMailSettings {
  std::string SmtpServer;
  std::string Recipient;
  std::string Domain;
};

class ServiceLibrary {
 public:
  virtual ~ServiceLibrary() = default;
  virtual std::int32_t StartRecvEvents(std::int32_t highWaterMark) = 0;
  // The record holds addresses of texts; the library may put others in their place.
  virtual std::int32_t GetEventFromList(std::span<std::byte, kServiceRecordBytes> record) = 0;
  virtual std::int32_t StopRecvEvents() = 0;
  // Texts in UTF-8.  False: not known.
  virtual bool KVResolveSystemName(const std::string& address, std::string& name) = 0;
  virtual LibraryMailSettings GetDefaultMailSettings() = 0;

  // Texts of the record, in the bytes of the system's ANSI code page.  An address is never 0, but for that of
  // a text that could not be made.
  virtual std::uint32_t MakeText(std::string_view bytes) = 0;
  virtual std::string ReadText(std::uint32_t address) = 0;
  virtual void ReleaseText(std::uint32_t address) noexcept = 0;
  virtual std::string ToUtf8(std::string_view ansi) = 0;
  virtual std::string ToAnsi(std::string_view utf8) = 0;
};

}  // namespace korvane::platform
