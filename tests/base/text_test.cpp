#include "base/text.h"

#include <gtest/gtest.h>

namespace quenvar {
namespace {

TEST(Text, OnlyTheCaseOfLettersIsPassedOver) {
  const std::tuple<const char*, const char*, bool> cases[] = {{"www.Example.com", "WWW.eXAMPLE.COM", true},
                                                              {"aaaaaaaaX", "aaaaaaaay", false},
                                                              {"long.name.a", "long.name", false},
                                                              {"12345678[", "12345678{", false},
                                                              {"@", "`", false},
                                                              {"aZ", "Az", true},
                                                              {"\xe4", "\xc4", false}};
  for (const auto& [a, b, equal] : cases) {
    EXPECT_EQ(EqualWithoutCase(a, b), equal) << a;
    EXPECT_EQ(UpperCase(a) == UpperCase(b), equal) << a;
  }
}

}  // namespace
}  // namespace quenvar
