// What a message may leave behind in the SNMP library's own tables, which the library itself never clears.

#include <gtest/gtest.h>

#include <string>

#include <fmt/format.h>

#include "receiver/snmp/NetSnmp.h"
#include "receiver/snmp/SnmpLibrary.h"
#include "support/TempFolder.h"

namespace korvane::receiver {
namespace {

const u_char* Octets(const std::string& id) {
  return reinterpret_cast<const u_char*>(id.data());
}

bool HasClock(const std::string& id) {
  return search_enginetime_list(Octets(id), static_cast<u_int>(id.size())) != nullptr;
}

bool HasUser(const std::string& id, const char* user) {
  return usm_get_user(Octets(id), id.size(), user) != nullptr;
}

unsigned BootsOf(const std::string& id) {
  unsigned boots = 0;
  unsigned time = 0;
  get_enginetime(Octets(id), static_cast<u_int>(id.size()), &boots, &time, TRUE);
  return boots;
}

// As the library reads a message: it notes the engine first and its clock last.
void Read(SnmpLibrary& library, const std::string& user, const std::string& id, unsigned boots) {
  library.BeginMessage();
  library.ExpectSender(user, id);
  set_enginetime(Octets(id), static_cast<u_int>(id.size()), 0, 0, FALSE);
  EXPECT_EQ(HasUser(id, user.c_str()), user != "nobody");
  if (boots != 0) {
    set_enginetime(Octets(id), static_cast<u_int>(id.size()), boots, 1000, TRUE);
  }
  library.EndMessage(user, id, boots != 0);
}

TEST(SnmpLibrary, KeepsClocksOfHonestEnginesAndNothingOfInventedOnes) {
  const test::TempFolder folder;
  ServiceLog log([](LogLevel, std::string_view line) { ADD_FAILURE() << line; });
  const std::string own = "\x80this engine";
  const std::string bound = "\x80\x01\x02\x03\x04";
  ReceiverState state;
  state.EngineId = own;
  state.Starts = 1;
  SnmpLibrary library(folder.Path(), state, log);
  library.SetAccess(
      ParseSnmpAccess("createUser both SHA-256 authpass1 AES privpass1\ncreateUser open\n"
                      "createUser -e 0x8001020304 bound MD5 authpass1\n"));
  // Enough of them that every chain of the library's table has several.
  const auto engine = [](int number) { return fmt::format("engine{:04}", number); };
  for (unsigned round = 1; round <= 3; ++round) {
    for (int i = 0; i < 100; ++i) {
      Read(library, "both", engine(i), round);
      Read(library, "both", engine(i), 0);  // forged: what was learnt stays
      Read(library, "open", "invented " + engine(i), 0);
      Read(library, "nobody", "invented " + engine(i), 0);
      ASSERT_FALSE(HasClock("invented " + engine(i)));
      ASSERT_FALSE(HasUser("invented " + engine(i), "open"));
      ASSERT_TRUE(HasClock(own));
      ASSERT_TRUE(HasClock(bound));
    }
  }
  for (int i = 0; i < 100; ++i) {
    library.BeginMessage();
    library.ExpectSender("both", engine(i));
    EXPECT_EQ(BootsOf(engine(i)), 3u) << "a message sent again is still known as old";
    library.EndMessage("both", engine(i), false);
    EXPECT_FALSE(HasClock(engine((i + 99) % 100)));
  }
  library.SetAccess({});
  EXPECT_EQ(usm_get_userList(), nullptr);
}

}  // namespace
}  // namespace korvane::receiver
