#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "host/tool/options.h"
#include "host/tool/page/encoding.h"
#include "host/tool/page/feed.h"
#include "host/tool/page/poller.h"
#include "plant/project.h"

namespace tool {

/// The links of a project and all their points, polled: one driver, one thread and one board for each link. One thread
/// more asks the devices for units and names, until they have told. Thread-safe but for `start`.
class CMonitor {
 public:
  /// Throws CFailure (plug-in).
  CMonitor(const Options& options, const std::vector<plant::Link>& links, std::chrono::milliseconds interval,
           const std::string& serverId);
  /// As CPoller's.
  ~CMonitor();
  CMonitor(const CMonitor&) = delete;
  CMonitor& operator=(const CMonitor&) = delete;

  void start();

  const Boards& boards() const { return boards_; }
  CFeed& feed() { return feed_; }
  /// As each viewer is greeted: the page then asks for the points again.
  void publishHello() { feed_.publish("hello", jsonText({{"serverId", serverId_}})); }
  void publishLinks() { feed_.publish("links", linksJson(boards_)); }

  /// A point by its id.
  struct Place {
    CBoard& board;
    CPoller& poller;
    std::size_t place;

    const plant::Point& point() const { return board.link().points[place]; }
  };
  std::optional<Place> find(std::size_t id);

 private:
  void readFacts();
  bool readFactsOf(CBoard& board) const;
  bool isStopping() const;

  const std::string serverId_;
  const std::string networkInterface_;
  Boards boards_;
  CFeed feed_;
  std::vector<std::unique_ptr<CPoller>> pollers_;
  mutable std::mutex mutex_;
  std::condition_variable stopped_;
  bool isStopping_ = false;
  std::thread facts_;
};

}  // namespace tool
