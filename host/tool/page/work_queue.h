#pragma once

#include <httplib.h>

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace tool {

/// The threads that serve connections. Besides those at work as many more wait for their turn; work beyond that is done
/// at once by whoever brings it, and sees `isFull`: it is to refuse its connection.
class CWorkQueue : public httplib::TaskQueue {
 public:
  explicit CWorkQueue(std::size_t threads);
  ~CWorkQueue() override = default;
  CWorkQueue(const CWorkQueue&) = delete;
  CWorkQueue& operator=(const CWorkQueue&) = delete;

  void enqueue(std::function<void()> work) override;
  /// Does what waits, too: each connection has to be closed.
  void shutdown() override;

  /// Asked by work about itself.
  static bool isFull();

 private:
  void run();

  std::mutex mutex_;
  std::condition_variable came_;
  std::deque<std::function<void()>> waiting_;
  bool isEnding_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace tool
