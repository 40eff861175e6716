// With the option that tells questions apart, today's clients get what they asked for out of the cache.
#include <netdb.h>
#include <sys/mount.h>

#include <algorithm>
#include <set>

#include "distant_servers.h"
#include "program.h"

namespace quenvar::lab {
namespace {

using namespace std::string_literals;
using Milliseconds = std::chrono::duration<double, std::milli>;
using std::chrono::steady_clock;
using std::chrono::system_clock;

constexpr double kMillisecondsOfAHit = 5;

/// An answer without the time to live of its record, which shrinks in the cache.
std::string Timeless(std::string answer) { return answer.replace(12 + Question(answer).size() + 6, 4, ""); }

/// The same with the address of somebody else.
std::string Forged(std::string answer) {
  answer.back() = 66;
  return answer;
}

/// The number that stands behind these words. Throws when they are missing.
double NumberAfter(const std::string& words, const std::string& text) {
  const std::size_t at = text.find(words);
  if (at == std::string::npos) throw std::runtime_error("no \"" + words + "\" in\n" + text);
  return std::stod(text.substr(at + words.size()));
}

/// All of these took less time than a server does, so came from the cache, and most of them hardly any: the rest is
/// left to a machine that does other things as well.
void ExpectHits(std::vector<double> milliseconds) {
  std::ranges::sort(milliseconds);
  EXPECT_LT(milliseconds.at(milliseconds.size() / 2), kMillisecondsOfAHit);
  EXPECT_LT(milliseconds.back(), kDistance.count());
}

/// The families of the addresses that the system's library finds.
std::set<int> FamiliesOf(const std::string& name) {
  const addrinfo anyFamily = {};
  addrinfo* found = nullptr;
  if (getaddrinfo(name.c_str(), nullptr, &anyFamily, &found) != 0) return {};
  const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owner(found, freeaddrinfo);
  std::set<int> families;
  for (; found != nullptr; found = found->ai_next) families.insert(found->ai_family);
  return families;
}

class MatchQuestion : public LabTest {
 protected:
  MatchQuestion() { WriteFile(home_.SettingsFile(), SettingsFor({1}, "No", "MATCHQUESTION=Yes\n")); }
};

/// While it lives, the machine's resolver is the program and nothing else.
struct ProgramAsResolver {
  ProgramAsResolver() {
    WriteFile(kDirectory / "nsswitch.conf", "hosts: dns\n");
    mount((kDirectory / "nsswitch.conf").c_str(), "/etc/nsswitch.conf", nullptr, MS_BIND, nullptr);
    WriteFile(kFile, "nameserver 127.0.0.1\n");
  }
  ~ProgramAsResolver() { WriteFile(kFile, before); }

  const std::filesystem::path kFile = kDirectory / "resolv.conf";
  const std::string before = ReadFile(kFile);
};

TEST_F(MatchQuestion, ToolsAndTheLibraryGetHitsWithoutWarningOrRetry) {
  const ProgramAsResolver resolver;
  const Program program(home_);
  const std::tuple<Type, std::string, std::string> questions[] = {
      {kA, "A", "192.0.2.1"}, {kAaaa, "AAAA", "2001:db8::1"}, {kMx, "MX", "10 mail."}, {kTxt, "TXT", "\"text\""}};
  const std::pair<std::string, std::string> tools[] = {
      {"dig", "time:"}, {"dig", "time:"}, {"kdig", "(UDP) in"}, {"drill", "time:"}};
  for (const bool cookies : {false, true}) {
    const std::string name = cookies ? "with-cookies.test" : "plain.test";
    DistantServers distant(servers_, cookies);
    std::map<std::string, int> rounds;
    std::vector<double> hits;
    const auto round = [&](Type type) { return ++rounds[Question(Query(0, name, type))]; };
    for (const auto& [type, typeName, data] : questions) {
      for (const auto& [tool, timeLabel] : tools) {
        const std::string output = Output("(" + tool + " @127.0.0.1 " + name + " " + typeName + " 2>&1)");
        ASSERT_NE(output.find("\t" + typeName + "\t" + data), std::string::npos) << output;
        for (const char* word : {"Warning", "WARNING"}) ASSERT_EQ(output.find(word), std::string::npos) << output;
        if (round(type) > 1) hits.push_back(NumberAfter(timeLabel, output));
      }
    }
    for (int turn = 0; turn < 10; ++turn) {
      const auto start = steady_clock::now();
      ASSERT_EQ(FamiliesOf(name), (std::set{AF_INET, AF_INET6}));
      hits.push_back(Milliseconds(steady_clock::now() - start).count());
      round(kA);
      round(kAaaa);
    }
    ExpectHits(hits);
    EXPECT_EQ(distant.End(), rounds);
  }
}

TEST_F(MatchQuestion, QuestionsFromOnePortGetTheirOwnIdentifierSpellingAndType) {
  const Program program(home_);
  DistantServers distant(servers_, false);
  std::map<std::string, int> asked;
  std::vector<double> times;
  int identifier = 0xFFF0;
  for (const std::string name : {"Browser.Test", "bROWSER.tEST", "BRowser.test", "browseR.Test", "BROWSER.TEST"}) {
    std::set<std::string> expected;
    const Milliseconds start = system_clock::now().time_since_epoch();
    for (const Type type : {kA, kAaaa, kHttps}) {
      const std::string query = Query(identifier += 0x1111, name, type);
      client_.Ask(query);
      expected.insert(Timeless(AnswerTo(query)));
      ++asked[Question(query)];
    }
    std::set<std::string> answers;
    for (std::size_t i = 0; i < expected.size(); ++i) {
      const auto answer = client_.Receive();
      ASSERT_TRUE(answer);
      answers.insert(Timeless(answer->bytes));
      times.push_back((Milliseconds(std::chrono::nanoseconds(answer->nanosecondOfEntry)) - start).count());
    }
    EXPECT_EQ(answers, expected);
  }
  ExpectHits({times.begin() + 3, times.end()});
  EXPECT_EQ(distant.End(), asked);
}

TEST_F(MatchQuestion, AHundredThousandForgedAnswersAreNeitherDeliveredNorStored) {
  const Program program(home_);
  const Endpoint otherPort(Place::Upstream, ServerAt(1), 0);
  const std::string query = Query(0xBEEF, "waiting.test");
  const std::string other = Query(0xBEEF, "other.test");
  client_.Ask(query);
  const Datagram waiting = servers_.Next().value();
  const std::string forged = Forged(AnswerTo(query));
  for (int i = 0; i < 20000; ++i) {
    servers_.AnswerFrom(kStranger, waiting, forged);
    otherPort.Send(forged, waiting.peer);
    servers_.Answer(waiting, Forged(AnswerTo(Query(0xBEEF + 1 + i, "waiting.test"))));
    servers_.Answer(waiting, Forged(AnswerTo(other)));
    servers_.Answer(waiting, std::string(forged).replace(2, 1, "\1"));  // a query, with an answer in it
    if (i % 20 == 19) {
      ASSERT_TRUE(RoundTrip()) << "round " << i;
    }
  }
  const Client late;
  late.Ask(Query(7, "waiting.test"));
  servers_.Next();
  EXPECT_FALSE(late.Receive(kNow)) << "an answer from the cache";
  servers_.Answer(waiting, AnswerTo(query));
  EXPECT_EQ(client_.Answer(), AnswerTo(query));
  EXPECT_EQ(late.Answer(), AnswerTo(Query(7, "waiting.test")));
  EXPECT_EQ(Exchange(other, AnswerTo(other)), AnswerTo(other));
}

// A thousand a second: each waits for the server even when the cache has answered it, 50 at a time in a table of 300.
TEST_F(MatchQuestion, ABenchmarkWithRandomIdentifiersLosesNothing) {
  const Program program(home_);
  const DistantServers distant(servers_, false);
  std::string questions;
  for (int i = 0; i < 100; ++i)
    questions += "name-" + std::to_string(i / 2) + ".test " + (i % 2 == 0 ? "A\n" : "AAAA\n");
  WriteFile(kDirectory / "questions", questions);
  for (const int rounds : {1, 10}) {
    const std::string output = Output("(dnsperf -d /mnt/questions -Q 1000 -n " + std::to_string(rounds) + " 2>&1)");
    EXPECT_EQ(NumberAfter("Queries completed:", output), 100 * rounds) << output;
    EXPECT_LT(NumberAfter("Average Latency (s):", output), rounds == 1 ? 1 : kMillisecondsOfAHit / 1000) << output;
  }
}

// A stranger answers every query first. Without the option its answer counts, hits are what the server sent for the
// query before, whatever its identifier, spelling and type were, and all share one entry.
TEST_F(MatchQuestion, WithoutTheOptionEveryByteIsAsEver) {
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
