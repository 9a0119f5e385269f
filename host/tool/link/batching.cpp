#include "host/tool/link/batching.h"

#include <algorithm>
#include <chrono>
#include <iterator>
#include <utility>

#include "host/tool/console/interrupt.h"
#include "host/tool/failure.h"

namespace tool {

namespace {

using driver::AccessRequest;

constexpr int kMostUnanswered = 2;  // each costs a connect and the driver's whole wait

// Also of a helper that has been started anew behind the driver's back.
bool needsConnect(const std::optional<std::int32_t>& code) {
  return code == kNoAnswer || code == kNoProject || code == kNotConnected;
}

}  // namespace

void CBatcher::read(std::vector<Access>& accesses) {
  run(AccessRequest::kRead, accesses);
}

void CBatcher::write(std::vector<Access>& accesses) {
  run(AccessRequest::kWrite, accesses);
}

void CBatcher::run(AccessRequest::Kind kind, std::vector<Access>& accesses) {
  for (Access& access : accesses) {
    access.code = kNoAnswer;
    access.isSent = false;
  }
  for (auto first = accesses.begin(); first != accesses.end() && !isInterrupted();) {
    const auto last = endOfBatch(kind, first, accesses.end());
    if (std::next(first) == last)
      runLone(kind, *first);
    else
      runBatch(kind, first, last);
    first = last;
  }
}

// A write batch sends the words of its last item for every point: that is the driver's contract. Only neighbours that
// are to get the very same words may therefore share one.
CBatcher::Iterator CBatcher::endOfBatch(AccessRequest::Kind kind, Iterator first, Iterator end) {
  driver::CDriver& driver = session_.driver();
  if (!driver.supportsMultiAccess()) return std::next(first);

  AccessRequest request{kind};
  int count = 0;
  auto last = first;
  while (last != end && (kind == AccessRequest::kRead || last->words == first->words) &&
         driver.acceptBatchItem(&*first, count, request)) {
    ++last;
  }
  return std::max(last, std::next(first));
}

void CBatcher::runBatch(AccessRequest::Kind kind, Iterator first, Iterator last) {
  const bool isRead = kind == AccessRequest::kRead;
  const bool wasAnswered = mayConnect_;
  const Code code = callBatch(kind, first, last);
  if (code == kNoAnswer && isRead && wasAnswered) return readSeparately(first, last);
  if (code == kNoAnswer) return;
  for (auto access = first; access != last; ++access) {
    if (code != kDone || (isRead && access->words.empty())) runLone(kind, *access);
  }
}

CBatcher::Code CBatcher::callBatch(AccessRequest::Kind kind, Iterator first, Iterator last) {
  const bool isRead = kind == AccessRequest::kRead;
  driver::Batch batch;
  const Code code = answered([&] {
    batch.clear();
    for (auto access = first; access != last; ++access) {
      access->isSent = true;
      batch.push_back({access->reg, isRead ? std::vector<short>() : access->words});
    }
    return isRead ? session_.driver().readRegisters(batch) : session_.driver().writeRegisters(batch);
  });
  for (auto access = first; access != last; ++access, batch.pop_front()) {
    access->code = code;
    if (isRead) access->words = std::move(batch.front().words);
  }
  return code;
}

// One point may be what gets them all no answer.
void CBatcher::readSeparately(Iterator first, Iterator last) {
  int unanswered = 0;
  bool isLost = true;
  for (auto access = first; access != last && unanswered < kMostUnanswered && !isInterrupted(); ++access) {
    if (isLost) session_.reconnect();
    access->code = timed([&] { return callLone(AccessRequest::kRead, *access); });
    isLost = access->code == kNoAnswer;
    if (isLost) ++unanswered;
    if (!isLost) mayConnect_ = true;
  }
}

void CBatcher::runLone(AccessRequest::Kind kind, Access& access) {
  access.code = answered([&] { return callLone(kind, access); });
}

std::int32_t CBatcher::callLone(AccessRequest::Kind kind, Access& access) {
  access.isSent = true;
  if (kind == AccessRequest::kWrite) return session_.driver().writeRegister(access.reg, access.words);
  access.words.clear();
  return session_.driver().readRegister(access.reg, access.words);
}

CBatcher::Code CBatcher::timed(const std::function<std::int32_t()>& call) {
  const auto start = std::chrono::steady_clock::now();
  Code code;
  const auto failure = failureOf([&] { code = session_.guarded(call); });
  if (failure && failure->status() != ExitStatus::kRefused) throw CFailure(*failure);
  statistics_.add(std::chrono::steady_clock::now() - start);
  return code;
}

CBatcher::Code CBatcher::answered(const std::function<std::int32_t()>& call) {
  auto code = timed(call);
  if (needsConnect(code) && mayConnect_ && !isInterrupted()) {
    session_.reconnect();
    mayConnect_ = false;
    code = timed(call);
  }
  if (!needsConnect(code)) mayConnect_ = true;
  return code;
}

}  // namespace tool
