#include <gtest/gtest.h>

#include "base/numbers.h"
#include "base/text.h"

namespace quenvar {
namespace {

TEST(Numbers, ReadNumberTakesWhatTheTextBeginsWith) {
  const std::pair<const char*, double> cases[] = {{"  -3", -3}, {"+4.5x", 4.5}, {"1.2.3", 1.2}, {".5", 0.5},
                                                  {"", 0},      {"-", 0},       {".", 0},       {"10E5", 10},
                                                  {"\t1", 0},   {"inf", 0}};
  for (const auto& [text, value] : cases) EXPECT_EQ(ReadNumber(text), value) << text;
  EXPECT_GT(ReadNumber(std::string(400, '9')), 1e300);
}

TEST(Numbers, NumberTextHasFifteenDigits) {
  for (const auto& [value, text] : {std::pair(0.1 + 0.2, "0.3"), {123456789012345, "123456789012345"}, {1e21, "1E+21"}})
    EXPECT_EQ(NumberText(value), text);
  EXPECT_EQ(NumberText(ReadNumber("-0")), "0");
}

TEST(Numbers, CountersStayWithinSixteenBits) {
  for (const auto& [value, rounded] : {std::pair(4.5, 4), {32767.4, 32767}, {-32768.5, -32768}})
    EXPECT_EQ(RoundHalfEven(value), rounded);
  for (const double tooLarge : {32767.5, -32769.0}) EXPECT_EQ(RoundHalfEven(tooLarge), std::nullopt);
  std::int16_t counter = 32767;
  for (const auto& [amount, sum] : {std::pair(1, 32767), {-65536, 32767}, {-65535, -32768}}) {
    AddChecked(counter, amount);
    EXPECT_EQ(counter, sum);
  }
}

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
