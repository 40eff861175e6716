// What the query path asks when it joins answers to requests: which key a message goes by, how it is forwarded, and
// what a client gets.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace quenvar {

struct PendingRequest;

/// What a datagram from upstream is good for.
enum class Verdict {
  Ignore,   ///< it is no answer of a name server
  Note,     ///< the name server has answered, but nobody gets that: it is too late, or held back
  Deliver,  ///< it is stored, and goes to those whom FindReceiver finds
};

/// Where an answer comes from.
enum class Origin { Server, Cache };

/// The plain rules: a message goes by the name of its question alone, is forwarded as it is from UDPPort1, and every
/// answer goes unchanged to all who wait for that name, whoever sent it.
class AnswerRules {
 public:
  virtual ~AnswerRules() = default;

  // Which key.

  /// What a query goes by in the pending table and in the cache, compared without case.
  virtual std::string KeyOf(std::string_view query);
  /// The key of the requests that a datagram from upstream may answer.
  virtual std::string KeyOfAnswer(std::string_view answer);
  /// The name within a key, in the form of the log.
  virtual std::string ShownName(const std::string& key);

  // How it is forwarded.

  /// Notes in `request` what the rules below look at of its query.
  virtual void Describe(PendingRequest& request, std::string_view query);
  /// Enters the request in the pending table.
  virtual void Enter(PendingRequest& request);
  /// The bytes that the name servers get of an entered request's query. `copy` is room for them where they differ.
  virtual std::string_view Outgoing(const PendingRequest& request, std::string_view query, std::string& copy);
  /// Sends them to the server of a row.
  virtual void SendToServer(std::size_t row, std::string_view outgoing);

  /// Whether the sweep also looks at the slots that it has just given up.
  virtual bool SweepsGivenUpSlots() const { return true; }

  // What the client gets.

  /// The stored answer that `request` may be given; empty when there is none.
  virtual std::string StoredAnswer(const PendingRequest& request);
  /// Called once for every datagram from upstream, before anything is done with it.
  virtual Verdict Judge(const std::string& key, std::string_view answer, const std::string& serverAddress,
                        std::int32_t serverPort);
  /// Stores what a name server has answered, where it may be stored.
  virtual void Store(const std::string& key, std::string_view answer);
  /// The index of the oldest waiting request that gets `answer`; -1 when none is left.
  virtual int FindReceiver(const std::string& key, std::string_view answer, Origin origin);
  /// The bytes for the client of `request`. `copy` is room for them where they differ from `answer`.
  virtual std::string_view AnswerFor(const PendingRequest& request, std::string_view answer, std::string& copy);
  /// The index of the oldest request, answered from the cache before, that `answer` settles; -1 when there is none.
  virtual int FindSettled(const std::string& key, std::string_view answer);

  /// Called every ten seconds, and every second while queries are under way.
  virtual void Tick() {}
};

/// The rules in use, never null.
extern AnswerRules* answerRules;

/// Takes the rules that the option MatchQuestion calls for, as new.
void ChooseAnswerRules();

}  // namespace quenvar
