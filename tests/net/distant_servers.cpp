#include "distant_servers.h"

#include <deque>

namespace quenvar::lab {
namespace {

using namespace std::string_literals;
using Clock = std::chrono::steady_clock;

// The record that carries the cookies is added behind all others.
std::string WithCookies(std::string answer, const std::string& query) {
  const std::size_t option = query.find("\0\x0A\0\x08"s, 12 + Question(query).size());
  if (option == std::string::npos) return answer;
  answer[11] = 1;
  return answer + "\0\0\x29\4\xD0\0\0\0\0\0\x14\0\x0A\0\x10"s + query.substr(option + 4, 8) + "a server";
}

}  // namespace

DistantServers::DistantServers(const Servers& servers, bool cookies)
    : servers_(servers), cookies_(cookies), thread_([this](const std::stop_token& ended) { Serve(ended); }) {}

std::map<std::string, int> DistantServers::End() {
  thread_.request_stop();
  thread_.join();
  return asked_;
}

void DistantServers::Serve(const std::stop_token& ended) {
  std::deque<std::pair<Clock::time_point, Datagram>> waiting;
  for (auto due = Clock::now(); !ended.stop_requested() || Clock::now() < due + kDistance;) {
    if (const auto query = servers_.Next(std::chrono::milliseconds(1))) {
      ++asked_[Question(query->bytes)];
      due = Clock::now() + kDistance;
      waiting.emplace_back(due, *query);
    }
    for (; !waiting.empty() && waiting.front().first <= Clock::now(); waiting.pop_front()) {
      const Datagram& query = waiting.front().second;
      const std::string answer = AnswerTo(query.bytes);
      servers_.Answer(query, cookies_ ? WithCookies(answer, query.bytes) : answer);
    }
  }
}

}  // namespace quenvar::lab
