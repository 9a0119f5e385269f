#pragma once

#include <httplib.h>

#include <cstdint>
#include <string>
#include <thread>

#include "host/tool/page/guard.h"

namespace tool {

/// The HTTP server behind the page: the library's, with bounds. One request a connection; so many connections at a
/// time, some more wait for their turn, and what goes beyond is answered 503 at once.
class CHttpServer : private httplib::Server {
 public:
  /// Handlers run on threads of the server. Throws CFailure (internal) when no descriptor is free.
  explicit CHttpServer(Rules rules);
  /// Ends all connections; those whose handlers are at work once they return.
  ~CHttpServer() override;
  CHttpServer(const CHttpServer&) = delete;
  CHttpServer& operator=(const CHttpServer&) = delete;

  /// Those that more than one thread may be taken up by at a time have to bound that themselves.
  using Server::Get;
  using Server::Handler;
  using Server::Post;

  /// Listens on the address of the rules; port 0 takes any free one. Result: the port. Throws CFailure (usage).
  std::uint16_t listen(std::uint16_t port);

 private:
  bool process_and_close_socket(socket_t socket) override;
  void setAnswers();

  const Rules rules_;
  int end_;
  std::thread thread_;
};

/// Answers with an error for people.
void setError(httplib::Response& response, int status, const std::string& error);

/// How many connections are served at a time.
constexpr std::size_t kConnections = 48;

}  // namespace tool
