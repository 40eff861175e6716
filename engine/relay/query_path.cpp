#include "engine/relay/query_path.h"

#include <optional>

#include "base/numbers.h"
#include "engine/log/event_log.h"
#include "engine/relay/answer_rules.h"
#include "engine/relay/pending_table.h"
#include "platform/clock.h"
#include "platform/event_loop.h"
#include "platform/platform.h"
#include "platform/udp_port.h"
#include "settings/options.h"
#include "settings/server_list.h"
#include "settings/statistics.h"

namespace quenvar {

bool UpstreamAnswered = false;

namespace {

PendingRequest& Request(int index) { return PendingTable[static_cast<std::size_t>(index)]; }

bool CanAsk(std::size_t slot) { return platform.UDPPort1->Active() && ServerEnabled[slot] != kFalse; }

void AnswerClient(const PendingRequest& request, std::string_view answer) {
  std::string copy;
  platform.UDPPort2->SetSource(request.AskedAddress);
  SendToClient(request.ClientAddressText(), request.ClientPort, answerRules->AnswerFor(request, answer, copy));
}

// A wait that cannot be computed because the tick counter wrapped within it leaves no line.
void LogAnswer(const std::string& source, const std::string& shownName, const PendingRequest& request) {
  const auto elapsed = TickDiff(request.SentAt, platform.clock->MillisecondTick());
  if (elapsed) WriteLog("A: " + source + ": " + shownName + " [in" + std::to_string(*elapsed) + "ms]");
}

// The one tick that means "still waiting" is moved by a millisecond.
std::int32_t TickOfAnswer() {
  const std::int32_t now = platform.clock->MillisecondTick();
  return now == kStillWaiting ? now + 1 : now;
}

void DeliverFromServer(int index, const std::string& shownName, std::string_view answer, const std::string& server) {
  Increment(ADNS);
  LogAnswer(CreditWinner(server), shownName, Request(index));
  AnswerClient(Request(index), answer);
  RemovePending(index);
  MakeListView();
}

void DeliverFromCache(int index, const std::string& shownName, std::string_view answer) {
  Request(index).AnsweredAt = TickOfAnswer();
  Increment(ACACHE);
  LogAnswer("CACHE", shownName, Request(index));
  AnswerClient(Request(index), answer);
}

// A request that the cache has answered is settled by the server's own answer: the time between the two is the gain.
void SettleCacheAnswered(const std::string& key, std::string_view answer) {
  const int index = answerRules->FindSettled(key, answer);
  if (index == -1) return;
  const auto gained = TickDiff(Request(index).AnsweredAt, platform.clock->MillisecondTick());
  if (gained && NoCache == kFalse) WTIME += *gained;
  RemovePending(index);
}

}  // namespace

void OnClientDatagram(std::string_view message, const std::string& clientAddress, std::int32_t clientPort) {
  Increment(TOTALQ);
  UpDateStatistic();
  const std::string key = answerRules->KeyOf(message);
  WriteLog("Q: " + clientAddress + " for: " + answerRules->ShownName(key));
  PendingRequest request = MakeRequest(key, clientAddress, clientPort);
  request.AskedAddress = platform.UDPPort2->ArrivedAt();
  answerRules->Describe(request, message);
  const std::string answer = NoCache == kFalse ? answerRules->StoredAnswer(request) : std::string();
  answerRules->Enter(request);
  std::string copy;
  const std::string_view outgoing = answerRules->Outgoing(request, message, copy);
  if (answer.empty()) return ForwardToAll(outgoing);
  DeliverAnswer(key, answer, kFromCache);
  // The cache is refreshed and its gain measured by every query; before any server was heard, by all of them.
  if (UpstreamAnswered)
    ForwardToBest(outgoing);
  else
    ForwardToAll(outgoing);
}

void OnServerDatagram(std::string_view message, const std::string& serverAddress, std::int32_t serverPort) {
  const std::string key = answerRules->KeyOfAnswer(message);
  const Verdict verdict = answerRules->Judge(key, message, serverAddress, serverPort);
  if (verdict == Verdict::Ignore) return;
  UpstreamAnswered = true;
  if (verdict == Verdict::Deliver) {
    if (NoCache == kFalse) answerRules->Store(key, message);
    DeliverAnswer(key, message, serverAddress);
  }
  MarkResponded(serverAddress);
}

void DeliverAnswer(const std::string& key, std::string_view answer, const std::string& source) {
  const std::string shownName = answerRules->ShownName(key);
  const Origin origin = source == kFromCache ? Origin::Cache : Origin::Server;
  for (int index; (index = answerRules->FindReceiver(key, answer, origin)) != -1;) {
    if (origin == Origin::Cache)
      DeliverFromCache(index, shownName, answer);
    else
      DeliverFromServer(index, shownName, answer, source);
  }
  if (origin == Origin::Server) SettleCacheAnswered(key, answer);
}

void ForwardToAll(std::string_view message) {
  for (std::size_t slot = 0; slot < kServerRows; ++slot) {
    if (CanAsk(slot)) answerRules->SendToServer(slot, message);
    platform.events->Yield();
  }
  platform.events->Yield();
}

void ForwardToBest(std::string_view message) {
  if (const int best = BestServer(); best != -1) answerRules->SendToServer(static_cast<std::size_t>(best), message);
}

int BestServer() { return BestServerBut(0); }

int BestServerBut(std::uint16_t rows) {
  int best = -1;
  std::int16_t bestCount = 0;
  for (std::size_t slot = 0; slot < kServerRows; ++slot) {
    if ((rows >> slot & 1) != 0 || !CanAsk(slot) || (best != -1 && ServerWinning[slot] <= bestCount)) continue;
    best = static_cast<int>(slot);
    bestCount = std::max(bestCount, ServerWinning[slot]);
  }
  return best;
}

void SendToClient(const std::string& address, std::int32_t port, std::string_view answer) {
  UdpPort& socket = *platform.UDPPort2;
  if (socket.RemoteHost() != address || socket.RemotePort() != port) {
    socket.SetRemoteHost(address);
    socket.SetRemotePort(port);
  }
  socket.Send(answer);
}

}  // namespace quenvar
