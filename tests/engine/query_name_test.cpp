#include "engine/query_name.h"

#include <gtest/gtest.h>

namespace quenvar {
namespace {

using namespace std::string_literals;

const std::string kHeader(12, 'h');

TEST(QueryName, ReadsTheFirstQuestionOrSaysThatItCannot) {
  const struct {
    const char* what;
    std::string afterHeader;
    std::string name;
  } cases[] = {
      {"plain name", "\3www\7ExAmple\3com\0\0\1\0\1"s, "www.ExAmple.com"},
      {"name that ends the message", "\1a\0"s, "a"},
      {"labels of any bytes", "\2.\xff\1\0\0"s, ".\xff.\0"s},
      {"longest label", "\xbf"s + std::string(191, 'x') + "\0"s, std::string(191, 'x')},
      {"root", "\0\0\1\0\1"s, kUnreadableName},
      {"root alone", "\0"s, kUnreadableName},
      {"nothing", ""s, kUnreadableName},
      {"compressed at once", "\xc0\x0c\0\1"s, kUnreadableName},
      {"compressed after a label", "\1a\xc0\x0c\0\1"s, kUnreadableName},
      {"label cut", "\5abc"s, kUnreadableName},
      {"label without end", "\1a"s, kUnreadableName},
      {"length in the last byte", "\1a\5"s, kUnreadableName},
  };
  for (const auto& c : cases) EXPECT_EQ(ParseQueryName(kHeader + c.afterHeader), c.name) << c.what;
  for (std::size_t size = 0; size <= kHeader.size(); ++size)
    EXPECT_EQ(ParseQueryName(kHeader.substr(0, size)), kUnreadableName) << size;
}

TEST(QueryName, ReverseNamesAreShownAsAddresses) {
  const std::pair<const char*, const char*> cases[] = {
      {"4.3.2.1.in-addr.arpa", "1.2.3.4"},    {"1.0.0.127.in-addr.arpa", "127.0.0.1"},
      {"3.2.in-addr.arpa", ".in-addr.2.3"},   {"in-addr.arpa", "...in-addr"},
      {"5.4.3.2.1.in-addr.arpa", "2.3.4.5"},  {"4.3.2.1.IN-ADDR.ARPA", "4.3.2.1.IN-ADDR.ARPA"},
      {"www.example.com", "www.example.com"}, {"", ""}};
  for (const auto& [name, shown] : cases) EXPECT_EQ(DisplayName(name), shown);
}

}  // namespace
}  // namespace quenvar
