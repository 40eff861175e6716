// With the option that tells questions apart, today's clients get what they asked for out of the cache.
#include <sys/mount.h>

#include "program.h"

namespace quenvar::lab {
namespace {

/// With the cookie of the client that asked first and the server's own (RFC 7873, section 5.2).
std::string WithCookies(std::string answer) {
  answer[11] = 1;
  return answer + '\0' + Bytes16(kOpt) + Bytes16(1232) + Bytes32(0) + Bytes16(20) + Bytes16(10) + Bytes16(16) +
         "a clienta server";
}

// The server answers only the first query about each type.
TEST_F(LabTest, WithMatchQuestionToolsAndTheLibraryGetHitsWithoutWarningOrRetry) {
  WriteFile(home_.SettingsFile(), SettingsFor({1}, "No", "MATCHQUESTION=Yes\n"));
  const Program program(home_);
  WriteFile(kDirectory / "nsswitch.conf", "hosts: dns\n");
  ASSERT_EQ(mount("/mnt/nsswitch.conf", "/etc/nsswitch.conf", nullptr, MS_BIND, nullptr), 0);
  const std::string machines = ReadFile("/etc/resolv.conf");
  WriteFile("/etc/resolv.conf", "nameserver 127.0.0.1\n");
  for (const std::string name : {"plain.test", "with-cookies.test"}) {
    for (const RecordType type : {kA, kAaaa}) {
      const std::string answer = AnswerTo(Query(1, name, type));
      Exchange(Query(1, name, type), name == "plain.test" ? answer : WithCookies(answer));
    }
    for (const std::string tool : {"dig", "kdig", "drill"})
      for (const std::string data : {"A\t192.0.2.1", "AAAA\t2001:db8::1"}) {
        const std::string type = data.substr(0, data.find('\t'));
        const std::string output = Output("(" + tool + " @127.0.0.1 " + name + " " + type + " 2>&1)");
        EXPECT_NE(output.find(data), std::string::npos) << output;
        for (const char* word : {"Warning", "WARNING"}) EXPECT_EQ(output.find(word), std::string::npos) << output;
      }
    const std::string output = Output("getent ahosts " + name);
    for (const char* address : {"192.0.2.1", "2001:db8::1"}) EXPECT_NE(output.find(address), std::string::npos);
    EXPECT_EQ(servers_.Next(std::size_t{8}).size(), 8u);
    EXPECT_FALSE(servers_.Next(kNow)) << "a retry";
  }
  WriteFile("/etc/resolv.conf", machines);
}

}  // namespace
}  // namespace quenvar::lab
