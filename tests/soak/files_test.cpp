// The files of the program when it is killed, cannot write, or finds something else in their place.
#include <linux/capability.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/prctl.h>

#include <algorithm>
#include <functional>
#include <iostream>

#include "soak.h"

namespace quenvar::lab {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

const std::string kEnd = "; the end\n";

class Files : public Soak {
 protected:
  Files() {
    UseOptions(kEnd);
    manners_ = {.names = 30, .longestDelay = milliseconds(3)};
  }

  /// Starts the program and notes how long that takes.
  std::unique_ptr<Program> Start() {
    const auto begin = steady_clock::now();
    auto program = std::make_unique<Program>(home_);
    lastStart_ = std::chrono::duration_cast<milliseconds>(steady_clock::now() - begin);
    longestStart_ = std::max(longestStart_, lastStart_);
    return program;
  }
  void Fill() {
    Start();
    const auto program = Start();
    for (int batch = 0; batch < 10; ++batch) AskAndAnswer(100);
  }
  void RemoveCache() const {
    for (const char* companion : {"", "-wal", "-shm", "-journal"}) fs::remove_all(database_.string() + companion);
  }
  bool SettingsAreWhole() const {
    return ReadFile(home_.SettingsFile()).find(kEnd) != std::string::npos && home_.Setting("DNS_9_ENABLED") == "Yes";
  }

  const fs::path database_ = home_.ProgramFile("DNSCACHE.MDB");
  const fs::path log_ = home_.ProgramFile("DNSCACHE.MDB-wal");
  milliseconds lastStart_{0};
  milliseconds longestStart_{0};
};

// Every fourth kill comes while the program ends and saves.
TEST_F(Files, NothingIsLostByAKill) {
  const int kills = Size(200);
  CacheContent content;
  for (int kill = 0; kill < kills; ++kill) {
    const auto program = Start();
    AskFor(milliseconds(Random(700)));
    if (kill % 4 == 3) {
      program->Signal(SIGTERM);
      std::this_thread::sleep_for(milliseconds(Random(15)));
    }
    program->Signal(SIGKILL);
    program->Wait();
    const std::size_t before = content.names;
    content = ReadCache(home_);
    ASSERT_EQ(content.fault, "") << "kill " << kill;
    ASSERT_GE(content.names, before) << "kill " << kill;
    ASSERT_TRUE(SettingsAreWhole()) << "kill " << kill;
  }
  EXPECT_LT(longestStart_, milliseconds(2000));
  EXPECT_EQ(wrong_, 0);
  std::cout << kills << " kills, " << content.names << " names stored, " << answered_ << " answers, longest start "
            << longestStart_.count() << " ms\n";
}

TEST_F(Files, FailingWritesKeepNoAnswerBack) {
  manners_.names = 5;
  Fill();
  const std::string filled = ReadFile(database_);
  const std::string settings = ReadFile(home_.SettingsFile());
  const fs::path counter = kDirectory / "counter";
  const auto run = [&](int failing, bool forEver) {
    RemoveCache();
    WriteFile(database_, filled);
    WriteFile(home_.SettingsFile(), settings);
    const Environment environment({{"LD_PRELOAD", Preload("failing_writes")},
                                   {"SOAK_FAIL_AT", std::to_string(failing)},
                                   {"SOAK_FAIL_EVER", forEver ? "1" : "0"},
                                   {"SOAK_COUNT_FILE", failing == 0 ? counter : ""}});
    const auto program = Start();
    AskAndAnswer(30);
    std::this_thread::sleep_for(milliseconds(510));  // until what is stored goes into the file
    AskAndAnswer(30);
  };
  run(0, false);
  const int calls = std::stoi(ReadFile(counter));
  const int step = calls / Size(calls);
  for (int failing = 1; failing <= calls; failing += step)
    for (const bool forEver : {false, true}) {
      ASSERT_NO_FATAL_FAILURE(run(failing, forEver));
      EXPECT_EQ(ReadCache(home_).fault, "") << "call " << failing << (forEver ? " and all after it" : "");
      EXPECT_TRUE(SettingsAreWhole()) << "call " << failing;
      ASSERT_EQ(answered_, asked_) << "call " << failing << (forEver ? " and all after it" : "");
    }
  std::cout << calls << " calls, " << answered_ << " of " << asked_ << " queries answered, " << wrong_ << " wrong\n";
  EXPECT_EQ(wrong_, 0);
}

class DamagedFiles : public Files {
 protected:
  /// A number of bytes somewhere in the filled file.
  std::string Changed(std::size_t begin, std::size_t size, const std::function<char(char)>& change) const {
    std::string content = filled_;
    for (std::size_t at = begin; at < std::min(begin + size, content.size()); ++at) content[at] = change(content[at]);
    return content;
  }
  std::size_t Somewhere() { return static_cast<std::size_t>(Random(static_cast<int>(filled_.size()))); }

  /// Puts a damaged file of one kind into the place of the cache: what was done.
  std::string Damage(int kind) {
    const auto random = [this](char) { return static_cast<char>(Random(256)); };
    const auto bit = [this](char c) { return static_cast<char>(c ^ 1 << Random(8)); };
    std::string content = filled_;
    switch (kind) {
      case 0:
        for (int bits = Random(30); bits >= 0; --bits) content[Somewhere()] ^= static_cast<char>(1 << Random(8));
        WriteFile(database_, content);
        return "bits";
      case 1:
        WriteFile(database_, content.substr(0, Somewhere()));
        return "cut";
      case 2:
        WriteFile(database_,
                  Changed(Somewhere() / 1024 * 1024, 1024 * (1 + Somewhere() % 8), [](char) { return '\0'; }));
        return "zero pages";
      case 3:
        WriteFile(database_, Changed(Somewhere() % 100, 1 + Somewhere() % 30, random));
        return "header";
      case 4:
        WriteFile(database_, Changed(Somewhere(), Somewhere() % 5000, bit));
        return "noise";
      case 5:
        WriteFile(database_, content);
        WriteFile(log_, foreignLog_.substr(0, 1 + Somewhere() % foreignLog_.size()));
        return "foreign log";
      case 6:
        fs::create_directory(Random(2) == 0 ? database_ : log_);
        return "directory";
      default:
        WriteFile(database_, content);
        if (Random(2) == 0) WriteFile(log_, foreignLog_);
        fs::permissions(fs::exists(log_) && Random(2) == 0 ? log_ : database_, fs::perms::none);
        return "no rights";
    }
  }

  std::string filled_;
  std::string foreignLog_;
};

// The program is root of the lab, and rights would not count for it: it gives that up.
TEST_F(DamagedFiles, ADamagedCacheFileIsReplaced) {
  for (const int power : {CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH}) ASSERT_EQ(prctl(PR_CAPBSET_DROP, power), 0);
  {
    const auto program = Start();
    AskFor(milliseconds(1500));
    program->Signal(SIGKILL);
    program->Wait();
    foreignLog_ = ReadFile(log_);
  }
  RemoveCache();
  Fill();
  filled_ = ReadFile(database_);
  ASSERT_FALSE(filled_.empty() || foreignLog_.empty());
  Start();
  const milliseconds usual = lastStart_;
  const int mutants = Size(1000);
  for (int mutant = 0; mutant < mutants; ++mutant) {
    RemoveCache();
    const std::string damage = Damage(mutant % 8);
    const auto program = Start();
    ASSERT_LT(lastStart_, usual + milliseconds(2000)) << damage << ", mutant " << mutant;
    ASSERT_TRUE(RoundTrip()) << damage << ", mutant " << mutant;
    program->Terminate();
    ASSERT_FALSE(HasFailure()) << damage << ", mutant " << mutant;
  }
  std::cout << mutants << " mutants of " << filled_.size() << " bytes, usual start " << usual.count() << " ms, longest "
            << longestStart_.count() << " ms\n";
}

TEST_F(Files, AFullDiskOnlyStopsStoring) {
  const fs::path program = home_.root / "program";
  const fs::path config = home_.root / "config";
  const std::size_t size = fs::file_size(kDirectory / "quenvar");
  const auto room = [&](int flags, std::size_t bytes) {
    const std::string option = "size=" + std::to_string(size + bytes);
    return mount("full", program.c_str(), "tmpfs", static_cast<unsigned long>(flags), option.c_str()) == 0;
  };
  ASSERT_TRUE(room(0, 6 << 20));
  ASSERT_EQ(mount("full", config.c_str(), "tmpfs", 0, "size=64k"), 0);
  fs::copy_file(kDirectory / "quenvar", home_.ProgramFile("quenvar"));
  UseOptions(kEnd);
  const std::string settings = ReadFile(home_.SettingsFile());
  WriteFile(config / "filler", std::string(64 << 10, 'x'));
  manners_.names = 5000;
  const auto ask = [this](int batches) {
    for (int batch = 0; batch < batches; ++batch) ASSERT_NO_FATAL_FAILURE(AskAndAnswer(200));
  };
  {
    const auto running = Start();
    ASSERT_NO_FATAL_FAILURE(ask(100));
    const CacheContent full = ReadCache(home_);
    EXPECT_EQ(full.fault, "");
    EXPECT_LT(fs::space(program).available, 64u << 10);
    ASSERT_TRUE(room(MS_REMOUNT, 64 << 20));
    ASSERT_NO_FATAL_FAILURE(ask(20));
    EXPECT_TRUE(Eventually([&] { return ReadCache(home_).names > full.names + 1000; })) << "storing does not resume";
    std::cout << answered_ << " of " << asked_ << " answered, " << wrong_ << " wrong, " << full.names
              << " names on the full disk, then " << ReadCache(home_).names << "\n";
  }
  EXPECT_EQ(ReadFile(home_.SettingsFile()), settings);
  EXPECT_EQ(answered_, asked_);
  EXPECT_EQ(wrong_, 0);
  EXPECT_EQ(ReadCache(home_).fault, "");
  fs::remove(config / "filler");
  Start();
  EXPECT_TRUE(SettingsAreWhole());
  EXPECT_NE(ReadFile(home_.SettingsFile()), settings) << "with room again they are saved";
}

}  // namespace
}  // namespace quenvar::lab
