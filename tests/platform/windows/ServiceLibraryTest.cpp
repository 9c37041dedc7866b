// The service library of the machine: a stand-in of the tests' own, loaded and called as a real one would be.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <memory>
#include <string>

#include "intake/LibraryLink.h"
#include "platform/windows/SystemHeaders.h"
#include "platform/windows/WindowsPlatform.h"
#include "support/World.h"

namespace korvane::intake {
namespace {

// A folder that nobody else can write, wherever the programs of the build lie.
struct ServiceLibraryTest : testing::Test {
  ServiceLibraryTest() {
    std::array<wchar_t, MAX_PATH> own{};
    GetModuleFileNameW(nullptr, own.data(), MAX_PATH);
    for (const char* name : {"KvsIns.dll", "Incomplete.dll", "recorder.exe"}) {
      std::filesystem::copy_file(std::filesystem::path(own.data()).parent_path() / name, Folder / name);
    }
  }
  const test::TempFolder Folder;
};

std::string Line(const ReceivedTrap& trap) {
  return fmt::format("{}|{}|{}|{}|{}|{}|{}|{}|{}|{}", trap.Source, trap.EnterpriseOid, trap.SpecificTrap,
                     trap.VarBindsFirst, trap.VarBindsSecond, trap.SequenceNumber, trap.EventDescription,
                     trap.GenericTrap, trap.EventTime, trap.TimeKey);
}

TEST_F(ServiceLibraryTest, DeliversTrapsOverItsFiveCalls) {
  auto installed = platform::LoadServiceLibrary(Folder.Path());
  ASSERT_NE(installed, nullptr);
  const auto library = ChooseLibrary(std::move(installed), [] {
    ADD_FAILURE() << "a feeder beside the library";
    return nullptr;
  });
  EXPECT_EQ(library->StartRecvEvents(-1), 1);
  EXPECT_EQ(library->StartRecvEvents(100), kReceiverThreadOk);
  // What the library leaves as it is comes back as it was handed over.
  ReceivedTrap trap;
  trap.Source = "before";
  trap.SequenceNumber = 40;
  trap.EventDescription = "\u20AC stays";
  using namespace std::string_literals;
  EXPECT_NE(library->GetEventFromList(trap), 0);
  EXPECT_EQ(Line(trap),
            "r\u00FCter\0tail|1.3.6.1.4.1.99999|-7|abc\0\0\0|d\u20ACf|41|\u20AC stays|6|1700000000|101"s);
  EXPECT_NE(library->GetEventFromList(trap), 0);
  EXPECT_EQ(Line(trap),
            "r\u00FCter\0tail|1.3.6.1.4.1.99999|-7|abc\0\0\0|d\u20ACf|43|\u20AC stays|6|1700000000|102"s);
  EXPECT_EQ(library->GetEventFromList(trap), 0);
  EXPECT_EQ(library->StopRecvEvents(), kReceiverThreadOk);

  std::string name = "untouched";
  EXPECT_FALSE(library->KVResolveSystemName("192.0.2.8", name));
  EXPECT_EQ(name, "untouched");
  EXPECT_TRUE(library->KVResolveSystemName("192.0.2.7", name));
  EXPECT_EQ(name, "Ger\u00E4t 7");
  const MailSettings mail = library->GetDefaultMailSettings();
  EXPECT_EQ(mail.SmtpServer + " " + mail.Recipient + "@" + mail.Domain, "mail.example operator@example");
}

TEST_F(ServiceLibraryTest, TheFeederTakesThePlaceOfOneThatIsNotThereOrNotWhole) {
  const auto none = platform::LoadServiceLibrary(Folder.Path() / "elsewhere");
  const auto incomplete = platform::LoadServiceLibrary(Folder.Path(), "Incomplete.dll");
  EXPECT_TRUE(none == nullptr && incomplete == nullptr);
  EXPECT_EQ(platform::LoadServiceLibrary(Folder.Path(), "recorder.exe"), nullptr);
  EXPECT_EQ(platform::LoadServiceLibrary("."), nullptr) << "of whatever folder the process works in";
  const auto library = ChooseLibrary(nullptr, [] { return std::make_unique<test::FakeLibrary>(); });
  EXPECT_NE(dynamic_cast<test::FakeLibrary*>(library.get()), nullptr);
}

}  // namespace
}  // namespace korvane::intake
