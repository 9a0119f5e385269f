#include "bacnet/client/property_reader.h"

#include <algorithm>
#include <utility>

#include "bacnet/client/answers.h"
#include "bacnet/client/call.h"
#include "bacnet/codec/apdu.h"
#include "bacnet/number/failures.h"
#include "bacnet/service/property.h"

namespace bacnet {

namespace {

// The octets of a request and of its answer, as items are added.
class CBatchSize {
 public:
  explicit CBatchSize(std::size_t room) : room_(room) {}

  void add(const ReadItem& item) {
    requested_ += requestOctets(item);
    answered_ += answerOctets(item);
  }
  bool fits() const { return std::max(requested_, answered_) <= room_; }

 private:
  std::size_t room_;
  std::size_t requested_ = kConfirmedRequestHeader;
  std::size_t answered_ = kComplexAckHeader;
};

}  // namespace

class CPropertyReader::CReadCall : public CCall<ReadItem, ReadOutcome>, public std::enable_shared_from_this<CReadCall> {
 public:
  CReadCall(CPropertyReader& reader, std::vector<ReadItem> items, Done done)
      : CCall(std::move(items), std::move(done)), reader_(reader) {
    if (reader_.tooLong_.empty()) return;
    std::stable_partition(waiting_.begin(), waiting_.end(), [this](std::size_t i) { return isTooLong(i); });
  }

  /// Settles what `known` has.
  template <typename Known>
  void settleKnown(const Known& known) {
    const auto isKnown = [&](std::size_t i) {
      auto outcome = known(item(i).address);
      if (outcome) settle(i, std::move(*outcome));
      return isSettled(i);
    };
    waiting_.erase(std::remove_if(waiting_.begin(), waiting_.end(), isKnown), waiting_.end());
    finish();
  }

  std::optional<Request> next() override;

 private:
  bool isTooLong(std::size_t i) const { return reader_.tooLong_.count(item(i).address) > 0; }
  Batch nextBatch();
  Request request(Batch batch);
  void onAnswer(const Batch& batch, std::uint64_t number, const Answer& answer);
  void onMultiple(const Batch& batch, std::uint64_t number, std::string_view data);
  void again(const Batch& batch);
  void take(std::size_t i, std::uint64_t number, ReadOutcome outcome);

  CPropertyReader& reader_;
};

Batch CPropertyReader::CReadCall::nextBatch() {
  const std::size_t most = std::min(most_, reader_.limit_.most());
  CBatchSize size(reader_.state_.largestApdu());
  Batch batch;
  while (!waiting_.empty() && batch.size() < most) {
    const std::size_t i = waiting_.back();
    auto late = isOver() ? std::nullopt : reader_.late_.take(item(i).address, reader_.timers_.now());
    if (late) {
      waiting_.pop_back();
      settle(i, std::move(*late));
      continue;
    }
    size.add(item(i));
    if (!batch.empty() && (!size.fits() || isTooLong(i))) break;
    waiting_.pop_back();
    batch.push_back(i);
    if (isTooLong(i)) break;
  }
  return batch;
}

std::optional<Request> CPropertyReader::CReadCall::next() {
  auto batch = nextBatch();
  finish();
  if (batch.empty()) return std::nullopt;
  return request(std::move(batch));
}

Request CPropertyReader::CReadCall::request(Batch batch) {
  Request request;
  if (batch.size() == 1) {
    const auto& address = item(batch.front()).address;
    request.service = ConfirmedService::kReadProperty;
    request.data = encode(ReadPropertyRequest{address.object, address.reference});
  } else {
    ReadPropertyMultipleRequest multiple;
    for (const std::size_t i : batch) {
      const auto& address = item(i).address;
      if (multiple.empty() || multiple.back().object != address.object) multiple.push_back({address.object, {}});
      multiple.back().references.push_back(address.reference);
    }
    request.service = ConfirmedService::kReadPropertyMultiple;
    request.data = encode(multiple);
  }
  request.done = [call = shared_from_this(), batch = std::move(batch),
                  number = ++reader_.requests_](const Answer& answer) { call->onAnswer(batch, number, answer); };
  return request;
}

void CPropertyReader::CReadCall::onAnswer(const Batch& batch, std::uint64_t number, const Answer& answer) {
  if (batch.size() == 1) {
    reader_.onAlone(item(batch.front()).address, answer);
    take(batch.front(), number, readOutcome(item(batch.front()).address, answer));
    return finish();
  }
  constexpr auto kService = ConfirmedService::kReadPropertyMultiple;
  switch (remedyFor(kService, answer)) {
    case BatchRemedy::kNever:
      reader_.limit_.refuse();
      return again(batch);
    case BatchRemedy::kSmaller:
      reader_.limit_.refuse(batch.size());
      return again(batch);
    case BatchRemedy::kSplit:
      split(batch.size());
      return again(batch);
    case BatchRemedy::kNone:
      break;
  }
  if (answer.kind == Answer::Kind::kAck) {
    reader_.limit_.prove(batch.size());
    onMultiple(batch, number, answer.data);
  } else {
    if (answer.kind == Answer::Kind::kOverdue) reader_.limit_.suspect(batch.size());
    for (const std::size_t i : batch) take(i, number, failureOf(kService, answer));
  }
  finish();
}

/// Results are told by what they name; usually they come in the order of the request.
void CPropertyReader::CReadCall::onMultiple(const Batch& batch, std::uint64_t number, std::string_view data) {
  auto results = parseReadPropertyMultipleAck(data);
  if (!results) {
    split(batch.size());  // one value that is not to be read spoils the others
    return again(batch);
  }
  std::vector<std::size_t> open(batch.rbegin(), batch.rend());
  for (auto& [object, of] : *results) {
    for (auto& [reference, result] : of) {
      const auto isIt = [this, &named = object, &property = reference](std::size_t i) {
        return item(i).address.object == named && item(i).address.reference == property;
      };
      const auto found = std::find_if(open.rbegin(), open.rend(), isIt);
      if (found == open.rend()) continue;
      const std::size_t i = *found;
      open.erase(std::next(found).base());
      if (auto* values = std::get_if<Values>(&result)) {
        take(i, number, std::move(*values));
      } else {
        Failure failure;
        failure.kind = Failure::Kind::kError;
        failure.error = std::get<Error>(result);
        take(i, number, failure);
      }
    }
  }
  if (open.empty()) return;
  split(1);  // left out: asked for by itself
  again(Batch(open.rbegin(), open.rend()));
}

void CPropertyReader::CReadCall::again(const Batch& batch) {
  if (isOver()) return;
  putBack(batch);
  reader_.queue_.add(shared_from_this());
}

/// What comes too late for the caller is kept; that nothing has come is none of that, nor what was asked for before a
/// write was answered: it may be from before the write.
void CPropertyReader::CReadCall::take(std::size_t i, std::uint64_t number, ReadOutcome outcome) {
  const auto& address = item(i).address;
  if (reader_.isOutdated(address.object, number)) return settle(i, std::move(outcome));
  const auto* values = std::get_if<Values>(&outcome);
  const auto* failure = std::get_if<Failure>(&outcome);
  const bool isFromDevice = values || failure->kind == Failure::Kind::kError;
  if (isFromDevice && reader_.value_) reader_.value_(address, values);
  const bool isNews = !failure || failure->kind != Failure::Kind::kSilent;
  if (!isSettled(i)) {
    settle(i, std::move(outcome));
  } else if (isNews) {
    reader_.late_.keep(address, std::move(outcome), reader_.timers_.now());
  }
}

CPropertyReader::CPropertyReader(io::CTimers& timers, CDeviceQueue& queue, const DeviceState& state)
    : timers_(timers), queue_(queue), state_(state), limit_(state.settings.mayReadMultiple) {}

void CPropertyReader::read(std::vector<ReadItem> items, io::TimePoint deadline, Done done) {
  const auto call = std::make_shared<CReadCall>(*this, std::move(items), std::move(done));
  call->settleKnown([this](const PropertyAddress& address) -> std::optional<ReadOutcome> {
    const Values* known = cache_ ? cache_(address) : nullptr;
    if (known) return *known;
    return late_.take(address, timers_.now());
  });
  start(call, deadline);
}

std::size_t CPropertyReader::countInOne(const std::vector<ReadItem>& items) const {
  CBatchSize size(state_.largestApdu());
  const std::size_t most = std::min(items.size(), limit_.most());
  for (std::size_t count = 0; count < most; ++count) {
    size.add(items[count]);
    if (!size.fits()) return count;
  }
  return most;
}

void CPropertyReader::readAnew(std::vector<ReadItem> items, io::TimePoint deadline, Done done) {
  start(std::make_shared<CReadCall>(*this, std::move(items), std::move(done)), deadline);
}

/// A value that is too long for every answer would spoil each batch that it is in, and make them all smaller.
void CPropertyReader::onAlone(const PropertyAddress& address, const Answer& answer) {
  const bool isTooLong =
      answer.kind == Answer::Kind::kAbort &&
      (answer.reason == abort_reason::kSegmentationNotSupported || answer.reason == abort_reason::kBufferOverflow);
  if (isTooLong && tooLong_.insert(address).second) {
    limit_.forgetSize();
  } else if (answer.kind == Answer::Kind::kAck) {
    tooLong_.erase(address);
  }
}

void CPropertyReader::forget(const ObjectId& object) {
  late_.drop(object);
  written_[object] = requests_;
}

bool CPropertyReader::isOutdated(const ObjectId& object, std::uint64_t request) const {
  const auto written = written_.find(object);
  return written != written_.end() && request <= written->second;
}

void CPropertyReader::start(std::shared_ptr<CReadCall> call, io::TimePoint deadline) {
  if (call->isOver()) return;
  if (state_.profile.isSilent || queue_.isFull()) return call->fail(state_.failure);
  // The timer is the call's own, and goes with it.
  call->setDeadline(timers_.at(deadline, [this, late = call.get()] { expire(late->shared_from_this()); }));
  queue_.add(std::move(call));
}

void CPropertyReader::expire(const std::shared_ptr<CReadCall>& call) {
  const auto other = leftOver_.lock();
  if (other && other->hasMore()) {
    call->dropWaiting();
  } else {
    leftOver_ = call;
  }
  call->settleRest(state_.failure);
}

}  // namespace bacnet
