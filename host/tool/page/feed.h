#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace tool {

/// One server-sent event, made once for all viewers.
using Event = std::shared_ptr<const std::string>;

/// Line by line as the stream of events has it. `data` is one line.
std::string encodedEvent(const std::string& id, const std::string& name, const std::string& data);

/// The events for all viewers. The newest few are kept: a viewer who falls further behind is let go, and comes back
/// knowing that it has missed some. Thread-safe.
class CFeed {
 public:
  /// `serverId` begins the id of each event.
  explicit CFeed(std::string serverId) : serverId_(std::move(serverId)) {}

  void publish(const std::string& name, const std::string& data);
  /// Ends every wait, for good.
  void close();

  /// The number that the next event will have.
  std::uint64_t next() const;

  enum class Outcome {
    kEvents,
    kTime,  ///< none came
    kEnd,   ///< the feed is closed, or events are missed
  };
  /// Waits until there are events from number `position` on, which is moved behind them.
  Outcome wait(std::uint64_t& position, std::vector<Event>& events, std::chrono::steady_clock::time_point until) const;

 private:
  static constexpr std::size_t kKept = 32;

  const std::string serverId_;
  mutable std::mutex mutex_;
  mutable std::condition_variable came_;
  std::deque<Event> events_;
  std::uint64_t next_ = 1;
  bool isClosed_ = false;
};

}  // namespace tool
