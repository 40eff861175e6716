#include "base/numbers.h"

#include <gtest/gtest.h>

namespace quenvar {
namespace {

TEST(Numbers, ReadNumberTakesWhatTheTextBeginsWith) {
  const std::pair<const char*, double> cases[] = {{"  -3", -3}, {"+4.5x", 4.5}, {"1.2.3", 1.2}, {".5", 0.5},
                                                  {"", 0},      {"-", 0},       {".", 0},       {"1E5", 1},
                                                  {"1,5", 1},   {"\t1", 0},     {"- 5", 0},     {"inf", 0}};
  for (const auto& [text, value] : cases) EXPECT_EQ(ReadNumber(text), value) << text;
  EXPECT_GT(ReadNumber(std::string(400, '9')), 1e300);
}

TEST(Numbers, NumberTextHasFifteenDigitsAndTheUsersSeparator) {
  const std::pair<double, const char*> cases[] = {
      {1234.5, "1234,5"}, {-3, "-3"}, {0.1 + 0.2, "0,3"}, {123456789012345, "123456789012345"}, {1e21, "1E+21"}};
  DecimalSeparator = ',';
  for (const auto& [value, text] : cases) EXPECT_EQ(NumberText(value), text);
  DecimalSeparator = '.';
  EXPECT_EQ(NumberText(ReadNumber("-0")), "0");
}

TEST(Numbers, HalvesRoundToTheEvenNeighbourWithinSixteenBits) {
  const std::pair<double, int> cases[] = {{4.5, 4}, {13.5, 14}, {32767.4, 32767}, {-32768.5, -32768}};
  for (const auto& [value, rounded] : cases) EXPECT_EQ(RoundHalfEven(value), rounded);
  for (const double tooLarge : {32767.5, -32769.0}) EXPECT_EQ(RoundHalfEven(tooLarge), std::nullopt);
  EXPECT_EQ(RoundToOneDecimal(0.25), 0.2);
}

TEST(Numbers, CountersStayWithinSixteenBits) {
  std::int16_t counter = 32766;
  for (const auto& [amount, sum] : {std::pair(1, 32767), {1, 32767}, {-70000, 32767}, {-65535, -32768}}) {
    AddChecked(counter, amount);
    EXPECT_EQ(counter, sum);
  }
}

}  // namespace
}  // namespace quenvar
