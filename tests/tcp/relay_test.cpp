#include "tcp/tcp_relay.h"
#include "tests/fakes/fake_tcp.h"
#include "tests/fakes/service.h"

namespace quenvar {
namespace {

class TcpRelay : public Service {
 protected:
  TcpRelay() {
    platform.IPDaemon = &listener;
    platform.IPPort = &servers;
    SetServer(0, "192.0.2.1", "", 5);
    for (const std::size_t row : {3u, 7u, 12u}) SetServer(row, "192.0.2." + std::to_string(row), "", 9);
    EXPECT_EQ(InitTcpRelay(), 0);
  }

  void Connect(std::initializer_list<std::int16_t> clients) {
    for (const std::int16_t connection : clients) {
      listener.handlers.connectionRequest("198.51.100.7", 4000);
      listener.handlers.connected(connection, 0, "OK");
    }
  }

  FakeTcpListener listener;
  FakeTcpClients servers;
};

TEST_F(TcpRelay, SlotsGrowOneByOneAndTheHighestFreeOneIsUsedAgain) {
  Connect({1, 2, 3});
  for (std::int16_t slot = -1; slot < 4; ++slot) servers.handlers.disconnected(slot, 0, "");
  Connect({4, 5});
  EXPECT_EQ((std::vector<std::int16_t>{-1, 5, 4}), SlotConnectionId);
}

TEST_F(TcpRelay, DataFromBeforeTheConnectionToTheBestServerIsSentInOnePieceAndAnswersGoToTheirClient) {
  events.onNextYield = [&] { listener.handlers.dataIn(7, std::string_view("a\0b", 3)); };
  Connect({7});
  EXPECT_EQ((Trace{"0 prepare", "0 host 192.0.2.3", "0 port 53", "0 connect"}), servers.TakeCalls());
  listener.handlers.dataIn(7, "cd");
  Connect({8});
  EXPECT_EQ("1 create", servers.TakeCalls().front());
  servers.handlers.connected(0, 0, "OK");
  listener.handlers.dataIn(7, "later");
  servers.handlers.dataIn(1, "answer");
  EXPECT_EQ((std::map<std::int16_t, std::string>{{8, "answer"}}), listener.sent);
  listener.handlers.disconnected(8, 0, "");
  listener.handlers.disconnected(7, 104, "reset");
  EXPECT_EQ((Trace{std::string("0 send a\0bcd", 12), "0 send later", "1 finish", "0 abort"}), servers.TakeCalls());
  EXPECT_EQ((Trace{"TCP connection request", "TCP connection request"}), LogLines());
}

TEST_F(TcpRelay, EndsTheProgramWithoutAServerToChooseAndOnDataAfterTheServerHasLeft) {
  ServerEnabled.fill(kFalse);
  EXPECT_THROW(Connect({1}), int);
  EXPECT_EQ(0, SlotOfConnection(1)) << "the slot is assigned before the choice fails";
  servers.handlers.disconnected(0, 0, "");
  EXPECT_THROW(listener.handlers.dataIn(1, "x"), int);
}

}  // namespace
}  // namespace quenvar
