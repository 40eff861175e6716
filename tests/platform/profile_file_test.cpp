#include "platform/posix/profile_file.h"

#include <gtest/gtest.h>

#include <QTemporaryDir>
#include <filesystem>
#include <fstream>

#include "platform/posix/file_replacement.h"
#include "platform/posix/settings_template.h"
#include "tests/fakes/file_changes.h"

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
  bool hit = true;
  for (int change = 1; hit; ++change)
    for (const bool fails : {false, true}) {
      SCOPED_TRACE(testing::Message() << change << " " << fails);
      Put(contents[0]);
      changeFails = fails;
      hit = IsHitAt(change, [&](const auto& arm) {
        arm();
        const bool saved = SaveNumber(profile, "2");
        if (saved != (ReadWholeFile(path) == contents[1])) Put("not what is said");
      });
      const std::string text = ReadWholeFile(path).value_or("no file");
      EXPECT_TRUE(text == contents[0] || text == contents[1]) << text;
      ASSERT_TRUE(SaveNumber(profile, "3")) << "after what was left";
    }
  EXPECT_NE(calls.find("write sync rename folder "), calls.npos) << "a power cut would leave an empty file";
}

TEST_F(ProfileStrings, AFirstStartCopiesTheFirstUsableTemplateAndReplacesNothing) {
  const auto put = [&](const std::string& name, const std::string& text) {
    fs::create_directories(folder / name);
    std::ofstream(folder / name / "QUENVAR.INI") << text;
  };
  put("first", "first");
  put("second", "second");
  put("large", std::string(65 * 1024, ';'));
  fs::create_directories(folder / "folder" / "QUENVAR.INI");
  const fs::path place = fs::current_path();
  fs::current_path(folder);  // where a relative directory would lead to a template
  // The directories, what is at the path before, what is there afterwards, and how many templates are no good.
  const std::tuple<const char*, const char*, const char*, int> cases[] = {{"@none:@first:@second", "", "first", 0},
                                                                          {"first:@second", "", "second", 0},
                                                                          {"@large:@folder:@second", "", "second", 2},
                                                                          {"@first", "old", "old", 0},
                                                                          {"@first", "link", "", 0},
                                                                          {"", "", "", 0}};
  for (const auto& [directories, before, after, bad] : cases) {
    SCOPED_TRACE(directories);
    fs::remove_all(path.parent_path());
    if (*before != '\0') fs::create_directories(path.parent_path());
    if (before == std::string("link")) fs::create_symlink(folder / "nowhere", path);
    if (before == std::string("old")) Put("old");
    int reports = 0;
    std::string all = directories;
    for (std::size_t at; (at = all.find('@')) != std::string::npos;) all.replace(at, 1, folder.string() + "/");
    CopyFirstTemplate(all, path, [&](const std::string&) { ++reports; });
    EXPECT_EQ(ReadWholeFile(path).value_or(""), after);
    EXPECT_EQ(reports, bad);
    EXPECT_FALSE(fs::exists(folder / "nowhere"));
    const bool copied = *before == '\0' && *after != '\0';
    EXPECT_EQ(copied && fs::status(path).permissions() == fs::perms(0600), copied);
    const auto files =
        fs::exists(path.parent_path()) ? std::distance(fs::directory_iterator(path.parent_path()), {}) : 1;
    EXPECT_EQ(files, 1) << "nothing else is left there";
  }
  fs::current_path(place);
}

}  // namespace
}  // namespace quenvar
