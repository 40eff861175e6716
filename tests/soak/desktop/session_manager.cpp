// A session manager (X Session Management Protocol 1.0) for one client; a second one would wait for ever. Prints where
// it listens, as the variable SESSION_MANAGER has it. SIGTERM logs the user out: the client is asked to save itself,
// and when it has, to end. With SIGINT it breaks down before it has the client's answer.
#include <X11/SM/SMlib.h>
#include <poll.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

SmsConn client = nullptr;
volatile std::sig_atomic_t request = 0;

Bool Anyone(char* /*host*/) { return True; }

Status OnClient(SmsConn connection, SmPointer, unsigned long* mask, SmsCallbacks* on, char** /*refusal*/) {
  client = connection;
  *mask = SmsRegisterClientProcMask | SmsSaveYourselfDoneProcMask | SmsSetPropertiesProcMask |
          SmsDeletePropertiesProcMask | SmsCloseConnectionProcMask;
  on->register_client.callback = [](SmsConn newClient, SmPointer, char* /*identifierBefore*/) -> Status {
    char identifier[] = "client";
    SmsRegisterClientReply(newClient, identifier);
    SmsSaveYourself(newClient, SmSaveLocal, False, SmInteractStyleNone, False);
    return True;
  };
  on->save_yourself_done.callback = [](SmsConn saved, SmPointer, Bool /*success*/) {
    (request != 0 ? SmsDie : SmsSaveComplete)(saved);
  };
  on->set_properties.callback = [](SmsConn, SmPointer, int, SmProp**) {};
  on->delete_properties.callback = [](SmsConn, SmPointer, int, char**) {};
  on->close_connection.callback = [](SmsConn, SmPointer, int, char**) { std::exit(0); };
  return True;
}

// Waits until one of them can be read; -1: a signal has come.
int Ready(std::vector<pollfd> descriptors) {
  sigset_t none;
  sigemptyset(&none);
  if (ppoll(descriptors.data(), descriptors.size(), nullptr, &none) <= 0) return -1;
  int ready = 0;
  while (descriptors[static_cast<std::size_t>(ready)].revents == 0) ++ready;
  return ready;
}

}  // namespace

int main() {
  char fault[200];
  int count = 0;
  IceListenObj* listeners = nullptr;
  if (SmsInitialize("session", "1", OnClient, nullptr, Anyone, sizeof fault, fault) == 0 ||
      IceListenForConnections(&count, &listeners, sizeof fault, fault) == 0)
    return std::fputs(fault, stderr), 1;
  std::vector<pollfd> doors;
  for (int door = 0; door < count; ++door) {
    IceSetHostBasedAuthProc(listeners[door], Anyone);
    doors.push_back({IceGetListenConnectionNumber(listeners[door]), POLLIN, 0});
  }
  sigset_t ends;
  sigemptyset(&ends);
  sigaddset(&ends, SIGTERM);
  sigaddset(&ends, SIGINT);
  sigprocmask(SIG_BLOCK, &ends, nullptr);
  IceSetIOErrorHandler([](IceConn) { std::exit(0); });
  for (const int number : {SIGTERM, SIGINT}) std::signal(number, [](int given) { request = given; });
  std::puts(IceComposeNetworkIdList(count, listeners));
  std::fflush(stdout);

  const int door = Ready(doors);
  if (door < 0) return 0;
  IceAcceptStatus accepted{};
  const IceConn connection = IceAcceptConnection(listeners[door], &accepted);
  while (true) {
    if (Ready({{IceConnectionNumber(connection), POLLIN, 0}}) == 0)
      IceProcessMessages(connection, nullptr, nullptr);
    else if (client != nullptr)
      SmsSaveYourself(client, SmSaveBoth, True, SmInteractStyleNone, False);
    if (request == SIGINT) std::_Exit(1);
  }
}
