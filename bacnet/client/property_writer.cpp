#include "bacnet/client/property_writer.h"

#include <algorithm>
#include <utility>

#include "bacnet/client/answers.h"
#include "bacnet/client/call.h"
#include "bacnet/codec/apdu.h"
#include "bacnet/service/property.h"

namespace bacnet {

namespace {

constexpr std::size_t kMultipleMore = 2;  // octets that an item has more in a batch than by itself

std::string encodeSingle(const WriteItem& item) {
  return encode(WritePropertyRequest{item.address.object, item.address.reference, item.values, item.priority});
}

}  // namespace

class CPropertyWriter::CWriteCall : public CCall<WriteItem, WriteOutcome>,
                                    public std::enable_shared_from_this<CWriteCall> {
 public:
  CWriteCall(CPropertyWriter& writer, std::vector<WriteItem> items, Done done)
      : CCall(std::move(items), std::move(done)), writer_(writer) {}

  std::optional<Request> next() override;

 private:
  Batch nextBatch();
  Request request(Batch batch);
  void onAnswer(const Batch& batch, const Answer& answer);
  void onMultiple(const Batch& batch, const Answer& answer);
  void again(const Batch& batch);
  bool takeFailedWrite(const Batch& batch, const ErrorReply& reply);
  void tell(const Batch& batch) const {
    for (const std::size_t i : batch) writer_.write_(item(i).address.object);
  }

  CPropertyWriter& writer_;
  bool isUnderWay_ = false;  // a later write must not overtake an earlier one
};

Batch CPropertyWriter::CWriteCall::nextBatch() {
  const std::size_t room = writer_.state_.largestApdu();
  const std::size_t most = std::min(most_, writer_.limit_.most());
  std::size_t octets = kConfirmedRequestHeader;
  Batch batch;
  while (!waiting_.empty() && batch.size() < most) {
    const std::size_t i = waiting_.back();
    if (most > 1) octets += encodeSingle(item(i)).size() + kMultipleMore;
    if (!batch.empty() && octets > room) break;
    waiting_.pop_back();
    batch.push_back(i);
  }
  return batch;
}

std::optional<Request> CPropertyWriter::CWriteCall::next() {
  if (isUnderWay_ || waiting_.empty()) return std::nullopt;
  isUnderWay_ = true;
  auto batch = nextBatch();
  tell(batch);
  return request(std::move(batch));
}

Request CPropertyWriter::CWriteCall::request(Batch batch) {
  Request request;
  if (batch.size() == 1) {
    request.service = ConfirmedService::kWriteProperty;
    request.data = encodeSingle(item(batch.front()));
  } else {
    WritePropertyMultipleRequest multiple;
    for (const std::size_t i : batch) {
      const auto& [address, values, priority] = item(i);
      if (multiple.empty() || multiple.back().object != address.object) multiple.push_back({address.object, {}});
      multiple.back().writes.push_back({address.reference, values, priority});
    }
    request.service = ConfirmedService::kWritePropertyMultiple;
    request.data = encode(multiple);
  }
  request.done = [call = shared_from_this(), batch = std::move(batch)](const Answer& answer) {
    call->onAnswer(batch, answer);
  };
  return request;
}

void CPropertyWriter::CWriteCall::onAnswer(const Batch& batch, const Answer& answer) {
  isUnderWay_ = false;
  tell(batch);
  if (answer.kind == Answer::Kind::kAck) {
    writer_.limit_.prove(batch.size());
    for (const std::size_t i : batch) settle(i, std::nullopt);
  } else if (batch.size() == 1) {
    settle(batch.front(), failureOf(ConfirmedService::kWriteProperty, answer));
  } else if (!isOver()) {
    onMultiple(batch, answer);
  }
  finish();
}

/// What was refused as a whole is sent again in smaller parts; values that were written already are so twice.
void CPropertyWriter::CWriteCall::onMultiple(const Batch& batch, const Answer& answer) {
  constexpr auto kService = ConfirmedService::kWritePropertyMultiple;
  switch (remedyFor(kService, answer)) {
    case BatchRemedy::kNever:
      writer_.limit_.refuse();
      return again(batch);
    case BatchRemedy::kSmaller:
      writer_.limit_.refuse(batch.size());
      return again(batch);
    case BatchRemedy::kSplit: {
      split(1);
      const auto reply = parseError(kService, answer.data);
      if (!reply || !takeFailedWrite(batch, *reply)) again(batch);
      return;
    }
    case BatchRemedy::kNone:
      if (answer.kind == Answer::Kind::kOverdue) writer_.limit_.suspect(batch.size());
      for (const std::size_t i : batch) settle(i, failureOf(kService, answer));
  }
}

void CPropertyWriter::CWriteCall::again(const Batch& batch) {
  putBack(batch);
  writer_.queue_.add(shared_from_this());
}

/// What stands before the failed write has been done; what stands behind it goes out again.
bool CPropertyWriter::CWriteCall::takeFailedWrite(const Batch& batch, const ErrorReply& reply) {
  if (!reply.failedWrite) return false;
  const auto isIt = [&](std::size_t i) {
    const auto& address = item(i).address;
    return address.object == reply.failedWrite->object && address.reference == reply.failedWrite->reference;
  };
  const auto failed = std::find_if(batch.begin(), batch.end(), isIt);
  if (failed == batch.end()) return false;
  for (auto i = batch.begin(); i != failed; ++i) settle(*i, std::nullopt);
  Failure failure;
  failure.kind = Failure::Kind::kError;
  failure.error = reply.error;
  settle(*failed, failure);
  again(Batch(failed + 1, batch.end()));
  return true;
}

CPropertyWriter::CPropertyWriter(io::CTimers& timers, CDeviceQueue& queue, const DeviceState& state)
    : timers_(timers), queue_(queue), state_(state), limit_(state.settings.mayWriteMultiple) {}

void CPropertyWriter::write(std::vector<WriteItem> items, io::TimePoint deadline, Done done) {
  const auto call = std::make_shared<CWriteCall>(*this, std::move(items), std::move(done));
  call->finish();
  if (call->isOver()) return;
  if (state_.profile.isSilent || queue_.isFull()) return call->fail(state_.failure);
  // The timer is the call's own, and goes with it.
  call->setDeadline(
      timers_.at(deadline, [this, late = call.get()] { late->shared_from_this()->fail(state_.failure); }));
  queue_.add(call);
}

}  // namespace bacnet
