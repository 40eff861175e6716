#include "platform/posix/profile_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QTemporaryDir>
#include <cerrno>
#include <filesystem>
#include <fstream>

#include "platform/posix/file_replacement.h"

namespace {

int changesLeft = 0;
bool kills = false;
std::string calls;

// The change of a file that the test has chosen fails, or the program is killed in front of it.
bool Fails(const char* call) {
  calls += call;
  if (changesLeft == 0 || --changesLeft > 0) return false;
  if (kills) raise(SIGKILL);
  errno = ENOSPC;
  return true;
}

}  // namespace

extern "C" {

ssize_t write(int file, const void* bytes, std::size_t size) {
  return Fails("write ") ? -1 : syscall(SYS_write, file, bytes, size);
}
int fsync(int file) { return Fails("sync ") ? -1 : static_cast<int>(syscall(SYS_fsync, file)); }
int rename(const char* from, const char* to) { return Fails("rename ") ? -1 : renameat(AT_FDCWD, from, AT_FDCWD, to); }
int unlink(const char* path) { return Fails("") ? -1 : unlinkat(AT_FDCWD, path, 0); }
}

namespace quenvar {
namespace {

namespace fs = std::filesystem;

class ProfileStrings : public testing::Test {
 protected:
  void Put(const std::string& text) {
    fs::create_directories(folder / "config");
    std::ofstream(path, std::ios::binary) << text;
  }

  const QTemporaryDir temporary;
  const fs::path folder = temporary.path().toStdString();
  const fs::path path = folder / "config" / "QUENVAR.INI";
  ProfileFile profile{path};
};

bool SaveNumber(ProfileFile& profile, const char* number) {
  profile.BeginSave();
  profile.WriteString("S", "k", number);
  return profile.CommitSave();
}

TEST_F(ProfileStrings, ValuesAreFoundByTheRulesOfTheFormat) {
  Put("key=before any section\r\n; [OPTIONS]\r\n"
      "[Options] rest\r\n;key=comment\r\n  KEY\t=  value = more ; all of it \t\r\nkey=second\r\n"
      "empty=\r\ndouble=\"  quoted \"\r\nsingle='quoted'\r\nuneven=\"quoted'\r\none=\"\r\nno equals sign\r\n"
      "[OTHER\r\nkey=other\r\n"
      "[options]\r\nlate=of two sections with one name the first counts");
  const std::tuple<const char*, const char*, const char*> cases[] = {{"OPTIONS", "key", "value = more ; all of it"},
                                                                     {"options", "EMPTY", ""},
                                                                     {"OPTIONS", "double", "  quoted "},
                                                                     {"OPTIONS", "single", "quoted"},
                                                                     {"OPTIONS", "uneven", "\"quoted'"},
                                                                     {"OPTIONS", "one", "\""},
                                                                     {"OPTIONS", "no equals sign", "missing"},
                                                                     {"OPTIONS", "late", "missing"},
                                                                     {"OTHER", "key", "other"},
                                                                     {"NONE", "key", "missing"}};
  for (const auto& [section, key, value] : cases)
    EXPECT_EQ(profile.GetString(section, key, "missing", 80), value) << key;
}

TEST_F(ProfileStrings, EverythingElseStaysByteForByteWhoeverWroteIt) {
  Put("\xEF\xBB\xBF[options]\r\n SysTray = old\r\n");
  EXPECT_EQ(profile.GetString("OPTIONS", "SYSTRAY", "", 80), "old");
  Put("\xEF\xBB\xBF[options]\r\n SysTray = old\r\n; by hand\r\n\r\n\r\n[Last]\r\ny = 2");
  profile.BeginSave();
  profile.WriteString("OPTIONS", "SYSTRAY", "Yes");
  profile.WriteString("OPTIONS", "NOCACHE", "No");
  profile.WriteString("NEW", "A", " line\r\n= break");
  profile.WriteString("Last", "z", "'typed'");
  profile.WriteString("Last", "x", "");
  EXPECT_TRUE(profile.CommitSave());
  EXPECT_EQ(ReadWholeFile(path),
            "\xEF\xBB\xBF[options]\r\nSysTray=Yes\r\n; by hand\r\nNOCACHE=No\r\n\r\n\r\n[Last]\r\ny = "
            "2\r\nz=\"'typed'\"\r\nx=\r\n"
            "[NEW]\r\nA=\" line  = break\"\r\n");
  EXPECT_EQ(profile.GetString("new", "a", "", 80), " line  = break");
}

TEST_F(ProfileStrings, ALinkToTheFileAndItsModeStay) {
  Put("[S]\nk=1\n");
  fs::rename(path, folder / "target");
  fs::create_symlink(folder / "target", path);
  fs::permissions(folder / "target", fs::perms::owner_read | fs::perms::owner_write);
  ProfileFile linked(path);
  EXPECT_TRUE(SaveNumber(linked, "2"));
  EXPECT_TRUE(fs::is_symlink(path));
  EXPECT_EQ(ReadWholeFile(path), "[S]\nk=2\n");
  EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(ProfileStrings, ANewFileIsForItsOwnerOnlyAndNoFileAtAllIsReplaced) {
  umask(0);
  EXPECT_TRUE(SaveNumber(profile, "1"));
  EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_read | fs::perms::owner_write);
  fs::remove(path);
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  EXPECT_FALSE(SaveNumber(profile, "2"));
  EXPECT_TRUE(fs::is_fifo(path)) << "what it holds is not known";
}

TEST_F(ProfileStrings, AKillOrAFailureAtAnyChangeLeavesTheOldFileOrTheNewOne) {
  const std::string contents[] = {"[S]\nk=1\n", "[S]\nk=2\n"};
  bool reached = true;
  for (int change = 1; reached; ++change)
    for (const bool killed : {true, false}) {
      SCOPED_TRACE(testing::Message() << change << " " << killed);
      Put(contents[0]);
      const pid_t child = fork();
      if (child == 0) {
        kills = killed;
        changesLeft = change;
        const bool saved = SaveNumber(profile, "2");
        _exit(changesLeft > 0 ? 2 : saved);
      }
      int status = 0;
      ASSERT_EQ(waitpid(child, &status, 0), child);
      reached = WEXITSTATUS(status) != 2;
      const std::string text = ReadWholeFile(path).value_or("no file");
      EXPECT_TRUE(text == contents[0] || text == contents[1]) << text;
      EXPECT_TRUE(WIFSIGNALED(status) || (WEXITSTATUS(status) == 0) == (text == contents[0])) << text;
      ASSERT_TRUE(SaveNumber(profile, "3")) << "after what was left";
    }
  EXPECT_NE(calls.find("write sync rename sync "), calls.npos) << "a power cut would leave an empty file";
}

}  // namespace
}  // namespace quenvar
