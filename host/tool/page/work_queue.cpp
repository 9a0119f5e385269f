#include "host/tool/page/work_queue.h"

#include <utility>

namespace tool {

namespace {

thread_local bool isRefusing = false;

}  // namespace

CWorkQueue::CWorkQueue(std::size_t threads) {
  for (std::size_t each = 0; each < threads; ++each) threads_.emplace_back([this] { run(); });
}

void CWorkQueue::enqueue(std::function<void()> work) {
  {
    const std::lock_guard lock(mutex_);
    if (waiting_.size() < threads_.size()) {
      waiting_.push_back(std::move(work));
      return came_.notify_one();
    }
  }
  isRefusing = true;
  work();
  isRefusing = false;
}

void CWorkQueue::shutdown() {
  {
    const std::lock_guard lock(mutex_);
    isEnding_ = true;
  }
  came_.notify_all();
  for (std::thread& thread : threads_) thread.join();
}

bool CWorkQueue::isFull() {
  return isRefusing;
}

void CWorkQueue::run() {
  for (;;) {
    std::function<void()> work;
    {
      std::unique_lock lock(mutex_);
      came_.wait(lock, [this] { return isEnding_ || !waiting_.empty(); });
      if (waiting_.empty()) return;
      work = std::move(waiting_.front());
      waiting_.pop_front();
    }
    work();
  }
}

}  // namespace tool
