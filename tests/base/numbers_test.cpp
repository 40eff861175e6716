#include "base/numbers.h"

#include <gtest/gtest.h>

namespace quenvar {
namespace {

TEST(Numbers, ReadNumberTakesWhatTheTextBeginsWith) {
  const struct {
    const char* text;
    double value;
  } cases[] = {{"57", 57}, {"  -3", -3}, {"+4.5x", 4.5}, {"1.2.3", 1.2}, {".5", 0.5}, {"7.", 7},
               {"", 0},    {"-", 0},     {".", 0},       {"x1", 0},      {"1E5", 1},  {"1234,5", 1234},
               {"\t1", 0}, {"- 5", 0},   {"0x10", 0},    {"nan", 0},     {"inf", 0}};
  for (const auto& c : cases) EXPECT_EQ(ReadNumber(c.text), c.value) << c.text;
  EXPECT_GT(ReadNumber(std::string(400, '9')), 1e300);
}

TEST(Numbers, NumberTextHasFifteenDigitsAndTheUsersSeparator) {
  EXPECT_EQ(NumberText(1234.5), "1234.5");
  EXPECT_EQ(NumberText(-3), "-3");
  EXPECT_EQ(NumberText(0.1 + 0.2), "0.3");
  EXPECT_EQ(NumberText(123456789012345), "123456789012345");
  EXPECT_EQ(NumberText(1e21), "1E+21");
  EXPECT_EQ(NumberText(ReadNumber("-0")), "0");
  DecimalSeparator = ',';
  EXPECT_EQ(NumberText(1234.5), "1234,5");
  DecimalSeparator = '.';
}

TEST(Numbers, HalvesRoundToTheEvenNeighbourWithinSixteenBits) {
  EXPECT_EQ(RoundHalfEven(4.5), 4);
  EXPECT_EQ(RoundHalfEven(13.5), 14);
  EXPECT_EQ(RoundHalfEven(-0.5), 0);
  EXPECT_EQ(RoundHalfEven(32767.4), 32767);
  EXPECT_EQ(RoundHalfEven(32767.5), std::nullopt);
  EXPECT_EQ(RoundHalfEven(-32768.5), -32768);
  EXPECT_EQ(RoundHalfEven(-32769), std::nullopt);
  EXPECT_EQ(RoundToOneDecimal(100.0 / 3), 33.3);
  EXPECT_EQ(RoundToOneDecimal(0.25), 0.2);
}

TEST(Numbers, CountersStayWithinSixteenBits) {
  std::int16_t counter = 32766;
  Increment(counter);
  EXPECT_EQ(counter, 32767);
  Increment(counter);
  EXPECT_EQ(counter, 32767);
  AddChecked(counter, -70000);
  EXPECT_EQ(counter, 32767);
  AddChecked(counter, -7);
  EXPECT_EQ(counter, 32760);
}

}  // namespace
}  // namespace quenvar
