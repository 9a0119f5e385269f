#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "host/tool/failure.h"
#include "host/tool/link/batching.h"
#include "host/tool/link/session.h"
#include "host/tool/options.h"
#include "host/tool/page/board.h"
#include "host/tool/page/feed.h"

namespace tool {

/// What came of a write.
struct WriteAnswer {
  std::int32_t code = 0;
  std::string words;
};

/// Reads all points of a link again and again, for all viewers: the only one to use the link's driver. A link that is
/// lost, or not to be had yet, is connected as soon as that works.
class CPoller {
 public:
  /// Loads the plug-in. Throws CFailure (plug-in). `options` name the link; board and feed outlive this object.
  /// `onLink` is called by the poller's thread when the link's state has changed.
  CPoller(Options options, std::chrono::milliseconds interval, CBoard& board, CFeed& feed,
          std::function<void()> onLink);
  /// Waits for the driver call that is under way: seconds, where the helper does not answer.
  ~CPoller();
  CPoller(const CPoller&) = delete;
  CPoller& operator=(const CPoller&) = delete;

  void start();

  /// Writes to the point at `place`, between two rounds, and has the board show what is read right after it. Any
  /// thread; blocks until it is done. Throws CFailure: usage where `text` is no value of the point, unreachable where
  /// the link is not there or too busy: then nothing was written.
  WriteAnswer write(std::size_t place, const std::string& text);

  /// Has the next round begin at once.
  void refresh();

 private:
  struct Job;

  void run();
  bool isStopping() const;
  void work();
  void round();
  void open();
  bool waitUntil(std::chrono::steady_clock::time_point time);
  void serveJobs();
  WriteAnswer writeNow(std::size_t place, const plant::Words& words);
  void show(const std::vector<Result>& results, std::size_t first);
  void tell(LinkState::Kind kind, const CFailure* failure);

  const Options options_;
  const std::chrono::milliseconds interval_;
  CBoard& board_;
  CFeed& feed_;
  const std::function<void()> onLink_;
  std::unique_ptr<CSession> session_;
  std::vector<Access> accesses_;  // prepared, once the link has been up
  CStatistics statistics_;
  std::optional<CBatcher> batcher_;

  mutable std::mutex mutex_;
  std::condition_variable wanted_;
  std::deque<std::shared_ptr<Job>> jobs_;
  bool isStopping_ = false;
  bool isRefreshed_ = false;
  std::thread thread_;
};

}  // namespace tool
