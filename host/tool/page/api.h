#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "host/tool/options.h"
#include "host/tool/page/discovery.h"
#include "host/tool/page/gate.h"
#include "host/tool/page/http_server.h"
#include "host/tool/page/monitor.h"

namespace tool {

/// What /api/state says of the server.
struct ServerFacts {
  std::string serverId;  ///< another one with each start
  std::int64_t started = 0;
  std::int64_t pollMs = 0;
  bool isReadOnly = false;
  bool takesWrites = false;
};

/// The answers below /api: docs/page-api.md has them. What may take long is let in a few at a time, so that it never
/// has all threads of the server.
class CPageApi {
 public:
  /// All of them outlive the server's connections.
  CPageApi(const Options& options, const ServerFacts& facts, CMonitor& monitor, CDiscovery& discovery);

  void addTo(CHttpServer& server);

 private:
  using Request = httplib::Request;
  using Response = httplib::Response;
  using PointAnswer = std::function<void(const CMonitor::Place&, const Request&, Response&)>;

  void addReads(CHttpServer& server);
  void addPoints(CHttpServer& server);
  void addCommands(CHttpServer& server);

  CHttpServer::Handler forPoint(PointAnswer answer);

  void showState(Response& response) const;
  void follow(Response& response);
  void showPriorities(const CMonitor::Place& at, Response& response) const;
  void write(const CMonitor::Place& at, const Request& request, Response& response) const;
  void release(const CMonitor::Place& at, const Request& request, Response& response) const;
  void examine(Response& response) const;

  const Options& options_;
  const ServerFacts facts_;
  CMonitor& monitor_;
  CDiscovery& discovery_;
  CGate viewers_;
  CGate writes_;
  CGate questions_;  // to devices
  CGate doctors_;
};

}  // namespace tool
