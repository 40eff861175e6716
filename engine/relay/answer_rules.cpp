#include "engine/relay/answer_rules.h"

#include "base/query_name.h"
#include "cache/answer_cache.h"
#include "engine/relay/asked_ports.h"
#include "engine/relay/match_question.h"
#include "engine/relay/pending_table.h"
#include "engine/relay/query_path.h"
#include "platform/platform.h"
#include "platform/udp_port.h"
#include "settings/options.h"
#include "settings/server_list.h"

namespace quenvar {

namespace {

AnswerRules plainRules;
MatchQuestionRules matchQuestionRules;

}  // namespace

AnswerRules* answerRules = &plainRules;

std::string AnswerRules::KeyOf(std::string_view query) { return ParseQueryName(query); }

std::string AnswerRules::KeyOfAnswer(std::string_view answer) { return ParseQueryName(answer); }

std::string AnswerRules::ShownName(const std::string& key) { return DisplayName(key); }

void AnswerRules::Describe(PendingRequest& /*request*/, std::string_view /*query*/) {}

void AnswerRules::Enter(PendingRequest& request) { AddPending(request); }

std::string_view AnswerRules::Outgoing(const PendingRequest& /*request*/, std::string_view query,
                                       std::string& /*copy*/) {
  return query;
}

void AnswerRules::SendToServer(std::size_t row, std::string_view outgoing) {
  platform.UDPPort1->SetRemoteHost(ServerAddress[row]);
  platform.UDPPort1->SetRemotePort(kDnsPort);
  platform.UDPPort1->Send(outgoing);
}

std::string AnswerRules::StoredAnswer(const PendingRequest& request) { return CacheLookup(request.Name); }

Verdict AnswerRules::Judge(const std::string& /*key*/, std::string_view /*answer*/,
                           const std::string& /*serverAddress*/, std::int32_t /*serverPort*/) {
  return Verdict::Deliver;
}

void AnswerRules::Store(const std::string& key, std::string_view answer) { CacheStore(key, answer); }

int AnswerRules::FindReceiver(const std::string& key, std::string_view /*answer*/, Origin /*origin*/) {
  return FindWaiting(key);
}

std::string_view AnswerRules::AnswerFor(const PendingRequest& /*request*/, std::string_view answer,
                                        std::string& /*copy*/) {
  return answer;
}

int AnswerRules::FindSettled(const std::string& key, std::string_view /*answer*/) { return FindCacheAnswered(key); }

void ChooseAnswerRules() {
  matchQuestionRules = {};
  ResetAskedPorts();
  answerRules = MatchQuestion != kFalse ? &matchQuestionRules : &plainRules;
}

}  // namespace quenvar
