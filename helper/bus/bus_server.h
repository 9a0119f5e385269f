#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string_view>
#include <vector>

#include "cbl/bus/bus_protocol.h"
#include "helper/bus/bus_connection.h"
#include "helper/bus/frame_handler.h"
#include "helper/process/helper_log.h"
#include "io/event_loop.h"

namespace helper {

/// Serves any number of clients of one listening stream socket on an event loop: whole frames in, deliveries out, each
/// client's in the order of its requests. A client with too much waiting is not read from until that is less; the
/// others are served meanwhile. Knows frames, not what they carry.
class CBusServer {
 public:
  /// `listener` is a non-blocking listening socket. It and the other three outlive the server; slots may outlive it.
  CBusServer(io::CEventLoop& loop, int listener, CFrameHandler& handler, CHelperLog& log);
  ~CBusServer();
  CBusServer(const CBusServer&) = delete;
  CBusServer& operator=(const CBusServer&) = delete;

  /// Serves from now on, whenever the loop runs. Result: false with errno when the kernel refuses to watch.
  bool start();

 private:
  struct Client {
    std::shared_ptr<CBusConnection> connection;
    std::uint32_t watched;  // the events that the loop waits for
    io::CTimer due;
  };
  using Clients = std::map<int, Client>;

  void acceptClients();
  void addClient(int socket);
  void pauseListening();
  void listenAgain();
  void onEvents(int socket, std::uint32_t events);
  void onAnswer(int socket);
  void serveAnswered();
  void serve(Clients::iterator client);
  bool exchange(const std::shared_ptr<CBusConnection>& connection);
  bool handle(const std::shared_ptr<CBusConnection>& connection, std::string_view bytes);
  void waitOn(Client& client);
  void remove(Clients::iterator client);

  io::CEventLoop& loop_;
  int listener_;
  CFrameHandler& handler_;
  CHelperLog& log_;
  cbl::CBusProtocol protocol_;
  cbl::BusFrameInfo frame_;  // the last that was handled; its memory serves the next
  Clients clients_;          // by socket

  bool listens_ = false;
  bool isShort_ = false;  // the last client could not be accepted
  io::CTimer retry_;
  int served_ = -1;            // the socket whose frames are being handled
  std::vector<int> answered_;  // sockets whose clients were answered in between
  io::CTimer answer_;
};

}  // namespace helper
