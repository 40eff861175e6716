// What holds of the service at every moment, whatever has happened to it.
#pragma once

#include <numeric>
#include <optional>
#include <string>

#include "base/text.h"
#include "engine/message_reader.h"
#include "engine/pending_table.h"
#include "engine/query_name.h"
#include "settings/address.h"
#include "settings/options.h"
#include "settings/server_list.h"
#include "settings/statistics.h"

namespace quenvar {

/// What is wrong with the tables and counters; empty when nothing is.
inline std::string FaultInTables() {
  if (PendingCount < 0 || PendingCount > kPendingSlots) return "PendingCount out of bounds";
  if (CountWaiting() > TOTALQ) return "more requests wait than were received";
  if (TOTALQ > 10000 || ADNS < 0 || NOTANSWERED < 0) return "a counter out of bounds";
  if (std::accumulate(ServerWinning.begin(), ServerWinning.end(), 0) != TotalWinning) return "credits do not add up";
  for (std::size_t row = 0; row < kServerRows; ++row)
    if (ServerAddress[row].empty() && (ServerEnabled[row] != kFalse || ServerWinning[row] != 0))
      return "empty row in use";
  return "";
}

/// Whether the rules that match questions may take an answer from `address`.
inline bool IsEnabledServer(const std::string& address) {
  for (std::size_t row = 0; row < kServerRows; ++row)
    if (ServerEnabled[row] != kFalse && IsSameAddress(ServerAddress[row], address)) return true;
  return false;
}

/// The question that answers to `query` are fitted to; what already is an answer asks none.
inline std::optional<Question> QuestionToMatch(const std::string& query) {
  const auto question = ReadQuestion(query);
  return MatchQuestion != kFalse && question && !IsResponse(query) ? question : std::nullopt;
}

/// Whether a client that has asked `query` may be given `answer`.
inline bool MayAnswer(const std::string& answer, const std::string& query) {
  const auto question = QuestionToMatch(query);
  if (!question) return EqualWithoutCase(ParseQueryName(answer), ParseQueryName(query));
  const std::size_t end = question->nameEnd + 4;
  return answer.size() >= end && answer.substr(0, 2) == query.substr(0, 2) &&
         answer.substr(kHeaderBytes, end - kHeaderBytes) == query.substr(kHeaderBytes, end - kHeaderBytes);
}

}  // namespace quenvar
