// The rules for clients that check what they are given: requests and answers are told apart by the whole question, and
// each client gets an answer that fits its own query and is no older than it may be.
#pragma once

#include <array>
#include <optional>

#include "engine/answer_rules.h"
#include "settings/server_list.h"

namespace quenvar {

/// A key is the joined name, a byte 0, type and class in decimal digits, and, where the joined name does not show where
/// its labels end, their lengths. A message whose question cannot be read (engine/message_reader.h) goes by the joined
/// name and the byte 0, which no other key ends with; it is relayed unchanged and never stored.
///
/// An entry of the cache is the answer, then the second at which it was stored, eight bytes, high byte first.
class MatchQuestionRules final : public AnswerRules {
 public:
  std::string KeyOf(std::string_view message) override;
  std::string ShownName(const std::string& key) override;
  void Describe(PendingRequest& request, std::string_view query) override;
  /// Only while the answer is younger than its Lifetime, which its times-to-live then are reduced by.
  std::string StoredAnswer(const PendingRequest& request) override;
  /// An answer counts when it comes from port 53 of an enabled server, to a request with its question and identifier.
  /// One that only says that the server failed is held back while another server that was asked may still do better.
  Verdict Judge(const std::string& key, std::string_view answer, const std::string& serverAddress,
                std::int32_t serverPort) override;
  /// Only what has a Lifetime and suits every client.
  void Store(const std::string& key, std::string_view answer) override;
  /// All who wait for the question; of a failure, only the query that it is the answer to.
  int FindReceiver(const std::string& key, std::string_view answer) override;
  /// With the query's own identifier, and the name of the question in its own spelling.
  std::string_view AnswerFor(const PendingRequest& request, std::string_view answer, std::string& copy) override;
  int FindSettled(const std::string& key, std::string_view answer) override;

 private:
  /// The servers of these rows have spoken: they are silent no more, and those who asked what `answer` answers wait for
  /// them no more.
  void CloseRows(std::uint16_t rows, const std::string& key, std::string_view answer);
  /// A failure has come for a request that waits for other servers too: from now on their silence counts.
  void NoteSilence(const PendingRequest& request);
  /// True while a server that was asked, and whose silence is noted, may still answer the request.
  bool IsHeldBack(const PendingRequest& request) const;

  /// For each row, the tick since which a failure has been held back for its sake without a word from it.
  std::array<std::optional<std::int32_t>, kServerRows> silentSince_;
};

}  // namespace quenvar
