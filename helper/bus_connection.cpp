#include "helper/bus_connection.h"

#include <sys/epoll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

#include "cbl/process/retry_interrupted.h"

namespace helper {

namespace {

constexpr std::size_t kReadBlock = 65536;
constexpr std::size_t kMostQueuedSteps = 1024;
constexpr std::size_t kMostQueuedBytes = std::size_t{1} << 20;
constexpr std::chrono::milliseconds kPieceGap{2};

}  // namespace

CBusConnection::CBusConnection(int socket) : socket_(socket) {}

void CBusConnection::receive() {
  std::array<char, kReadBlock> block;
  const ssize_t count =
      cbl::retryInterrupted([&] { return ::recv(socket_.number(), block.data(), block.size(), MSG_DONTWAIT); });
  if (count > 0) {
    input_.append(block.data(), static_cast<std::size_t>(count));
  } else if (count == 0) {
    inputEnded_ = true;
  } else if (errno != EAGAIN) {
    isBroken_ = true;
  }
}

void CBusConnection::enqueue(Delivery delivery, Clock::time_point now) {
  const bool wasIdle = queue_.empty();
  for (const Step& step : delivery) queuedBytes_ += step.bytes.size();
  std::move(delivery.begin(), delivery.end(), std::back_inserter(queue_));
  if (wasIdle) startStep(now);
}

void CBusConnection::startStep(Clock::time_point now) {
  sent_ = 0;
  if (!queue_.empty()) due_ = now + queue_.front().wait;
}

Aftermath CBusConnection::send(Clock::time_point now) {
  socketIsFull_ = false;
  while (!queue_.empty() && due_ <= now) {
    const Step& step = queue_.front();
    while (sent_ < step.bytes.size()) {
      const std::size_t left = step.bytes.size() - sent_;
      const std::size_t piece = step.pieceSize == 0 ? left : std::min(left, step.pieceSize);
      const ssize_t count = cbl::retryInterrupted(
          [&] { return ::send(socket_.number(), step.bytes.data() + sent_, piece, MSG_DONTWAIT | MSG_NOSIGNAL); });
      if (count < 0) {
        socketIsFull_ = errno == EAGAIN;
        isBroken_ = !socketIsFull_;
        return {};
      }
      sent_ += static_cast<std::size_t>(count);
      if (step.pieceSize != 0 && sent_ < step.bytes.size()) {
        due_ = now + kPieceGap;
        return {};
      }
    }
    const Aftermath aftermath = step.aftermath;
    queuedBytes_ -= step.bytes.size();
    queue_.pop_front();
    startStep(now);
    if (aftermath.kind != Aftermath::kServe) return aftermath;
  }
  return {};
}

bool CBusConnection::hasRoom() const {
  return queue_.size() < kMostQueuedSteps && queuedBytes_ < kMostQueuedBytes;
}

std::uint32_t CBusConnection::interest() const {
  std::uint32_t events = 0;
  if (!inputEnded_ && hasRoom()) events |= EPOLLIN;
  if (socketIsFull_) events |= EPOLLOUT;
  return events;
}

std::optional<Clock::time_point> CBusConnection::due() const {
  if (queue_.empty() || socketIsFull_) return std::nullopt;
  return due_;
}

}  // namespace helper
