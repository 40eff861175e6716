// Everything outside of the program that the logic may call, in one place. main.cpp fills it before anything else runs.
#pragma once

namespace quenvar {

class Clock;
class Desktop;
class EventLoop;
class Files;
class HttpClient;
class MessageBoxes;
class Network;
class Process;
class Profile;
class RecordStore;
class TcpClients;
class TcpListener;
class Timer;
class UdpPort;
class UdpPorts;

struct Platform {
  Clock* clock = nullptr;
  EventLoop* events = nullptr;
  Desktop* desktop = nullptr;
  Files* files = nullptr;
  HttpClient* http = nullptr;  ///< of the update check
  MessageBoxes* boxes = nullptr;
  Network* network = nullptr;
  Process* process = nullptr;
  Profile* profile = nullptr;
  RecordStore* records = nullptr;
  TcpListener* IPDaemon = nullptr;  ///< clients' TCP connections to local port 53
  TcpClients* IPPort = nullptr;     ///< TCP connections to name servers, by slot
  Timer* Timer1 = nullptr;          ///< the housekeeping tick
  UdpPort* UDPPort1 = nullptr;      ///< towards the name servers
  UdpPort* UDPPort2 = nullptr;      ///< towards the clients
  UdpPorts* ports = nullptr;        ///< further ones towards the name servers
  Timer* portTimer = nullptr;       ///< ends their time, while there are any
};

inline Platform platform;

}  // namespace quenvar
