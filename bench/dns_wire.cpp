#include "dns_wire.h"

#include <arpa/inet.h>

#include <cstdio>
#include <cstdlib>

namespace bench {

using namespace std::string_literals;

namespace {

constexpr std::size_t kHeaderBytes = 12;

// The end of the first question. What comes behind it, an OPT record for one, is not repeated in an answer.
std::size_t QuestionEnd(const std::string& query) {
  std::size_t at = kHeaderBytes;
  while (at < query.size() && query[at] != 0) at += static_cast<unsigned char>(query[at]) + 1u;
  return std::min(at + 5, query.size());
}

}  // namespace

std::string Query(std::uint16_t identifier, const std::string& label) {
  std::string message = "\0\0\1\0\0\1\0\0\0\0\0\0"s;
  message[0] = static_cast<char>(identifier >> 8);
  message[1] = static_cast<char>(identifier & 0xFF);
  return message + static_cast<char>(label.size()) + label + "\4test\0\0\1\0\1"s;
}

std::string AnswerTo(const std::string& query, const in_addr& address) {
  if (query.size() < kHeaderBytes) return query;
  std::string answer = query.substr(0, QuestionEnd(query));
  answer[2] = static_cast<char>(0x80 | (query[2] & 0x01));
  answer[3] = static_cast<char>(0x80);
  answer[7] = 1;
  answer[9] = answer[11] = 0;
  answer += "\xC0\x0C\0\1\0\1\0\0\x0E\x10\0\4"s;
  return answer.append(reinterpret_cast<const char*>(&address), sizeof address);
}

sockaddr_in AddressOrExit(const char* text, std::uint16_t port) {
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  if (inet_pton(AF_INET, text, &address.sin_addr) == 1) return address;
  std::fprintf(stderr, "not an IPv4 address: %s\n", text);
  std::exit(2);
}

}  // namespace bench
