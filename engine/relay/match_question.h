// The rules for clients that check what they are given: requests and answers are told apart by the whole question, and
// each client gets an answer that fits its own query and is no older than it may be.
#pragma once

#include <array>
#include <optional>

#include "engine/relay/answer_rules.h"
#include "engine/relay/entry_sweep.h"
#include "settings/server_list.h"

namespace quenvar {

/// A key is the joined name, a byte 0, one to three letters for what the asker speaks (N nothing, E EDNS, D EDNS with
/// signatures; C no checking by the server; R no recursion), type and class in decimal digits, and, where the joined
/// name does not show where its labels end, their lengths. A query whose question or EDNS record cannot be read
/// (engine/relay/message_reader.h) goes by the joined name and the byte 0, which no other key ends with; it is relayed,
/// and the answer to it goes to its own client only and is never stored.
///
/// What is stored has the form of engine/relay/stored_entry.h.
class MatchQuestionRules final : public AnswerRules {
 public:
  std::string KeyOf(std::string_view query) override;
  /// That of the request which the answer belongs to by its identifier and the port that it has come to.
  std::string KeyOfAnswer(std::string_view answer) override;
  std::string ShownName(const std::string& key) override;
  void Describe(PendingRequest& request, std::string_view query) override;
  void Enter(PendingRequest& request) override;
  /// With an identifier of our own in place of the client's.
  std::string_view Outgoing(const PendingRequest& request, std::string_view query, std::string& copy) override;
  /// From a port that is changed every second (engine/relay/asked_ports.h).
  void SendToServer(std::size_t row, std::string_view outgoing) override;
  /// It would drop requests that nobody counts.
  bool SweepsGivenUpSlots() const override { return false; }
  /// Only while the answer is younger than its time-to-live, which its records are reduced by, and where it fits.
  std::string StoredAnswer(const PendingRequest& request) override;
  /// An answer counts when it comes from port 53 of an enabled server that was asked, to the port and with the
  /// identifier that the request was forwarded with, and with its question. One that only says that the server failed
  /// is held back while another server that was asked may still do better.
  Verdict Judge(const std::string& key, std::string_view answer, const std::string& serverAddress,
                std::int32_t serverPort) override;
  /// Only what has a time-to-live, is whole, and suits another client too.
  void Store(const std::string& key, std::string_view answer) override;
  /// The client whose own query was answered, and all who wait for the same and can take it; a failure, or an answer
  /// that was cut, is for the first of them only.
  int FindReceiver(const std::string& key, std::string_view answer, Origin origin) override;
  /// With the query's own identifier, and the name of the question in its own spelling. What is too long for the
  /// client, or has an EDNS record that it does not know, is cut.
  std::string_view AnswerFor(const PendingRequest& request, std::string_view answer, std::string& copy) override;
  int FindSettled(const std::string& key, std::string_view answer) override;
  /// Sweeps the cache.
  void Tick() override { sweep_.Tick(); }

 private:
  /// The servers of these rows have spoken.
  void EndSilence(std::uint16_t rows);
  /// A failure has come for a request that waits for other servers too: from now on their silence counts.
  void NoteSilence(const PendingRequest& request);
  /// True while a server that was asked, and has not been silent for long, may still answer the request.
  bool IsHeldBack(const PendingRequest& request) const;

  /// The index of the request that the answer at hand belongs to, as KeyOfAnswer has found it; -1 for none.
  int asked_ = -1;

  /// For each row, the tick since which a failure has been held back for its sake without a word from it.
  std::array<std::optional<std::int32_t>, kServerRows> silentSince_;

  EntrySweep sweep_;
};

}  // namespace quenvar
