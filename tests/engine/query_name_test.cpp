#include "engine/query_name.h"

#include <gtest/gtest.h>

namespace quenvar {
namespace {

using namespace std::string_literals;

TEST(QueryName, ReadsTheFirstQuestionOrSaysThatItCannot) {
  const std::string header(12, 'h');
  const std::pair<std::string, std::string> cases[] = {
      {"\3www\7ExAmple\3com\0\0\1\0\1"s, "www.ExAmple.com"},
      {"\1a\0"s, "a"},
      {"\2.\xff\1\0\0"s, ".\xff.\0"s},
      {"\xbf"s + std::string(191, 'x') + "\0"s, std::string(191, 'x')},
      {"\0\0\1\0\1"s, kUnreadableName},
      {""s, kUnreadableName},
      {"\1a\xc0\x0c\0\1"s, kUnreadableName},
      {"\5abc"s, kUnreadableName},
      {"\1a\5"s, kUnreadableName},
  };
  for (const auto& [afterHeader, name] : cases) EXPECT_EQ(ParseQueryName(header + afterHeader), name);
  EXPECT_EQ(ParseQueryName(""), kUnreadableName);
}

TEST(QueryName, ReverseNamesAreShownAsAddresses) {
  const std::pair<const char*, const char*> cases[] = {
      {"1.0.0.127.in-addr.arpa", "127.0.0.1"},
      {"3.2.in-addr.arpa", ".in-addr.2.3"},
      {"5.4.3.2.1.in-addr.arpa", "2.3.4.5"},
      {"4.3.2.1.IN-ADDR.ARPA", "4.3.2.1.IN-ADDR.ARPA"},
  };
  for (const auto& [name, shown] : cases) EXPECT_EQ(DisplayName(name), shown);
}

}  // namespace
}  // namespace quenvar
