#include "platform/posix/profile_file.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>

namespace quenvar {
namespace {

namespace fs = std::filesystem;

class ProfileStrings : public testing::Test {
 protected:
  ProfileStrings() {
    char name[] = "/tmp/quenvar-profile-XXXXXX";
    folder = mkdtemp(name);
    path = folder + "/config/QUENVAR.INI";
  }
  ~ProfileStrings() override { fs::remove_all(folder); }

  void Put(const std::string& text) {
    fs::create_directories(folder + "/config");
    std::ofstream(path, std::ios::binary) << text;
  }
  std::string Content() {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
  }
  std::string Get(const std::string& section, const std::string& key) {
    return ProfileFile(path).GetString(section, key, "missing", 80);
  }
  bool Set(const std::string& section, const std::string& key, const std::string& value) {
    ProfileFile profile(path);
    profile.BeginSave();
    profile.WriteString(section, key, value);
    return profile.CommitSave();
  }

  std::string folder;
  std::string path;
};

TEST_F(ProfileStrings, ValuesAreFoundByTheRulesOfTheFormat) {
  Put("key=before any section\r\n"
      "; [OPTIONS]\r\n"
      "[Options] rest\r\n"
      ";key=comment\r\n"
      "  KEY\t=  value = more ; all of it \t\r\n"
      "key=second\r\n"
      "empty=\r\n"
      "double=\"  quoted \"\r\n"
      "single='quoted'\r\n"
      "uneven=\"quoted'\r\n"
      "one=\"\r\n"
      "no equals sign\r\n"
      "=no key\r\n"
      "[OTHER\r\n"
      "key=other\r\n"
      "[options]\r\n"
      "late=ignored");
  EXPECT_EQ(Get("OPTIONS", "key"), "value = more ; all of it");
  EXPECT_EQ(Get("options", "EMPTY"), "");
  EXPECT_EQ(Get("OPTIONS", "double"), "  quoted ");
  EXPECT_EQ(Get("OPTIONS", "single"), "quoted");
  EXPECT_EQ(Get("OPTIONS", "uneven"), "\"quoted'");
  EXPECT_EQ(Get("OPTIONS", "one"), "\"");
  EXPECT_EQ(Get("OPTIONS", "no equals sign"), "missing");
  EXPECT_EQ(Get("OTHER", "key"), "other");
  EXPECT_EQ(Get("OPTIONS", "late"), "missing") << "of two sections with one name the first counts";
  EXPECT_EQ(Get("NONE", "key"), "missing");
}

TEST_F(ProfileStrings, EverythingElseStaysByteForByte) {
  Put("; a comment\r\n\r\n[Foreign]\r\nx = 1\r\n\r\n[options]\r\n SysTray = old\r\n; kept\r\n\r\n[Last]\r\ny=2");
  ProfileFile profile(path);
  profile.BeginSave();
  profile.WriteString("OPTIONS", "SYSTRAY", "Yes");
  profile.WriteString("OPTIONS", "NOCACHE", "No");
  profile.WriteString("NEW", "A", "line\r\nbreak");
  profile.WriteString("Last", "z", "");
  EXPECT_TRUE(profile.CommitSave());
  EXPECT_EQ(Content(),
            "; a comment\r\n\r\n[Foreign]\r\nx = 1\r\n\r\n[options]\r\nSysTray=Yes\r\n; "
            "kept\r\nNOCACHE=No\r\n\r\n[Last]\r\ny=2\r\n"
            "z=\r\n[NEW]\r\nA=line  break\r\n");
  EXPECT_EQ(profile.GetString("new", "a", "", 80), "line  break");
}

TEST_F(ProfileStrings, ChangesByHandBetweenTwoSavesSurvive) {
  ProfileFile profile(path);
  Put("[S]\nk=1\n");
  EXPECT_EQ(profile.GetString("S", "k", "", 80), "1");
  Put("[S]\nk=1\nby hand=2\n");
  profile.BeginSave();
  profile.WriteString("S", "k", "3");
  EXPECT_TRUE(profile.CommitSave());
  EXPECT_EQ(Content(), "[S]\nk=3\nby hand=2\n");
}

TEST_F(ProfileStrings, TheFileIsReplacedAtOnceAndALinkToItAndItsModeStay) {
  Put("[S]\nk=1\n");
  fs::rename(path, folder + "/target");
  fs::create_symlink(folder + "/target", path);
  fs::permissions(folder + "/target", fs::perms::owner_read | fs::perms::owner_write);
  fs::create_hard_link(folder + "/target", folder + "/old");
  EXPECT_TRUE(Set("S", "k", "2"));
  EXPECT_TRUE(fs::is_symlink(path));
  EXPECT_EQ(Content(), "[S]\nk=2\n");
  EXPECT_NE(fs::hard_link_count(folder + "/old"), 2u) << "written over: a kill would leave a piece";
  EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(ProfileStrings, AMarkOfUnicodeBeforeTheFirstSectionIsPassedOver) {
  Put("\xEF\xBB\xBF[S]\nk=1\n\n\n[T]\n");
  EXPECT_EQ(Get("S", "k"), "1");
  EXPECT_TRUE(Set("S", "new", "2"));
  EXPECT_EQ(Content(), "\xEF\xBB\xBF[S]\nk=1\nnew=2\n\n\n[T]\n");
}

}  // namespace
}  // namespace quenvar
