#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <csignal>
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
  ProgramsTest() : programs_(MakePrograms((folder_ / "installed").string())), path_(std::getenv("PATH")) {}
  ~ProgramsTest() override { setenv("PATH", path_.c_str(), 1); }

  std::string Place(const std::string& name, std::string_view script = kRecorder) {
    const std::filesystem::path file = folder_ / name;
    std::filesystem::create_directories(file.parent_path());
    test::WriteFile(file, script);
    chmod(file.c_str(), 0755);
    return file.string();
  }
  // What the program of this name recorded, or an empty text when it was not started in time.
  std::string Recorded(const std::string& name) {
    const std::filesystem::path out = folder_ / (name + ".out");
    return test::WaitUntil([&out] { return std::filesystem::exists(out); }) ? test::ReadFile(out) : "";
  }
  static std::string ArgumentsIn(const std::string& record) {
    const std::size_t first = record.find("arg\n");
    return first == std::string::npos ? "" : record.substr(first);
  }
  void OnlyProgramsHere() { setenv("PATH", folder_.Path().c_str(), 1); }

  test::TempFolder folder_;
  std::unique_ptr<Programs> programs_;
  std::string path_;
};

TEST_F(ProgramsTest, ArgumentsArriveAsTheyAre) {
  const std::vector<std::string> arguments = {"",
                                              "two words",
                                              "it's \"quoted\"",
                                              "$HOME `id` $(id) ; rm -rf *",
                                              "-x",
                                              "back\\slash",
                                              "line\nbreak",
                                              "%s%n",
                                              "\xFF\xC3\xBC"};
  ASSERT_TRUE(programs_->Start(Place("recorder"), arguments));
  std::string expected;
  for (const std::string& argument : arguments) {
    expected += "arg\n" + argument + "\n";
  }
  EXPECT_EQ(ArgumentsIn(Recorded("recorder")), expected);
}

TEST_F(ProgramsTest, ProgramSharesNothingWithTheConsole) {
  const std::filesystem::path secret = folder_ / "secret";
  const int inheritable = open(secret.c_str(), O_RDWR | O_CREAT, 0600);  // without close-on-exec
  ASSERT_GE(inheritable, 0);
  ASSERT_TRUE(programs_->Start(Place("recorder"), {}));
  const std::string record = Recorded("recorder");
  close(inheritable);
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
  EXPECT_EQ(errno, ECHILD);
}

TEST_F(ProgramsTest, FailureToExecuteIsReported) {
  const std::string plain = Place("plain");
  chmod(plain.c_str(), 0644);
  EXPECT_FALSE(programs_->Start((folder_ / "missing").string(), {}));
  EXPECT_FALSE(programs_->Start(plain, {}));
  EXPECT_FALSE(programs_->Start(folder_.Path().string(), {}));
  EXPECT_FALSE(programs_->Start(Place("noise",
                                      "\x7F"
                                      "ELF but not really"),
                                {}));
  EXPECT_FALSE(programs_->Start(Place("orphan", "#!/no/such/interpreter\n"), {}));
  EXPECT_FALSE(programs_->Start("no-such-program-anywhere", {}));
  EXPECT_FALSE(programs_->Start("", {}));
  EXPECT_FALSE(programs_->Start(Place("recorder"), {std::string("a\0b", 3)}));
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
}

TEST_F(ProgramsTest, ProgramsOfTheInstallDirectoryAreFoundByTheirNames) {
  Place("shared tools/mibc");
  const std::string folder = (folder_ / "shared tools").string();
  for (const std::string& program :
       {folder + "\\mibc.exe", "\"" + folder + "\\mibc.EXE\"", folder + "/mibc"}) {
    ASSERT_TRUE(programs_->Start(program, {"x"})) << program;
    EXPECT_EQ(ArgumentsIn(Recorded("shared tools/mibc")), "arg\nx\n");
    std::filesystem::remove(folder_ / "shared tools/mibc.out");
  }
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(folder);
  EXPECT_TRUE(programs_->Start(".\\mibc.exe", {}));
  EXPECT_FALSE(programs_->Start(".\\dvlSupport.exe", {}));
  std::filesystem::current_path(before);
  EXPECT_NE(Recorded("shared tools/mibc"), "");
}

TEST_F(ProgramsTest, NobodyElseChoosesWhichProgramIsStarted) {
  const std::string shared = (folder_ / "shared").string();
  const std::string planted = Place("shared/mibc");
  const auto starts = [this, &shared] { return programs_->Start(shared + "\\mibc.exe", {}); };
  struct Row {
    mode_t Folder;
    mode_t File;
    bool Starts;
  };
  for (const Row& row : {Row{0755, 0755, true}, Row{0755, 0775, false}, Row{0755, 0757, false},
                         Row{0775, 0755, false}, Row{0757, 0755, false}, Row{03775, 0755, true}}) {
    ASSERT_EQ(chmod(planted.c_str(), row.File), 0);
    ASSERT_EQ(chmod(shared.c_str(), row.Folder), 0);
    EXPECT_EQ(starts(), row.Starts) << std::oct << row.Folder << ' ' << row.File;
  }
  // A link leads to a program that is fine, but who made the link made the choice.
  const std::filesystem::path real = Place("real/mibc");
  std::filesystem::remove(planted);
  std::filesystem::create_symlink(real, planted);
  EXPECT_TRUE(starts());
  if (geteuid() == 0) {
    ASSERT_EQ(lchown(planted.c_str(), 65534, 65534), 0);
    EXPECT_FALSE(starts());
    ASSERT_EQ(chown(real.c_str(), 65534, 65534), 0);
    ASSERT_EQ(lchown(planted.c_str(), 0, 0), 0);
    EXPECT_FALSE(starts());
  }
  // What was installed with the console goes first, whatever the folder holds.
  Place("installed/mibc");
  EXPECT_TRUE(starts());
  EXPECT_NE(Recorded("installed/mibc"), "");
}

TEST_F(ProgramsTest, NotepadIsTheDesktopsTextEditor) {
  OnlyProgramsHere();
  EXPECT_FALSE(programs_->Start("NOTEPAD.EXE", {"-Window Print.txt"}));
  // The console works in a shared folder: a path of the user's that begins at "." never meant that one.
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(folder_.Path());
  Place("gedit");
  setenv("PATH", ".::", 1);
  EXPECT_FALSE(programs_->Start("NOTEPAD.EXE", {"-Window Print.txt"}));
  std::filesystem::current_path(before);
  std::filesystem::remove(folder_ / "gedit");
  OnlyProgramsHere();
  const std::string file = (std::filesystem::current_path() / "-Window Print.txt").string();

  Place("xdg-open");
  ASSERT_TRUE(programs_->Start("NOTEPAD.EXE", {"-Window Print.txt"}));
  EXPECT_EQ(ArgumentsIn(Recorded("xdg-open")), "arg\n" + file + "\n");

  Place("mousepad");
  ASSERT_TRUE(programs_->Start("notepad.exe", {"-Window Print.txt"}));
  EXPECT_EQ(ArgumentsIn(Recorded("mousepad")), "arg\n" + file + "\n");

  Place("gtk-launch");
  Place("xdg-mime",
        "#!/bin/sh\n[ \"$*\" = 'query default text/plain' ] && echo org.example.Editor.desktop\n");
  ASSERT_TRUE(programs_->Start("NOTEPAD.EXE", {"-Window Print.txt"}));
  EXPECT_EQ(ArgumentsIn(Recorded("gtk-launch")), "arg\norg.example.Editor.desktop\narg\n" + file + "\n");

  // A desktop that names no editor: the known one again.
  Place("xdg-mime", "#!/bin/sh\nexit 4\n");
  std::filesystem::remove(folder_ / "mousepad.out");
  ASSERT_TRUE(programs_->Start("NOTEPAD.EXE", {"-Window Print.txt"}));
  EXPECT_NE(Recorded("mousepad"), "");
}

TEST_F(ProgramsTest, AProgramThatDoesNotEndIsNotWaitedFor) {
  const std::string slow = Place("slow", "#!/bin/sh\nexec /bin/sleep 600\n");
  EXPECT_EQ(RunAndRead(slow, {}, 100), std::nullopt);
  const std::string endless = Place("endless", "#!/bin/sh\nwhile :; do echo text; done\n");
  EXPECT_EQ(RunAndRead(endless, {}, 20000), std::nullopt);
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
}

}  // namespace
}  // namespace korvane::platform
