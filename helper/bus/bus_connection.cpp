#include "helper/bus/bus_connection.h"

#include <sys/epoll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include "cbl/process/retry_interrupted.h"

namespace helper {

namespace {

constexpr std::size_t kReadBlock = 65536;
constexpr std::size_t kMostUnanswered = 64;
constexpr std::size_t kMostQueuedReplies = 1024;
constexpr std::size_t kMostQueuedBytes = std::size_t{1} << 20;
constexpr std::chrono::milliseconds kPieceGap{2};

}  // namespace

CBusConnection::CBusConnection(int socket, std::function<void()> onAnswer)
    : socket_(socket), onAnswer_(std::move(onAnswer)) {}

void CBusConnection::close() {
  onAnswer_ = nullptr;
  socket_.reset(-1);
  isBroken_ = true;
}

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

std::uint64_t CBusConnection::expectReply() {
  queue_.emplace_back();
  ++unanswered_;
  return firstNumber_ + queue_.size() - 1;
}

void CBusConnection::take(std::uint64_t number, Delivery delivery) {
  if (!onAnswer_) return;  // closed
  Reply& reply = queue_[static_cast<std::size_t>(number - firstNumber_)];
  for (const Step& step : delivery) queuedBytes_ += step.bytes.size();
  reply.delivery = std::move(delivery);
  reply.isGiven = true;
  --unanswered_;
  onAnswer_();
}

// Leaves a first reply with a step to be sent, or one that has not been given, or none.
void CBusConnection::skipSentReplies() {
  while (!isWaiting() && queue_.front().step == queue_.front().delivery.size()) {
    queue_.pop_front();
    ++firstNumber_;
  }
}

bool CBusConnection::send(const io::CTimers& clock) {
  socketIsFull_ = false;
  for (skipSentReplies(); !isWaiting(); skipSentReplies()) {
    Reply& reply = queue_.front();
    Step& step = reply.delivery[reply.step];
    if (!isDue(step, clock) || !sendStep(step, clock)) return true;

    queuedBytes_ -= step.bytes.size();
    sent_ = 0;
    due_.reset();
    ++reply.step;
    const auto then = std::move(step.then);
    const bool closes = step.closes;
    if (then) then();
    if (closes) return false;
  }
  return true;
}

// Most steps wait for nothing, and the clock is not looked at for them.
bool CBusConnection::isDue(const Step& step, const io::CTimers& clock) {
  if (!due_ && step.wait.count() > 0) due_ = clock.now() + step.wait;
  return !due_ || *due_ <= clock.now();
}

// Result: whether all of it is with the kernel.
bool CBusConnection::sendStep(const Step& step, const io::CTimers& clock) {
  while (sent_ < step.bytes.size()) {
    const std::size_t left = step.bytes.size() - sent_;
    const std::size_t piece = step.pieceSize == 0 ? left : std::min(left, step.pieceSize);
    const ssize_t count = cbl::retryInterrupted(
        [&] { return ::send(socket_.number(), step.bytes.data() + sent_, piece, MSG_DONTWAIT | MSG_NOSIGNAL); });
    if (count < 0) {
      socketIsFull_ = errno == EAGAIN;
      isBroken_ = !socketIsFull_;
      return false;
    }
    sent_ += static_cast<std::size_t>(count);
    if (step.pieceSize != 0 && sent_ < step.bytes.size()) {
      due_ = clock.now() + kPieceGap;
      return false;
    }
  }
  return true;
}

bool CBusConnection::hasRoom() const {
  return unanswered_ < kMostUnanswered && queue_.size() < kMostQueuedReplies && queuedBytes_ < kMostQueuedBytes;
}

std::uint32_t CBusConnection::interest() const {
  std::uint32_t events = 0;
  if (!inputEnded_ && hasRoom()) events |= EPOLLIN;
  if (socketIsFull_) events |= EPOLLOUT;
  return events;
}

std::optional<io::TimePoint> CBusConnection::due() const {
  if (isWaiting() || socketIsFull_) return std::nullopt;
  return due_;
}

}  // namespace helper
