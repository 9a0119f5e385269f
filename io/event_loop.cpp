#include "io/event_loop.h"

#include <pthread.h>
#include <sys/epoll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <limits>
#include <utility>

#include "io/system_failure.h"

namespace io {

namespace {

constexpr int kMostEvents = 64;
constexpr std::chrono::milliseconds kStandstill{100};
constexpr int kMostTurnsAfterStandstill = 64;

std::uint64_t tagOf(int descriptor, std::uint32_t number) {
  return static_cast<std::uint64_t>(number) << 32 | static_cast<std::uint32_t>(descriptor);
}

}  // namespace

CEventLoop::CEventLoop() : epoll_(::epoll_create1(EPOLL_CLOEXEC)) {
  if (epoll_ < 0) failWithErrno("epoll_create1");
}

CEventLoop::~CEventLoop() {
  if (signals_ >= 0) ::close(signals_);
  ::close(epoll_);
}

bool CEventLoop::control(int operation, int descriptor, std::uint32_t number, std::uint32_t events) const {
  epoll_event event{};
  event.events = events;
  event.data.u64 = tagOf(descriptor, number);
  return ::epoll_ctl(epoll_, operation, descriptor, &event) == 0;
}

bool CEventLoop::watch(int descriptor, std::uint32_t events, EventHandler handler) {
  Watch watch{nextNumber_, std::make_shared<EventHandler>(std::move(handler))};
  if (!control(EPOLL_CTL_ADD, descriptor, watch.number, events)) return false;
  ++nextNumber_;
  watches_.insert_or_assign(descriptor, std::move(watch));
  return true;
}

bool CEventLoop::change(int descriptor, std::uint32_t events) {
  const auto watch = watches_.find(descriptor);
  if (watch != watches_.end()) return control(EPOLL_CTL_MOD, descriptor, watch->second.number, events);
  errno = ENOENT;
  return false;
}

void CEventLoop::unwatch(int descriptor) {
  // Taken out before it is destroyed: what the handler owns may come back here.
  if (const auto removed = watches_.extract(descriptor)) control(EPOLL_CTL_DEL, descriptor, 0, 0);
}

void CEventLoop::onSignals(std::initializer_list<int> signals, SignalHandler handler) {
  sigset_t set;
  sigemptyset(&set);
  for (const int signal : signals) sigaddset(&set, signal);
  if (const int failure = ::pthread_sigmask(SIG_BLOCK, &set, nullptr); failure != 0) {
    errno = failure;
    failWithErrno("pthread_sigmask");
  }
  signals_ = ::signalfd(signals_, &set, SFD_CLOEXEC | SFD_NONBLOCK);
  if (signals_ < 0) failWithErrno("signalfd");
  unwatch(signals_);
  const bool isWatched = watch(signals_, EPOLLIN, [this, handler = std::move(handler)](std::uint32_t) {
    ::signalfd_siginfo signal{};
    if (::read(signals_, &signal, sizeof(signal)) == sizeof(signal)) handler(static_cast<int>(signal.ssi_signo));
  });
  if (!isWatched) failWithErrno("epoll_ctl");
}

int CEventLoop::run() {
  status_.reset();
  while (!status_) {
    std::array<epoll_event, kMostEvents> events;
    const int count = ::epoll_wait(epoll_, events.data(), kMostEvents, timeout());
    if (count < 0 && errno != EINTR) failWithErrno("epoll_wait");
    turn_ = Clock::now();
    for (int i = 0; i < count && !status_; ++i) {
      const epoll_event& event = events[static_cast<std::size_t>(i)];
      handle(event.data.u64, event.events);
    }
    if (!status_ && !isCatchingUp(count)) timers_.runDue(now(), [this] { return status_.has_value(); });
    turn_.reset();
  }
  return *status_;
}

// What came while this process stood still, or took long for something, is not missing: it only has not been looked at,
// and a turn takes one datagram of a socket.
bool CEventLoop::isCatchingUp(int events) {
  const auto first = timers_.first();
  const bool isLate = first && *first + kStandstill < now();
  caughtUp_ = isLate && events > 0 ? caughtUp_ + 1 : 0;
  return caughtUp_ > 0 && caughtUp_ <= kMostTurnsAfterStandstill;
}

// Milliseconds until the first timer is due, never too few; -1 without one.
int CEventLoop::timeout() const {
  const auto first = timers_.first();
  if (!first) return -1;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(*first - now()).count();
  return static_cast<int>(std::clamp<std::int64_t>(left, 0, std::numeric_limits<int>::max()));
}

void CEventLoop::handle(std::uint64_t tag, std::uint32_t events) {
  const auto watch = watches_.find(static_cast<int>(static_cast<std::uint32_t>(tag)));
  if (watch == watches_.end() || watch->second.number != static_cast<std::uint32_t>(tag >> 32)) return;
  const auto handler = watch->second.handler;  // lives on when it unwatches itself
  (*handler)(events);
}

}  // namespace io
