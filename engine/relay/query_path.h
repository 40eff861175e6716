// The UDP relay: queries from clients are answered from the cache and forwarded, answers from name servers go to every
// client that waits for the name.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace quenvar {

inline constexpr std::uint16_t kDnsPort = 53;

/// Set by the first answer that arrives from upstream, never cleared.
extern bool UpstreamAnswered;

/// The source of an answer that comes from the cache.
inline constexpr const char* kFromCache = "*";

// Which answers count, whom they go to, and with what bytes, is left to answerRules (engine/relay/answer_rules.h). By
// the plain rules every datagram is an answer to all who wait for its name, unchanged.

/// A query has arrived at UDPPort2. It is counted, logged, entered as pending, answered from the cache where an answer
/// is stored, and in every case forwarded; by the plain rules byte for byte.
void OnClientDatagram(std::string_view message, const std::string& clientAddress, std::int32_t clientPort);

/// An answer has arrived at UDPPort1, or at a port of the rules. It is stored, by the plain rules whether or not a
/// client waits for it, and delivered.
void OnServerDatagram(std::string_view message, const std::string& serverAddress, std::int32_t serverPort);

/// Sends `answer` to every client that waits for `key`, oldest first. `source` is a server address or kFromCache; from
/// the cache, the requests stay pending so that the time gained can be measured.
void DeliverAnswer(const std::string& key, std::string_view answer, const std::string& source);

/// Sends the query to every enabled server in slot order, and lets events run between.
void ForwardToAll(std::string_view message);

/// Sends the query to BestServer, if there is one.
void ForwardToBest(std::string_view message);

/// The enabled row with the most first answers, of equals the lowest; -1 when no row is enabled or UDPPort1 is not
/// active.
int BestServer();

/// The same without the rows that are set in `rows`, as bits.
int BestServerBut(std::uint16_t rows);

/// Sends one datagram from UDPPort2, from the source that is set there.
void SendToClient(const std::string& address, std::int32_t port, std::string_view answer);

}  // namespace quenvar
