#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "platform/linux/ChildProcess.h"
#include "platform/linux/LinuxPlatform.h"
#include "support/Processes.h"
#include "support/TempFolder.h"

namespace korvane::platform {
namespace {

namespace fs = std::filesystem;

// A program that records how it was started beside its own file, each argument behind a line of its own.
constexpr char kRecorder[] =
    "#!/bin/sh\n"
    "{\n"
    "  read -r status < /proc/$$/stat\n"
    "  echo \"stat $status\"\n"
    "  for number in /proc/$$/fd/*; do\n"
    "    [ -e \"$number\" ] && echo \"fd $(/usr/bin/readlink \"$number\")\"\n"
    "  done\n"
    "  for argument in \"$@\"; do printf 'arg\\n%s\\n' \"$argument\"; done\n"
    "} > \"$0.part\"\n"
    "/bin/mv \"$0.part\" \"$0.out\"\n";

class ProgramsTest : public testing::Test {
 protected:
  ~ProgramsTest() override {
    setenv("PATH", path_.c_str(), 1);
    fs::current_path(before_);
  }

  std::string Place(const std::string& name, std::string_view script = kRecorder) {
    const fs::path file = folder_ / name;
    fs::create_directories(file.parent_path());
    test::WriteFile(file, script);
    chmod(file.c_str(), 0755);
    return file.string();
  }
  bool Start(const std::string& program, const std::vector<std::string>& arguments = {}) {
    return programs_->Start(program, arguments);
  }
  // What the program of this name recorded, or an empty text when it was not started in time.
  std::string Recorded(const std::string& name) {
    const fs::path out = folder_ / (name + ".out");
    const bool ran = test::WaitUntil([&out] { return fs::exists(out); });
    std::string record = ran ? test::ReadFile(out) : "";
    fs::remove(out);
    return record;
  }
  std::string RecordedArguments(const std::string& name) {
    const std::string record = Recorded(name);
    return record.substr(std::min(record.find("arg\n"), record.size()));
  }

  test::TempFolder folder_;
  std::unique_ptr<Programs> programs_ = MakePrograms((folder_ / "installed").string());
  std::string path_ = std::getenv("PATH");
  fs::path before_ = fs::current_path();
};

TEST_F(ProgramsTest, GetTheirArgumentsAsTheyAreAndNothingElseOfTheConsoles) {
  const fs::path secret = folder_ / "secret";
  const int inheritable = open(secret.c_str(), O_RDWR | O_CREAT, 0600);  // without close-on-exec
  std::string expected;
  const std::vector<std::string> arguments = {
      "",     "two words",   "it's \"quoted\"", "$HOME `id` $(id) ; rm *", "-x", "back\\slash", "line\nbreak",
      "%s%n", "\xFF\xC3\xBC"};
  for (const std::string& argument : arguments) {
    expected += "arg\n" + argument + "\n";
  }
  ASSERT_TRUE(Start(Place("recorder"), arguments));
  const std::string record = Recorded("recorder");
  close(inheritable);
  EXPECT_TRUE(record.ends_with("\n" + expected)) << record;
  EXPECT_EQ(record.find(secret.string()), std::string::npos) << record;
  std::istringstream status(record.substr(record.rfind(')', record.find('\n')) + 1));
  std::string state;
  pid_t parent = 0;
  pid_t group = 0;
  pid_t session = 0;
  ASSERT_TRUE(status >> state >> parent >> group >> session) << record;
  EXPECT_NE(parent, getpid());
  EXPECT_NE(session, getsid(0));
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child is left to be waited for";
}

TEST_F(ProgramsTest, ThatDoNotStartOrEndAreToldAndLeaveNoChild) {
  const std::string plain = Place("plain");
  chmod(plain.c_str(), 0644);
  for (const std::string& program : {(folder_ / "missing").string(), plain, folder_.Path().string(),
                                     Place("noise",
                                           "\x7F"
                                           "ELF but not really"),
                                     Place("orphan", "#!/no/such/interpreter\n"),
                                     std::string("no-such-program-anywhere"), std::string()}) {
    EXPECT_FALSE(Start(program)) << program;
  }
  EXPECT_FALSE(Start(Place("recorder"), {std::string("a\0b", 3)}));
  EXPECT_EQ(RunAndRead(Place("slow", "#!/bin/sh\nexec /bin/sleep 600\n"), {}, 100), std::nullopt);
  EXPECT_EQ(RunAndRead(Place("endless", "#!/bin/sh\nexec /usr/bin/yes\n"), {}, 20000), std::nullopt);
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
}

TEST_F(ProgramsTest, OfTheInstallDirectoryAreFoundByTheirNames) {
  Place("shared tools/mibc");
  const std::string folder = (folder_ / "shared tools").string();
  fs::current_path(folder);
  for (const std::string& program : {folder + "\\mibc.exe", "\"" + folder + "\\mibc.EXE\"", folder + "/mibc",
                                     std::string(".\\mibc.exe")}) {
    ASSERT_TRUE(Start(program, {"x"})) << program;
    EXPECT_EQ(RecordedArguments("shared tools/mibc"), "arg\nx\n");
  }
  EXPECT_FALSE(Start(".\\dvlSupport.exe"));
}

TEST_F(ProgramsTest, AreChosenByNobodyElse) {
  const std::string shared = (folder_ / "shared").string();
  const std::string planted = Place("shared/mibc");
  const std::string program = shared + "\\mibc.exe";
  struct Row {
    mode_t Folder;
    mode_t File;
    bool Starts;
  };
  for (const Row& row : {Row{0755, 0755, true}, Row{0755, 0775, false}, Row{0755, 0757, false},
                         Row{0775, 0755, false}, Row{0757, 0755, false}, Row{03775, 0755, true}}) {
    ASSERT_EQ(chmod(planted.c_str(), row.File), 0);
    ASSERT_EQ(chmod(shared.c_str(), row.Folder), 0);
    EXPECT_EQ(Start(program), row.Starts) << std::oct << row.Folder << ' ' << row.File;
  }
  // A link leads to a program that is fine, but who made the link made the choice.
  const fs::path real = Place("real/mibc");
  fs::remove(planted);
  fs::create_symlink(real, planted);
  EXPECT_TRUE(Start(program));
  if (geteuid() == 0) {
    ASSERT_EQ(lchown(planted.c_str(), 65534, 65534), 0);
    EXPECT_FALSE(Start(program));
    ASSERT_EQ(chown(real.c_str(), 65534, 65534), 0);
    ASSERT_EQ(lchown(planted.c_str(), 0, 0), 0);
    EXPECT_FALSE(Start(program));
  }
  // What was installed with the console goes first, whatever the folder holds.
  Place("installed/mibc");
  EXPECT_TRUE(Start(program));
  EXPECT_NE(Recorded("installed/mibc"), "");
}

TEST_F(ProgramsTest, NotepadIsTheDesktopsTextEditor) {
  // The console works in a shared folder: a path of the user's that begins at "." never meant that one.
  fs::current_path(folder_.Path());
  Place("gedit");
  for (const char* const path : {"/nonexistent", ".::"}) {
    setenv("PATH", path, 1);
    EXPECT_FALSE(Start("NOTEPAD.EXE", {"-Window Print.txt"}));
  }
  fs::remove(folder_ / "gedit");
  setenv("PATH", folder_.Path().c_str(), 1);
  const std::string file = "arg\n" + (fs::current_path() / "-Window Print.txt").string() + "\n";
  const auto opens = [&](const std::string& program, const std::string& arguments) {
    ASSERT_TRUE(Start("notepad.EXE", {"-Window Print.txt"})) << program;
    EXPECT_EQ(RecordedArguments(program), arguments) << program;
  };
  Place("xdg-open");
  opens("xdg-open", file);
  Place("mousepad");
  opens("mousepad", file);
  Place("gtk-launch");
  Place("xdg-mime",
        "#!/bin/sh\n[ \"$*\" = 'query default text/plain' ] && echo org.example.Editor.desktop\n");
  opens("gtk-launch", "arg\norg.example.Editor.desktop\n" + file);
  Place("xdg-mime", "#!/bin/sh\nexit 4\n");  // a desktop that names no editor: the known one again
  opens("mousepad", file);
}

}  // namespace
}  // namespace korvane::platform
