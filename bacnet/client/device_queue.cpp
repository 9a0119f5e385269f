#include "bacnet/client/device_queue.h"

#include <utility>

namespace bacnet {

void CDeviceQueue::add(std::shared_ptr<CWork> work) {
  if (!std::exchange(work->isQueued, true)) waiting_.push_back(std::move(work));
  pump();
}

void CDeviceQueue::open(const Peer& peer, std::size_t window) {
  peer_ = peer;
  window_ = window;
  pump();
}

void CDeviceQueue::failAll(const Failure& failure) {
  auto failed = std::exchange(waiting_, {});
  for (const auto& work : failed) {
    work->isQueued = false;
    work->fail(failure);
  }
}

void CDeviceQueue::pump() {
  if (isPumping_) return;
  isPumping_ = true;
  std::size_t idle = 0;  // how many in a row had nothing to send
  while (transactions_.underWay() < window_ && idle < waiting_.size()) {
    const auto work = std::move(waiting_.front());
    waiting_.pop_front();
    auto request = work->next();
    work->isQueued = work->hasMore();
    if (work->isQueued) waiting_.push_back(work);
    if (request) {
      idle = 0;
      transactions_.start(peer_, std::move(*request));
    } else if (work->isQueued) {
      ++idle;
    }
  }
  isPumping_ = false;
}

}  // namespace bacnet
