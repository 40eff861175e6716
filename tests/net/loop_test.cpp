// Queries that come back to the program which has forwarded them, with the option MATCHQUESTION.
#include <arpa/inet.h>

#include <sstream>

#include "program.h"

namespace quenvar::lab {
namespace {

constexpr std::chrono::milliseconds kMostTime{2000};
constexpr long kMostDatagrams = 2000;
const std::string kHomeAddress = "10.53.0.100";
const std::string kThisHost = "127.0.0.1";

std::string SettingsWith(const std::string& server) {
  return SettingsFor({}, "No", kMatchQuestion) + "DNS_0_NAME=" + server + "\nDNS_0_ENABLED=Yes\n";
}

/// The UDP datagrams that have left the place of a program.
long DatagramsSent(const Program& program) {
  const std::string counters = ReadFile("/proc/" + std::to_string(program.Id()) + "/net/snmp");
  std::istringstream values(counters.substr(counters.rfind("Udp: ") + 5));
  long received = 0, refused = 0, lost = 0, sent = 0;
  values >> received >> refused >> lost >> sent;
  return sent;
}

/// A loop from the moment of the first query on.
class Watch {
 public:
  explicit Watch(const Program& program) : program_(program) {}
  void ExpectEnd(const Screen& screen) const {
    EXPECT_TRUE(screen.Shows("Critical Error!"));
    EXPECT_LT(std::chrono::steady_clock::now() - start_, kMostTime);
    EXPECT_LT(DatagramsSent(program_) - before_, kMostDatagrams);
  }

 private:
  const Program& program_;
  const long before_ = DatagramsSent(program_);
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

enum class Identifiers { Kept, New, Fixed };

struct Way {
  std::string server;      ///< in the table
  std::string relay = {};  ///< the address that sends queries back; empty where they come back by themselves
  Identifiers identifiers = Identifiers::Kept;
  std::size_t ports = 1;
};

// Sends back all that arrives upstream, until nothing does.
void SendBack(const Servers& servers, const Way& way) {
  const sockaddr_in home = {AF_INET, htons(53), {inet_addr(kHomeAddress.c_str())}, {}};
  std::vector<Endpoint> relay;
  const Place place = way.relay == kThisHost ? Place::Home : Place::Upstream;
  while (relay.size() < way.ports) relay.emplace_back(place, way.relay, std::uint16_t{0});
  for (std::uint32_t turn = 0; turn < kMostDatagrams; ++turn) {
    const auto query = servers.Next(kMostTime / 8);
    if (!query) return;
    const bool kept = way.identifiers == Identifiers::Kept;
    const std::string identifier =
        kept ? query->bytes.substr(0, 2) : Bytes16(way.identifiers == Identifiers::New ? turn : 0);
    relay[turn % way.ports].Send(identifier + query->bytes.substr(2), home);
  }
}

using Loop = LabTest;

TEST_F(Loop, EndsSoonWithAllNameServersOff) {
  const Screen screen;
  const Way ways[] = {
      {"127.0.0.9"},
      {"010.53.0.100"},
      {kHomeAddress + ".1"},
      {ServerAt(1), ServerAt(1), Identifiers::New, 400},
      {ServerAt(1), kStranger},
      {ServerAt(1), kStranger, Identifiers::Kept, 400},
      {ServerAt(1), kStranger, Identifiers::New},
      {ServerAt(1), kStranger, Identifiers::New, 400},
      {ServerAt(1), kStranger, Identifiers::Fixed},
      {ServerAt(1), kThisHost, Identifiers::New},
      {ServerAt(1), kThisHost, Identifiers::Fixed},
  };
  for (const Way& way : ways) {
    SCOPED_TRACE(testing::Message() << way.server << " " << way.relay << " " << static_cast<int>(way.identifiers) << " "
                                    << way.ports);
    WriteFile(home_.SettingsFile(), SettingsWith(way.server));
    Program program(home_, {.display = screen.Display()});
    const Watch watch(program);
    client_.Ask(Query(1, "loop.test"));
    if (!way.relay.empty()) SendBack(servers_, way);
    watch.ExpectEnd(screen);
    program.Terminate();
    EXPECT_EQ(home_.Setting("DNS_0_ENABLED"), "No");
  }
}

// The one whose table is full first ends it for both.
TEST(TwoCopies, ThatNameEachOtherEndTheirLoop) {
  const Screen screen;
  const Home homes[2];
  WriteFile(homes[0].SettingsFile(), SettingsWith(kHomeAddress));
  WriteFile(homes[1].SettingsFile(), SettingsWith(ServerAt(1)));
  {
    // Before the other: a port that is open at home would be taken for its own while it starts.
    const Program upstream(homes[0], {.display = screen.Display(), .place = Place::Upstream});
    const Program home(homes[1], {.display = screen.Display()});
    const Watch watches[] = {Watch(upstream), Watch(home)};
    Client().Ask(Query(1, "loop.test"));
    for (const Watch& watch : watches) watch.ExpectEnd(screen);
  }
  EXPECT_NE(homes[0].Setting("DNS_0_ENABLED") + homes[1].Setting("DNS_0_ENABLED"), "YesYes");
}

}  // namespace
}  // namespace quenvar::lab
