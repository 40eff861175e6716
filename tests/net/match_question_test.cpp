// With the option that tells questions apart, today's clients get what they asked for out of the cache.
#include <sys/mount.h>

#include <algorithm>
#include <map>

#include "program.h"

namespace quenvar::lab {
namespace {

using namespace std::string_literals;

/// How long the server takes. A client that gets its answer much sooner has got it from the program's cache.
constexpr std::chrono::milliseconds kDistance{50};

/// A name server at the distance of the internet, which gives the true answer to every query, late and one by one.
class DistantServer {
 public:
  /// With `cookies`, a client's cookie is returned together with the server's own (RFC 7873, section 5.2).
  DistantServer(const Servers& servers, bool cookies) : servers_(servers), cookies_(cookies) {}
  /// Ends once no query has come for a while: how often each question was asked.
  std::map<std::string, int> End() {
    thread_.request_stop();
    thread_.join();
    return asked_;
  }

 private:
  void Serve(const std::stop_token& ended) {
    while (true) {
      const auto query = servers_.Next(2 * kDistance);
      if (!query && ended.stop_requested()) return;
      if (!query) continue;
      ++asked_[Question(query->bytes)];
      std::this_thread::sleep_for(kDistance);
      servers_.Answer(*query, cookies_ ? WithCookies(query->bytes) : AnswerTo(query->bytes));
    }
  }
  /// The record that carries the cookies is added behind all others.
  static std::string WithCookies(const std::string& query) {
    std::string answer = AnswerTo(query);
    const std::size_t option = query.find("\0\x0A\0\x08"s, 12 + Question(query).size());
    if (option == std::string::npos) return answer;
    answer[11] = 1;
    return answer + "\0\0\x29\4\xD0\0\0\0\0\0\x14\0\x0A\0\x10"s + query.substr(option + 4, 8) + "a server";
  }

  const Servers& servers_;
  const bool cookies_;
  std::map<std::string, int> asked_;
  std::jthread thread_{[this](const std::stop_token& ended) { Serve(ended); }};
};

/// An answer without the time to live of its record, which shrinks in the cache.
std::string Timeless(std::string answer) { return answer.replace(12 + Question(answer).size() + 6, 4, ""); }

/// The same with the address of somebody else.
std::string Forged(std::string answer) {
  answer.back() = 66;
  return answer;
}

// All that are hits take less time than the server does, and most of them hardly any: the rest is left to a machine
// that does other things as well.
TEST_F(LabTest, WithMatchQuestionToolsAndTheLibraryGetHitsWithoutWarningOrRetry) {
  WriteFile(home_.SettingsFile(), SettingsFor({1}, "No", "MATCHQUESTION=Yes\n"));
  const Program program(home_);
  WriteFile(kDirectory / "nsswitch.conf", "hosts: dns\n");
  ASSERT_EQ(mount("/mnt/nsswitch.conf", "/etc/nsswitch.conf", nullptr, MS_BIND, nullptr), 0);
  const std::string machines = ReadFile("/etc/resolv.conf");
  WriteFile("/etc/resolv.conf", "nameserver 127.0.0.1\n");
  const std::tuple<RecordType, std::string, std::string> questions[] = {
      {kA, "A", "192.0.2.1"}, {kAaaa, "AAAA", "2001:db8::1"}, {kMx, "MX", "10 mail."}, {kTxt, "TXT", "\"text\""}};
  const std::pair<std::string, std::string> tools[] = {
      {"dig", "time:"}, {"dig", "time:"}, {"kdig", "(UDP) in"}, {"drill", "time:"}};
  for (const bool cookies : {false, true}) {
    const std::string name = cookies ? "with-cookies.test" : "plain.test";
    DistantServer distant(servers_, cookies);
    std::map<std::string, int> rounds;
    std::vector<double> hits;
    const auto round = [&](RecordType type) { return ++rounds[Question(Query(0, name, type))]; };
    for (const auto& [type, typeName, data] : questions) {
      for (const auto& [tool, timeLabel] : tools) {
        const std::string output = Output("(" + tool + " @127.0.0.1 " + name + " " + typeName + " 2>&1)");
        ASSERT_NE(output.find("\t" + typeName + "\t" + data), std::string::npos) << output;
        for (const char* word : {"Warning", "WARNING"}) ASSERT_EQ(output.find(word), std::string::npos) << output;
        if (round(type) > 1) hits.push_back(std::stod(output.substr(output.find(timeLabel) + timeLabel.size())));
      }
    }
    for (int turn = 0; turn < 10; ++turn) {
      const std::string output = Output("getent ahosts " + name);
      for (const char* address : {"192.0.2.1", "2001:db8::1"}) ASSERT_NE(output.find(address), std::string::npos);
      round(kA);
      round(kAaaa);
    }
    std::ranges::sort(hits);
    EXPECT_LT(hits[hits.size() / 2], 5);
    EXPECT_LT(hits.back(), kDistance.count());
    EXPECT_EQ(distant.End(), rounds) << "no retry";
  }
  WriteFile("/etc/resolv.conf", machines);
}

// A stranger answers every query first. Without the option its answer counts, hits are what the server sent for the
// query before, whatever its identifier, spelling and type were, and all share one entry.
TEST_F(LabTest, WithoutMatchQuestionEveryByteIsAsEver) {
  const std::string ipv4 = Query(0x1111, "Mixed.Case");
  const std::string again = Query(0x2222, "mIXED.cASE");
  const std::string ipv6 = Query(0x3333, "mixed.case", kAaaa);
  const std::pair<std::string, std::string> exchanges[] = {
      {ipv4, Forged(AnswerTo(ipv4))}, {again, AnswerTo(ipv4)}, {ipv6, AnswerTo(again)}};
  for (const std::string value : {"(missing)", "No", "Yes"}) {
    const bool matches = value == "Yes";
    const Home home;
    const std::string option = value == "(missing)" ? "" : "MATCHQUESTION=" + value + "\n";
    WriteFile(home.SettingsFile(), SettingsFor({1}, "No", option));
    Program program(home);
    for (const auto& [query, plainAnswer] : exchanges) {
      client_.Ask(query);
      const Datagram forwarded = servers_.Next().value();
      EXPECT_EQ(forwarded.bytes, query);
      servers_.AnswerFrom(kStranger, forwarded, Forged(AnswerTo(query)));
      servers_.Answer(forwarded, AnswerTo(query));
      const std::string answer = client_.Answer();
      EXPECT_EQ(matches ? Timeless(answer) : answer, matches ? Timeless(AnswerTo(query)) : plainAnswer) << value;
      EXPECT_TRUE(RoundTrip());
    }
    program.Terminate();
    EXPECT_EQ(home.Setting("MATCHQUESTION"), value);
    const std::string entries = " \"select count(*) from ipcache where IPNAME like 'MIXED.CASE%'\"";
    EXPECT_EQ(Output("sqlite3 " + home.ProgramFile("DNSCACHE.MDB").string() + entries), matches ? "2\n" : "1\n");
  }
}

}  // namespace
}  // namespace quenvar::lab
