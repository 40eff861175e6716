// The rules for clients that check what they are given: requests and answers are told apart by the whole question, and
// each client gets an answer that fits its own query and is no older than it may be.
#pragma once

#include "engine/answer_rules.h"

namespace quenvar {

/// A key is the name, a byte 0, type and class in decimal digits. A message whose question cannot be read
/// (engine/message_reader.h) goes by the name and the byte 0 alone, which ends no other key; it is relayed unchanged
/// and never stored.
///
/// An entry of the cache is the second at which it was stored, eight bytes, high byte first, then the answer.
class MatchQuestionRules final : public AnswerRules {
 public:
  std::string KeyOf(std::string_view message) const override;
  std::string ShownName(const std::string& key) const override;
  void Prepare(PendingRequest& request, std::string_view query) const override;
  /// Only while the answer is younger than its Lifetime, which its times-to-live then are reduced by.
  std::string StoredAnswer(const PendingRequest& request) const override;
  /// Only what has a Lifetime and is not truncated.
  void Store(const std::string& key, std::string_view answer) const override;
  /// An answer counts when it comes from port 53 of an enabled server, to a request with its question and identifier.
  /// One that only says that the server failed is held back while another server may still do better.
  Verdict Judge(const std::string& key, std::string_view answer, const std::string& serverAddress,
                std::int32_t serverPort) const override;
  /// With the query's own identifier, and the name of the question in its own spelling.
  std::string_view AnswerFor(const PendingRequest& request, std::string_view answer, std::string& copy) const override;
  int FindSettled(const std::string& key, std::string_view answer) const override;
};

}  // namespace quenvar
