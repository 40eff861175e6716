#include <gtest/gtest.h>

#include <algorithm>

#include "tcp/tcp_relay.h"
#include "tests/fakes/fake_tcp.h"
#include "tests/fakes/service.h"

namespace quenvar {
namespace {

using Calls = std::vector<std::string>;

class TcpRelay : public Service {
 protected:
  TcpRelay() {
    platform.IPDaemon = &listener;
    platform.IPPort = &servers;
    platform.events = &loop;
    SetServer(0, "192.0.2.1");
    EXPECT_EQ(0, InitTcpRelay());
  }

  struct NotedLoop : FakeEventLoop {
    explicit NotedLoop(TcpRelay& test) : FakeEventLoop(test.trace), servers(test.servers) {}
    void RunPendingEvents() override {
      servers.calls.push_back("events");
      FakeEventLoop::RunPendingEvents();
    }
    FakeTcpClients& servers;
  };

  void ClientConnects(std::int16_t connection) {
    listener.handlers.connectionRequest("198.51.100.7", 4000);
    listener.handlers.connected(connection, 0, "OK");
  }
  void ServerConnects(std::int16_t slot) { servers.handlers.connected(slot, 0, "OK"); }
  void ServerLeaves(std::int16_t slot) { servers.handlers.disconnected(slot, 0, ""); }

  /// The number of the run-time error that ends the program, or 0.
  template <typename Action>
  static int FatalError(Action action) {
    try {
      action();
    } catch (int number) {
      return number;
    }
    return 0;
  }

  FakeTcpListener listener;
  FakeTcpClients servers;
  NotedLoop loop{*this};
};

TEST_F(TcpRelay, ListensOnTheDnsPortAndReportsAPortInUse) {
  EXPECT_EQ(53, listener.localPort);
  listener.activateError = kErrorAddressInUse;
  EXPECT_EQ(kErrorAddressInUse, InitTcpRelay());
}

TEST_F(TcpRelay, ConnectsInStepsThatLetEventsRunBetween) {
  ClientConnects(1);
  EXPECT_EQ((Calls{"0 prepare", "events", "0 host 192.0.2.1", "events", "0 port 53", "events", "0 connect"}),
            servers.TakeCalls());
}

TEST_F(TcpRelay, SlotsGrowOneByOneAndTheHighestFreeOneIsUsedAgain) {
  for (std::int16_t connection = 1; connection <= 3; ++connection) ClientConnects(connection);
  EXPECT_EQ(2, SlotUpper);
  EXPECT_EQ(1, std::ranges::count(servers.calls, "1 create"));
  EXPECT_EQ(0, std::ranges::count(servers.calls, "0 create"));
  for (std::int16_t slot = 0; slot <= 2; ++slot) ServerLeaves(slot);
  servers.TakeCalls();

  ClientConnects(4);
  ClientConnects(5);
  EXPECT_EQ(2, SlotOfConnection(4));
  EXPECT_EQ(1, SlotOfConnection(5));
  EXPECT_EQ(-1, SlotOfConnection(6));
  EXPECT_EQ(2, SlotUpper);
  EXPECT_EQ(0, std::ranges::count(servers.calls, "2 create"));
}

TEST_F(TcpRelay, DataFromBeforeTheServerConnectionIsSentInOnePiece) {
  loop.onNextYield = [&] { listener.handlers.dataIn(1, std::string_view("a\0b", 3)); };
  ClientConnects(1);
  listener.handlers.dataIn(1, "cd");
  servers.TakeCalls();
  ServerConnects(0);
  listener.handlers.dataIn(1, "later");
  EXPECT_EQ((Calls{std::string("0 send a\0bcd", 12), "0 send later"}), servers.TakeCalls());
  EXPECT_EQ("", SlotQueue[0]);
}

TEST_F(TcpRelay, AnswersGoToTheClientOfTheirSlot) {
  ClientConnects(7);
  ClientConnects(8);
  ServerConnects(1);
  servers.handlers.dataIn(1, "an");
  servers.handlers.dataIn(1, "swer");
  EXPECT_EQ((std::map<std::int16_t, std::string>{{8, "answer"}}), listener.sent);
}

TEST_F(TcpRelay, TheServerWithMostFirstAnswersIsChosen) {
  struct Case {
    std::map<std::size_t, std::int16_t> enabled;
    const char* chosen;
  };
  for (const Case& test : {Case{{{0, 5}, {3, 9}, {7, 9}}, "0 host 10.0.0.3"},       // ties: the lower row
                           Case{{{4, 0}, {5, 0}}, "0 host 10.0.0.4"},               // none has answered first
                           Case{{{9, 1}, {10, 8}, {15, 9}}, "0 host 10.0.0.9"}}) {  // rows from 10 on do not count
    ServerEnabled.fill(kFalse);
    for (const auto& [row, count] : test.enabled) SetServer(row, "10.0.0." + std::to_string(row), "", count);
    InitTcpRelay();
    servers.TakeCalls();
    ClientConnects(1);
    EXPECT_EQ(1, std::ranges::count(servers.calls, test.chosen)) << test.chosen;
  }
}

TEST_F(TcpRelay, EndsTheProgramWhenNoServerQualifies) {
  upstream.active = false;
  EXPECT_EQ(9, FatalError([&] { ClientConnects(1); }));
  EXPECT_EQ(0, SlotOfConnection(1)) << "the slot is assigned before the choice fails";
  upstream.active = true;
  ServerEnabled.fill(kFalse);
  EXPECT_EQ(9, FatalError([&] { ClientConnects(2); }));
}

TEST_F(TcpRelay, EndsTheProgramOnDataFromAClientWhoseServerHasLeft) {
  ClientConnects(1);
  ServerConnects(0);
  ServerLeaves(0);
  EXPECT_EQ(9, FatalError([&] { listener.handlers.dataIn(1, "x"); }));
}

TEST_F(TcpRelay, AClientThatLeavesEndsItsServerConnection) {
  ClientConnects(1);
  ClientConnects(2);
  servers.TakeCalls();
  listener.handlers.disconnected(2, 0, "");
  listener.handlers.disconnected(1, 104, "reset");
  EXPECT_EQ((Calls{"1 finish", "0 abort"}), servers.TakeCalls());
  EXPECT_EQ(1, SlotOfConnection(2)) << "freed only when the server connection has ended";
}

TEST_F(TcpRelay, AServerThatLeavesFreesTheSlotAndNotTheClient) {
  ClientConnects(1);
  listener.handlers.dataIn(1, "unsent");
  ServerLeaves(0);
  EXPECT_EQ(-1, SlotConnectionId[0]);
  EXPECT_EQ(kFalse, SlotConnected[0]);
  EXPECT_EQ("", SlotQueue[0]);
  EXPECT_EQ(std::vector<std::int16_t>{1}, listener.released);
  servers.TakeCalls();
  listener.handlers.disconnected(1, 0, "");
  EXPECT_EQ(Calls{}, servers.TakeCalls());
}

TEST_F(TcpRelay, OneSideIsNotReadWhileTooMuchWaitsForTheOther) {
  ClientConnects(1);
  listener.handlers.dataIn(1, std::string(kWaitingLimit, 'q'));
  EXPECT_TRUE(listener.reading[1]);
  listener.handlers.dataIn(1, "q");
  EXPECT_FALSE(listener.reading[1]) << "the queue is over the limit";
  servers.waiting = kWaitingLimit;
  ServerConnects(0);
  EXPECT_TRUE(listener.reading[1]);
  servers.waiting = listener.waiting = kWaitingLimit + 1;
  listener.handlers.dataIn(1, "q");
  servers.handlers.dataIn(0, "a");
  EXPECT_FALSE(listener.reading[1]);
  EXPECT_FALSE(servers.reading[0]);
  servers.handlers.allSent(0);
  listener.handlers.allSent(1);
  EXPECT_TRUE(listener.reading[1]);
  EXPECT_TRUE(servers.reading[0]);
}

TEST_F(TcpRelay, TheLogHasOneLineForEachRequestAndEventsOfUnknownSlotsAreIgnored) {
  ClientConnects(1);
  listener.handlers.dataIn(1, "query");
  for (const std::int16_t slot : std::vector<std::int16_t>{-1, 0, 1}) {
    ServerConnects(slot);
    servers.handlers.dataIn(slot, "answer");
    servers.handlers.allSent(slot);
    ServerLeaves(slot);
  }
  listener.handlers.allSent(1);
  listener.handlers.disconnected(1, 0, "");
  EXPECT_EQ(std::vector<std::string>{"TCP connection request"}, LogLines());
}

}  // namespace
}  // namespace quenvar
