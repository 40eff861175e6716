// What clients of today get with the option MATCHQUESTION, and what neither they nor the cache may get.
#include <netinet/in.h>
#include <sys/mount.h>

#include <sstream>

#include "program.h"

namespace quenvar::lab {
namespace {

/// A name server at the first address with a zone that is signed by a key of its own. Ends with this object.
class SignedZone {
 public:
  SignedZone() {
    WriteFile("/mnt/zone",
              "$ORIGIN signed.example.\n$TTL 3600\n@ SOA ns admin 1 3600 600 86400 300\n@ NS ns\nns A 10.53.0.1\n"
              "www A 192.0.2.1\nwww AAAA 2001:db8::1\n");
    WriteFile("/mnt/nsd.conf",
              "server:\nip-address: 10.53.0.1\nusername: \"\"\nzonesdir: /mnt\ndatabase: \"\"\nserver-count: 1\n"
              "xfrdfile: \"\"\nzonelistfile: /mnt/zones\npidfile: /mnt/nsd.pid\nlogfile: /mnt/nsd.log\n"
              "remote-control:\ncontrol-enable: no\nzone:\nname: signed.example\nzonefile: zone.signed\n");
    // Validators want the key as a record, as a statement of named.conf or as a digest.
    WriteFile(
        "/mnt/serve",
        "cd /mnt; key=$(ldns-keygen -r /dev/urandom -a ECDSAP256SHA256 -k signed.example)\n"
        "ldns-signzone zone $key; mv $key.ds digest; mv $key.key key\n"
        "sed 's/.*\\(257 3 13\\) \\(.*\\) ;.*/trust-anchors { signed.example. static-key \\1 \"\\2\"; };/' key >keys\n"
        "exec setpriv --pdeathsig KILL /usr/sbin/nsd -d -c nsd.conf");
    Enter(Place::Upstream);
    server_ = popen("exec sh -e /mnt/serve", "re");
    Enter(Place::Home);
    const auto serves = [] { return !Output("dig @10.53.0.1 +short +tries=1 +time=1 www.signed.example").empty(); };
    if (!Eventually(serves)) throw std::runtime_error("nsd does not serve its zone\n" + ReadFile("/mnt/nsd.log"));
  }
  ~SignedZone() {
    Output("kill $(cat /mnt/nsd.pid)");
    pclose(server_);
  }
  SignedZone(SignedZone&&) = delete;

 private:
  FILE* server_;
};

// What follows a forwarder before the program: asks it in time, once it has started.
const std::string kAsked =
    " & until grep -q :14E9 /proc/net/udp || ! kill -0 $!; do :; done; dig -p 5353 localhost >/dev/null; "
    "timeout $LIMIT dig -p 5353 +dnssec www.signed.example; kill $!; wait";

// As a daemon it would give up rights that nobody has in a user namespace.
const std::string kDnsmasq = "/usr/sbin/dnsmasq -d -C /dev/null -R -S 127.0.0.1 -z -a 127.0.0.1 -p 5353 ";
const std::string kDnsmasqAnchors =
    "--dnssec --trust-anchor=.,1,13,2,00 --trust-anchor=$(sed 's/\\.\\t.*DS\\t\\(.*\\) \\(.*\\) \\(.*\\) "
    "/,\\1,\\2,\\3,/' /mnt/digest)";

const std::string kUnboundSettings =
    "forward-zone:\nname: .\nforward-addr: 127.0.0.1\nserver:\ninterface: 127.0.0.1@5353\ndo-not-query-localhost: no\n"
    "username: \"\"\nchroot: \"\"\npidfile: \"\"\n";
const std::string kUnbound = "/usr/sbin/unbound -ddc /mnt/";

// Dig warns of every server that does not ask others.
const std::string kKnown = " | grep -v 'WARNING: recursion requested but not available'";

struct Tool {
  std::string command;
  std::string result;
  bool keepsLimit = false;  ///< by itself, without its slow start: it finds nothing after $LIMIT seconds
};

const Tool kTools[] = {
    {"dig www.signed.example" + kKnown, "A\t192.0.2.1"},
    {"dig +dnssec www.signed.example AAAA" + kKnown, "RRSIG\tAAAA"},
    {"kdig www.signed.example AAAA", "AAAA\t2001:db8::1"},
    {"kdig +dnssec www.signed.example", "RRSIG\tA"},
    {"drill www.signed.example", "A\t192.0.2.1"},
    {"drill -D www.signed.example AAAA", "RRSIG\tAAAA"},
    {"host www.signed.example", "has address 192.0.2.1\nwww.signed.example has IPv6 address 2001:db8::1\n"},
    {"getent ahosts www.signed.example", "2001:db8::1     RAW    \n192.0.2.1       STREAM"},
    {"delv -a /mnt/keys +root=signed.example www.signed.example", "; fully validated"},
    {"unbound-host -rvf /mnt/key www.signed.example", "has IPv6 address 2001:db8::1 (secure)"},
    {"[ -x /mnt/musl ] || musl-gcc -static -o /mnt/musl /mnt/musl.c; /mnt/musl && echo found", "found"},
    {"/usr/bin/python3 -c \"import dns.resolver as r; print(r.resolve('www.signed.example', lifetime=$LIMIT)[0])\"",
     "192.0.2.1", true},
    {kDnsmasq + kAsked, "RRSIG\tA", true},
    {kDnsmasq + kDnsmasqAnchors + kAsked, "rd ra ad;", true},
    {kUnbound + "forwarder" + kAsked, "RRSIG\tA", true},
    {kUnbound + "validator" + kAsked, "rd ra ad;", true},
};

constexpr std::chrono::milliseconds kAtOnce{100};

// What a tool writes, and whether it was in time, in one of so many tries where the machine is busy.
std::pair<std::string, bool> TimedRun(const Tool& tool, std::chrono::milliseconds limit, int tries) {
  const auto start = std::chrono::steady_clock::now();
  const std::string output = Output("{ " + tool.command + "; true; } 2>&1");
  const bool found = output.find(tool.result) != std::string::npos;
  const bool inTime = tool.keepsLimit ? found : std::chrono::steady_clock::now() - start < limit;
  return inTime || tries == 1 ? std::pair(output, inTime) : TimedRun(tool, limit, tries - 1);
}

// The first time each of them asks a name server, which then ends.
TEST(MatchQuestion, ToolsAndValidatorsGetHitsAtOnceAndWithoutWarning) {
  const Home home;
  WriteFile(home.SettingsFile(), SettingsFor({1}, "No", kMatchQuestion));
  WriteFile(kDirectory / "nsswitch.conf", "hosts: dns\n");
  ASSERT_EQ(mount("/mnt/nsswitch.conf", "/etc/nsswitch.conf", nullptr, MS_BIND, nullptr), 0);
  WriteFile(kDirectory / "forwarder", kUnboundSettings);
  WriteFile(kDirectory / "validator", kUnboundSettings + "trust-anchor-file: /mnt/key\n");
  WriteFile(kDirectory / "musl.c",
            "#include <netdb.h>\nint main(void) { struct addrinfo* all; return getaddrinfo(\"www.signed.example\", "
            "\"53\", 0, &all); }\n");
  const std::string machines = ReadFile("/etc/resolv.conf");
  const Program program(home);
  for (const bool hits : {false, true}) {
    const auto server = hits ? nullptr : std::make_unique<SignedZone>();
    WriteFile("/etc/resolv.conf", "nameserver 127.0.0.1\n");
    const auto limit = hits ? kAtOnce : kPatience;
    setenv("LIMIT", std::to_string(1e-3 * static_cast<double>(limit.count())).c_str(), 1);
    for (const Tool& tool : kTools) {
      const auto [output, inTime] = TimedRun(tool, limit, hits ? 10 : 1);
      EXPECT_NE(output.find(tool.result), std::string::npos) << tool.command << "\n" << output;
      for (const char* word : {"Warning", "WARNING"}) EXPECT_EQ(output.find(word), std::string::npos) << output;
      EXPECT_TRUE(inTime) << tool.command;
    }
    WriteFile("/etc/resolv.conf", machines);
  }
}

using Forgery = LabTest;

// The sockets of the program's place hold nothing, and none of them was ever too full to take more.
bool HasReadAll(const Program& program) {
  std::istringstream lines(ReadFile("/proc/" + std::to_string(program.Id()) + "/net/udp"));
  std::string line, field, queues, lost;
  for (std::getline(lines, line); std::getline(lines, line);) {
    std::istringstream fields(line);
    for (int number = 1; fields >> field; ++number) (number == 5 ? queues : lost) = field;
    if (queues != "00000000:00000000" || lost != "0") return false;
  }
  return true;
}

TEST_F(Forgery, NoAnswerWithAnotherIdentifierOrAtAnotherPortIsDeliveredOrStored) {
  WriteFile(home_.SettingsFile(), SettingsFor({1}, "No", kMatchQuestion));
  const Program program(home_);
  const std::string query = Query(0x1111, "forged.test");
  client_.Ask(query);
  const Datagram asked = servers_.Next().value();
  const std::uint32_t port = ntohs(asked.peer.sin_port);
  const Client others;
  Datagram other;
  int names = 0;
  const auto portHasChanged = [&] {
    others.Ask(Query(0x1111, "name" + std::to_string(++names)));
    other = servers_.Next().value();
    if (other.peer.sin_port != asked.peer.sin_port) return true;
    servers_.Answer(other, AnswerTo(other.bytes));
    return others.Answer() == "(no answer)";
  };
  ASSERT_TRUE(Eventually(portHasChanged));
  const std::string identifier = asked.bytes.substr(0, 2);
  EXPECT_NE(identifier + other.bytes.substr(0, 2), "\x11\x11\x11\x11") << "the client's";

  std::string forged = AnswerTo(asked.bytes);
  forged.back() = '\x66';
  const auto forge = [&](const std::string& number, std::uint32_t to) {
    if (number == identifier && to == port) return;
    sockaddr_in peer = asked.peer;
    peer.sin_port = htons(static_cast<std::uint16_t>(to));
    servers_.SendFrom(asked.local, forged.replace(0, 2, number), peer);
  };
  for (std::uint32_t number = 0; number < 65536; ++number) {
    forge(Bytes16(number), port);
    if (number != 0) forge(identifier, number);
    ASSERT_TRUE(number % 128 != 0 || Eventually([&] { return HasReadAll(program); }))
        << "delivered, or lost on the way";
  }

  const Client second;
  second.Ask(query);
  servers_.Answer(asked, AnswerTo(asked.bytes));
  for (const Client& client : {client_, second}) EXPECT_EQ(client.Answer(), AnswerTo(query));
}

}  // namespace
}  // namespace quenvar::lab
