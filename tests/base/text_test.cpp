#include "base/text.h"

#include <gtest/gtest.h>

namespace quenvar {
namespace {

TEST(Text, OnlyTheCaseOfLettersIsPassedOver) {
  const struct {
    const char* a;
    const char* b;
    bool equal;
  } cases[] = {{"", "", true},
               {"www.Example.com", "WWW.eXAMPLE.COM", true},
               {"www.example.com", "www.example.net", false},
               {"aaaaaaaaX", "aaaaaaaay", false},
               {"long.name.a", "long.name", false},
               {"12345678[", "12345678{", false},
               {"[2345678", "{2345678", false},
               {"@", "`", false},
               {"\xe4", "\xc4", false}};
  for (const auto& c : cases) {
    EXPECT_EQ(EqualWithoutCase(c.a, c.b), c.equal) << c.a;
    EXPECT_EQ(UpperCase(c.a) == UpperCase(c.b), c.equal) << c.a;
  }
}

}  // namespace
}  // namespace quenvar
