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
      {"Format error", {"192.168.0.256", "1.2.3.4.56789012", "256.1.1.1", "1.2.3", ""}},
      {"Invalid characters", {"192.168.0.-1", " 10.0.0.2", "1234567890123456x"}},
      {"This is your own ip address!", {"10.0.0.1", "127.0.0.1", "255.255.255.255"}},
  };
  for (const auto& [error, texts] : cases)
    for (const char* text : texts) EXPECT_EQ(ValidateAddress(text), error) << text;
}

TEST_F(NameServers, TheSameNumbersAreTheSameAddress) {
  const std::tuple<const char*, const char*, bool> cases[] = {
      {"010.1.00.020", "10.1.0.20", true}, {"0.10.0.0", "00.010.000.00", true}, {"1..2.3", "1.0.2.3", true},
      {"1.2.3.4.5", "1.2.3.4", true},      {"10.1.0.2", "10.1.0.20", false},    {"10.1.0.21", "10.1.0.20", false}};
  for (const auto& [a, b, same] : cases) EXPECT_EQ(IsSameAddress(a, b), same) << a;
}

}  // namespace
}  // namespace quenvar
