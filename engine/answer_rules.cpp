#include "engine/answer_rules.h"

#include "cache/answer_cache.h"
#include "engine/match_question.h"
#include "engine/pending_table.h"
#include "engine/query_name.h"
#include "settings/options.h"

namespace quenvar {

namespace {

const AnswerRules plainRules;
const MatchQuestionRules matchQuestionRules;

}  // namespace

const AnswerRules* answerRules = &plainRules;

std::string AnswerRules::KeyOf(std::string_view message) const { return ParseQueryName(message); }

std::string AnswerRules::ShownName(const std::string& key) const { return DisplayName(key); }

void AnswerRules::Prepare(PendingRequest& /*request*/, std::string_view /*query*/) const {}

std::string AnswerRules::StoredAnswer(const PendingRequest& request) const { return CacheLookup(request.Name); }

void AnswerRules::Store(const std::string& key, std::string_view answer) const { CacheStore(key, answer); }

Verdict AnswerRules::Judge(const std::string& /*key*/, std::string_view /*answer*/,
                           const std::string& /*serverAddress*/, std::int32_t /*serverPort*/) const {
  return Verdict::Deliver;
}

std::string_view AnswerRules::AnswerFor(const PendingRequest& /*request*/, std::string_view answer,
                                        std::string& /*copy*/) const {
  return answer;
}

int AnswerRules::FindSettled(const std::string& key, std::string_view /*answer*/) const {
  return FindCacheAnswered(key);
}

void ChooseAnswerRules() { answerRules = MatchQuestion != kFalse ? &matchQuestionRules : &plainRules; }

}  // namespace quenvar
