#include "engine/relay/asked_queries.h"

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "base/text.h"
#include "engine/relay/message_reader.h"
#include "platform/platform.h"
#include "platform/process.h"
#include "settings/server_list.h"

namespace quenvar {

namespace {

struct Asking {
  AskedPort port = 0;
  std::uint16_t rows = 0;
  bool underWay = false;  // as far as is known: its request may have left the table
};

constexpr std::size_t kIdentifiers = 65536;

std::vector<Asking> askings;

// The address that each row had when it was asked last.
std::array<std::string, kServerRows> askedAddresses;

Asking& AskingWith(std::uint16_t identifier) {
  if (askings.empty()) askings.resize(kIdentifiers);
  return askings[identifier];
}

// What was asked at another address that the row had before is not answered by this one.
void NoteAddress(std::size_t row) {
  if (askedAddresses[row] == ServerAddress[row]) return;
  askedAddresses[row] = ServerAddress[row];
  for (Asking& asking : askings) asking.rows = static_cast<std::uint16_t>(asking.rows & ~(1u << row));
}

template <typename Condition>
int FindRequest(Condition condition) {
  const auto end = PendingTable.begin() + PendingCount;
  const auto found = std::find_if(PendingTable.begin(), end, condition);
  return found == end ? -1 : static_cast<int>(found - PendingTable.begin());
}

bool IsUnderWay(std::uint16_t identifier) {
  return AskingWith(identifier).underWay &&
         FindRequest([&](const PendingRequest& request) { return request.OwnIdentifier == identifier; }) != -1;
}

}  // namespace

void BeginAsking(PendingRequest& request) {
  do {
    request.OwnIdentifier = platform.process->SecretNumber();
  } while (IsUnderWay(request.OwnIdentifier));
  request.AskedFrom = PortForQueries();
  AskingWith(request.OwnIdentifier) = {request.AskedFrom, 0, true};
}

void AskServer(std::size_t row, std::string_view query) {
  if (query.size() < kIdentifierBytes) return SendFromPort(PortForQueries(), ServerAddress[row], query);
  NoteAddress(row);
  Asking& asking = AskingWith(Identifier(query));
  asking.rows = static_cast<std::uint16_t>(asking.rows | 1u << row);
  SendFromPort(asking.port, ServerAddress[row], query);
}

bool WasJustForwarded(std::uint16_t identifier, std::string_view key) {
  if (!IsPortOpen(AskingWith(identifier).port)) return false;
  const int index = FindRequest([&](const PendingRequest& request) { return request.OwnIdentifier == identifier; });
  return index != -1 && EqualWithoutCase(PendingTable[static_cast<std::size_t>(index)].Name, key);
}

std::uint16_t RowsAsked(std::string_view answer, AskedPort port) {
  const Asking& asking = AskingWith(Identifier(answer));
  if (asking.port != port || port == 0) return 0;
  unsigned rows = asking.rows;
  for (std::size_t row = 0; row < kServerRows; ++row)
    if (askedAddresses[row] != ServerAddress[row]) rows &= ~(1u << row);
  return static_cast<std::uint16_t>(rows);
}

void EndAsking(const PendingRequest& request) { AskingWith(request.OwnIdentifier).underWay = false; }

int FindAsked(std::string_view answer, AskedPort port) {
  if (answer.size() < kIdentifierBytes || AskingWith(Identifier(answer)).port != port || port == 0) return -1;
  return FindRequest([&, identifier = Identifier(answer)](const PendingRequest& request) {
    return request.OwnIdentifier == identifier && request.AskedFrom == port;
  });
}

}  // namespace quenvar
