#include "host/tool/page/feed.h"

#include <fmt/format.h>

namespace tool {

std::string encodedEvent(const std::string& id, const std::string& name, const std::string& data) {
  return fmt::format("id: {}\nevent: {}\ndata: {}\n\n", id, name, data);
}

void CFeed::publish(const std::string& name, const std::string& data) {
  {
    const std::lock_guard lock(mutex_);
    const std::string id = fmt::format("{}-{}", serverId_, next_++);
    events_.push_back(std::make_shared<const std::string>(encodedEvent(id, name, data)));
    if (events_.size() > kKept) events_.pop_front();
  }
  came_.notify_all();
}

void CFeed::close() {
  {
    const std::lock_guard lock(mutex_);
    isClosed_ = true;
  }
  came_.notify_all();
}

std::uint64_t CFeed::next() const {
  const std::lock_guard lock(mutex_);
  return next_;
}

CFeed::Outcome CFeed::wait(std::uint64_t& position, std::vector<Event>& events,
                           std::chrono::steady_clock::time_point until) const {
  std::unique_lock lock(mutex_);
  came_.wait_until(lock, until, [&] { return isClosed_ || next_ > position; });
  const std::uint64_t missing = next_ - position;
  if (isClosed_ || missing > events_.size()) return Outcome::kEnd;
  events.assign(events_.end() - static_cast<std::ptrdiff_t>(missing), events_.end());
  position = next_;
  return missing > 0 ? Outcome::kEvents : Outcome::kTime;
}

}  // namespace tool
