#include "reliability/network/truth.h"

#include <algorithm>

namespace reliability {

namespace {

constexpr std::uint32_t kContent = (1U << 18) - 1;
constexpr std::uint32_t kIsWritten = 1U << 17;
constexpr milliseconds kBetweenMoves{1500};  // a second, and bacnet-device's step
constexpr milliseconds kLongestStart{10000};
constexpr milliseconds kSlack{1000};  // of a busy machine

}  // namespace

void CTruth::beginLife() {
  const std::lock_guard lock(mutex_);
  lives_.push_back({Clock::now(), Clock::now() + kLongestStart});
}

void CTruth::lives() {
  const std::lock_guard lock(mutex_);
  lives_.back().latest = Clock::now();
}

std::uint32_t CTruth::beginWrite(int point) {
  const std::lock_guard lock(mutex_);
  writes_.emplace_back();
  return static_cast<std::uint32_t>(regId(link_, point)) | kIsWritten | static_cast<std::uint32_t>(writes_.size() - 1);
}

void CTruth::endWrite(bool isAcknowledged) {
  const std::lock_guard lock(mutex_);
  writes_.back() = {Clock::now(), isAcknowledged};
}

CTruth::Verdict CTruth::judge(int point, std::uint32_t value, Clock::time_point asked,
                              Clock::time_point answered) const {
  const std::lock_guard lock(mutex_);
  if ((value & ~kContent) != static_cast<std::uint32_t>(regId(link_, point))) return {"another point's value", {}};
  if ((value & kIsWritten) != 0) return judgeWritten(value & kContent & ~kIsWritten, asked);
  return judgeMoved(value & kContent, asked, answered);
}

CTruth::Verdict CTruth::judgeMoved(std::uint32_t second, Clock::time_point asked, Clock::time_point answered) const {
  Verdict best{"a value that never was", {}};
  for (const Life& life : lives_) {
    if (life.earliest + std::chrono::seconds(second) > answered + kSlack) continue;
    const auto trueUntil = life.latest + std::chrono::seconds(second) + kBetweenMoves;
    const auto age = std::max(std::chrono::duration_cast<milliseconds>(asked - trueUntil), milliseconds(0));
    if (best.wrong.empty() && best.age <= age) continue;
    best = {age <= oldest_ + kSlack ? "" : "a value of " + std::to_string(age.count()) + " ms ago", age};
  }
  return best;
}

std::optional<Clock::time_point> CTruth::overwritten(std::size_t number) const {
  for (std::size_t i = number + 1; i < writes_.size(); ++i) {
    if (writes_[i].isAcknowledged) return writes_[i].ended;
  }
  return std::nullopt;
}

/// When a device's restart, if any, has made it forget what was written.
std::optional<Clock::time_point> CTruth::forgotten(const Write& write) const {
  for (const Life& life : lives_) {
    if (write.isAcknowledged && life.earliest > write.ended) return life.latest;
  }
  return std::nullopt;
}

CTruth::Verdict CTruth::judgeWritten(std::size_t number, Clock::time_point asked) const {
  if (number >= writes_.size()) return {"a value that nobody wrote", {}};
  const auto ageSince = [asked](Clock::time_point since) {
    return std::max(std::chrono::duration_cast<milliseconds>(asked - since), milliseconds(0));
  };
  const auto newer = overwritten(number);
  const auto lost = forgotten(writes_[number]);
  const bool isOverwritten = newer && *newer <= asked;
  const auto age = std::max(newer ? ageSince(*newer) : milliseconds(0), lost ? ageSince(*lost) : milliseconds(0));
  const bool isWrong = (isOverwritten && keepsOrder_) || age > oldest_ + kSlack;
  return {isWrong ? "a written value of " + std::to_string(age.count()) + " ms ago" : "", age};
}

}  // namespace reliability
