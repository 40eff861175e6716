// The files of the program when it is killed, cannot write, or finds something else in their place.
#include <linux/capability.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/prctl.h>

#include <functional>
#include <iostream>

#include "soak.h"

namespace quenvar::lab {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

class Files : public Soak {
 protected:
  Files() {
    UseOptions("");
    manners_ = {.names = 30, .longestDelay = milliseconds(3)};
  }

  /// Starts the program and notes how long that takes, until the first answer.
  std::unique_ptr<Program> Start() {
    const auto begin = steady_clock::now();
    auto program = std::make_unique<Program>(home_);
    EXPECT_TRUE(RoundTrip());
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
    const std::string text = ReadFile(home_.SettingsFile());
    const bool saved = text.find("[STATISTICS]") != std::string::npos;
    return home_.Setting("DNS_9_ENABLED") == "Yes" && text.ends_with('\n') &&
           (home_.Setting("TOTALQ") != "(missing)") == saved;
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
  std::cout << kills << " kills, " << content.names << " names stored, " << Figures() << ", longest start "
            << longestStart_.count() << " ms\n";
}

// Call after call that changes a file while the program starts and ends, until there are no more.
TEST_F(Files, NothingIsLostByAKillAtAnyWrite) {
  Fill();
  const std::string filled = ReadFile(database_);
  const CacheContent content = ReadCache(home_);
  int call = 0;
  for (int status = -SIGKILL; status == -SIGKILL && !HasFailure(); ++call) {
    SCOPED_TRACE(call);
    RemoveCache();
    WriteFile(database_, filled);
    UseOptions("");
    Program program(home_, {.serves = false,
                            .environment = {{"LD_PRELOAD", Preload("failing_writes")},
                                            {"SOAK_FAIL_AT", std::to_string(call + 1)},
                                            {"SOAK_KILL", "1"}}});
    std::this_thread::sleep_for(milliseconds(500));
    program.Signal(SIGTERM);
    status = program.Wait();
    EXPECT_TRUE(status == -SIGKILL || status == 0) << status;
    EXPECT_TRUE(SettingsAreWhole()) << ReadFile(home_.SettingsFile());
    Start();
    EXPECT_EQ(ReadCache(home_).fault, "");
    EXPECT_GE(ReadCache(home_).names, content.names);
  }
  std::cout << call - 1 << " calls\n";
  EXPECT_GT(call, 10);
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
    const Program program(home_, {.environment = {{"LD_PRELOAD", Preload("failing_writes")},
                                                  {"SOAK_FAIL_AT", std::to_string(failing)},
                                                  {"SOAK_FAIL_EVER", forEver ? "1" : "0"},
                                                  {"SOAK_COUNT_FILE", failing == 0 ? counter : ""}}});
    AskAndAnswer(30);
    std::this_thread::sleep_for(milliseconds(510));  // until what is stored goes into the file
    AskAndAnswer(30);
  };
  run(0, false);
  const int calls = std::stoi(ReadFile(counter));
  for (int failing = 1; failing <= calls; failing += calls / Size(calls))
    for (const bool forEver : {false, true}) {
      SCOPED_TRACE("call " + std::to_string(failing) + (forEver ? " and all after it" : ""));
      ASSERT_NO_FATAL_FAILURE(run(failing, forEver));
      EXPECT_EQ(ReadCache(home_).fault, "");
      EXPECT_TRUE(SettingsAreWhole());
      ASSERT_EQ(answered_, asked_);
    }
  std::cout << calls << " calls, " << Figures() << "\n";
  EXPECT_EQ(wrong_, 0);
}

// The program is root of the lab, and rights would not count for it: it gives that up.
TEST_F(Files, ADamagedCacheFileIsReplaced) {
  for (const int power : {CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH}) ASSERT_EQ(prctl(PR_CAPBSET_DROP, power), 0);
  {
    const auto program = Start();
    AskFor(milliseconds(1500));
    program->Signal(SIGKILL);
    program->Wait();
  }
  const std::string foreignLog = ReadFile(log_);
  RemoveCache();
  Fill();
  const std::string filled = ReadFile(database_);
  ASSERT_FALSE(filled.empty() || foreignLog.empty());
  const auto below = [this](std::size_t bound) { return static_cast<std::size_t>(Random(static_cast<int>(bound))); };
  const auto write = [&](std::size_t at, const std::string& bytes) {
    WriteFile(database_, std::string(filled).replace(at, bytes.size(), bytes));
  };
  const std::pair<const char*, std::function<void()>> damages[] = {
      {"bits",
       [&] {
         std::string content = filled;
         for (int bits = Random(30); bits >= 0; --bits)
           content[below(filled.size())] ^= static_cast<char>(1 << Random(8));
         WriteFile(database_, content);
       }},
      {"cut", [&] { WriteFile(database_, filled.substr(0, below(filled.size()))); }},
      {"zero pages", [&] { write(below(filled.size()) / 1024 * 1024, std::string(1024 * (1 + below(8)), '\0')); }},
      {"header", [&] { write(below(100), Noise(1 + Random(30))); }},
      {"noise", [&] { write(below(filled.size()), Noise(Random(5000))); }},
      {"foreign log",
       [&] {
         WriteFile(database_, filled);
         WriteFile(log_, foreignLog.substr(0, 1 + below(foreignLog.size())));
       }},
      {"directory", [&] { fs::create_directory(Random(2) == 0 ? database_ : log_); }},
      {"no rights",
       [&] {
         WriteFile(database_, filled);
         if (Random(2) == 0) WriteFile(log_, foreignLog);
         fs::permissions(fs::exists(log_) && Random(2) == 0 ? log_ : database_, fs::perms::none);
       }},
  };
  Start();
  const milliseconds usual = lastStart_;
  const int mutants = Size(1000);
  for (int mutant = 0; mutant < mutants; ++mutant) {
    const auto& [name, damage] = damages[static_cast<std::size_t>(mutant) % std::size(damages)];
    SCOPED_TRACE(name + (", mutant " + std::to_string(mutant)));
    RemoveCache();
    damage();
    const auto program = Start();
    ASSERT_LT(lastStart_, usual + milliseconds(2000));
    ASSERT_TRUE(RoundTrip());
    program->Terminate();
    ASSERT_FALSE(HasFailure());
  }
  std::cout << mutants << " mutants of " << filled.size() << " bytes, usual start " << usual.count() << " ms, longest "
            << longestStart_.count() << " ms\n";
}

TEST_F(Files, AFullDiskOnlyStopsStoring) {
  const fs::path program = home_.root / "program";
  const fs::path config = home_.root / "config";
  const auto room = [&](unsigned long flags, std::size_t bytes) {
    const std::string option = "size=" + std::to_string(fs::file_size(kDirectory / "quenvar") + bytes);
    return mount("full", program.c_str(), "tmpfs", flags, option.c_str()) == 0;
  };
  ASSERT_TRUE(room(0, 6 << 20));
  ASSERT_EQ(mount("full", config.c_str(), "tmpfs", 0, "size=64k"), 0);
  fs::copy_file(kDirectory / "quenvar", home_.ProgramFile("quenvar"));
  UseOptions("");
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
    std::cout << Figures() << ", " << full.names << " names on the full disk, then " << ReadCache(home_).names << "\n";
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
