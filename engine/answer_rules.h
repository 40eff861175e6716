// What the query path asks when it joins answers to requests: which key a message goes by, and what a client gets.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace quenvar {

struct PendingRequest;

/// What a datagram from upstream is good for.
enum class Verdict {
  Ignore,   ///< it is no answer of a name server
  Note,     ///< the name server has answered, but nobody gets this answer
  Deliver,  ///< it goes to those who wait for its key
};

/// The plain rules: a message goes by the name of its question alone, and every answer goes unchanged to all who wait
/// for that name, whoever sent it.
class AnswerRules {
 public:
  virtual ~AnswerRules() = default;

  // Which key.

  /// What a query or an answer goes by in the pending table and in the cache, compared without case.
  virtual std::string KeyOf(std::string_view message) const;
  /// The name within a key, in the form of the log.
  virtual std::string ShownName(const std::string& key) const;

  // What the client gets.

  /// Keeps in `request` what the other rules will need of its query.
  virtual void Prepare(PendingRequest& request, std::string_view query) const;
  /// The stored answer that `request` may be given; empty when there is none.
  virtual std::string StoredAnswer(const PendingRequest& request) const;
  /// Stores what a name server has answered, where it may be stored.
  virtual void Store(const std::string& key, std::string_view answer) const;
  virtual Verdict Judge(const std::string& key, std::string_view answer, const std::string& serverAddress,
                        std::int32_t serverPort) const;
  /// The bytes for the client of `request`. `copy` is room for them where they differ from `answer`.
  virtual std::string_view AnswerFor(const PendingRequest& request, std::string_view answer, std::string& copy) const;
  /// The index of the request, answered from the cache before, that `answer` settles; -1 when there is none.
  virtual int FindSettled(const std::string& key, std::string_view answer) const;
};

/// The rules in use, never null.
extern const AnswerRules* answerRules;

/// Takes the rules that the option MatchQuestion calls for.
void ChooseAnswerRules();

}  // namespace quenvar
