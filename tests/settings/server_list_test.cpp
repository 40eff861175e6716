#include "settings/server_list.h"

#include "settings/address.h"
#include "tests/fakes/service.h"

namespace quenvar {
namespace {

class NameServers : public Service {};

TEST_F(NameServers, AddressesAreCheckedInOrder) {
  OwnAddresses[2] = "10.0.0.1";
  OwnAddresses[3] = "10.0.0.3";
  OwnAddressCount = 3;
  const std::pair<const char*, std::vector<const char*>> cases[] = {
      {"", {"192.168.100.1", "1.2.3.4.999", "...", "10.0.0.3", "010.0.0.1"}},
      {"Format error", {"192.168.0.256", "1234567890123456", "192.168.100.1000", "1.2.3", ""}},
      {"Invalid characters", {"192.168.0.-1", " 10.0.0.2", "1234567890123456x"}},
      {"This is your own ip address!", {"10.0.0.1", "127.0.0.1", "255.255.255.255"}},
  };
  for (const auto& [error, texts] : cases)
    for (const char* text : texts) EXPECT_EQ(ValidateAddress(text), error) << text;
}

TEST_F(NameServers, ZerosInFrontMakeNoOtherAddress) {
  for (const auto& [other, same] : {std::pair("010.1.00.020", true), {"10.1.0.2", false}, {"10.1.0.200", false}})
    EXPECT_EQ(IsSameAddress(other, "10.1.0.20"), same) << other;
}

TEST_F(NameServers, AValidAddressIsTakenTrimmedAndSaved) {
  CommitAddressEdit(2, "  10.1.0.3 ");
  EXPECT_EQ(ServerAddress[2], "10.1.0.3");
  EXPECT_EQ(std::pair(ServerEnabled[2], ServerListChanged), std::pair(kTrue, kTrue)) << "a new row is switched on";
  EXPECT_EQ(table.calls, (Trace{"2 tick", "2 address '10.1.0.3'"}));
  EXPECT_EQ(table.refreshes, 1);
  EXPECT_EQ(profile.written.size(), 41u) << "the name servers only";
  ServerEnabled[2] = kFalse;
  ServerWinning[2] = 4;
  CommitAddressEdit(2, "10.1.0.4");
  EXPECT_EQ(std::pair(ServerEnabled[2], ServerWinning[2]), std::pair(kFalse, std::int16_t{4})) << "else it stays";
}

TEST_F(NameServers, AWrongAddressIsOfferedForCorrection) {
  SetServer(0, "10.1.0.1");
  correction.answer = 1;
  correction.whileOpen = [] { CommitAddressEdit(5, "10.9.9.9"); };
  CommitAddressEdit(0, " 10.1.0.1x ");
  ASSERT_EQ(correction.asked.size(), 1u);
  EXPECT_EQ(correction.asked[0].first, "Cannot add ' 10.1.0.1x ' to the list of name servers.");
  EXPECT_EQ(correction.asked[0].second, "Invalid characters");
  EXPECT_EQ(table.calls, (Trace{"page", "0 focus", "0 select"}));
  EXPECT_EQ(events.runs, 2);
  table.calls.clear();
  correction.answer = 2;
  CommitAddressEdit(0, "   ");
  EXPECT_EQ(table.calls, Trace{"0 address '10.1.0.1'"}) << "the stored address comes back";
  EXPECT_EQ(ServerAddress[0] + ServerAddress[5], "10.1.0.1") << "edits that end within the question do nothing";
  CommitAddressEdit(5, "10.9.9.9");
  EXPECT_EQ(ServerAddress[5], "10.9.9.9") << "the guard is open again";
}

}  // namespace
}  // namespace quenvar
