// What the TCP relay does where clients and name servers come to an end of each other: by the plain rules some of these
// ends are the program's too.
#pragma once

#include <cstdint>
#include <string_view>

namespace quenvar {

class ConnectionRules {
 public:
  virtual ~ConnectionRules() = default;

  /// The row of the name server that the slot is to be connected with; -1 for none.
  virtual int ChooseServer(std::int16_t slot);
  /// There is none. Ends the program.
  virtual void OnNoServer(std::int16_t slot);
  /// Data from the client of a slot goes to its name server, now or when that is connected.
  virtual void OnClientData(std::int16_t /*slot*/, std::string_view /*data*/) {}
  /// The client of the slot gets data from its name server.
  virtual void OnServerData(std::int16_t /*slot*/) {}
  /// Data has come from a client that no slot serves. Ends the program.
  virtual void OnDataWithoutSlot();
  /// The client has closed its sending side, or, with an error, is gone.
  virtual void OnClientGone(std::int16_t slot, int error);
  /// The name server has closed, or, with an error, refused or broken the connection. Frees the slot, and leaves the
  /// client's connection to the client.
  virtual void OnServerGone(std::int16_t slot, int error);
  /// Descriptors run out. True when some have become free.
  virtual bool MakeRoom() { return false; }
  /// Called every ten seconds.
  virtual void Tick() {}
};

/// The rules that the option MatchQuestion calls for.
ConnectionRules& Rules();

}  // namespace quenvar
