#include "bacnet/server/notifier.h"

#include <utility>

#include "bacnet/server/patience.h"

namespace bacnet::server {

namespace {

constexpr std::size_t kInvokeIds = 256;

}  // namespace

void CNotifier::send(const Station& to, bool confirmed, const CovNotification& notification,
                     std::function<void()> done) {
  if (!confirmed) {
    const std::string data = encode(notification);
    network_.send(to, UnconfirmedRequest{UnconfirmedService::kUnconfirmedCovNotification, data}, false);
    return;
  }
  if (underWay_.size() == kInvokeIds) finish(nextInvokeId_);  // the oldest is given up: its peer does not answer
  while (underWay_.count(nextInvokeId_) != 0) ++nextInvokeId_;
  const std::uint8_t invokeId = nextInvokeId_++;
  underWay_[invokeId] = {to, encode(notification), std::move(done), kApduTries, {}};
  trySending(invokeId);
}

void CNotifier::onAnswer(const Station& station, std::uint8_t invokeId) {
  const auto found = underWay_.find(invokeId);
  if (found != underWay_.end() && found->second.to == station) finish(invokeId);
}

void CNotifier::trySending(std::uint8_t invokeId) {
  UnderWay& each = underWay_.at(invokeId);
  if (each.triesLeft-- == 0) return finish(invokeId);
  ConfirmedRequest request;
  request.invokeId = invokeId;
  request.service = ConfirmedService::kConfirmedCovNotification;
  request.data = each.data;
  network_.send(each.to, request, true);
  each.again = timers_.after(kApduTimeout, [this, invokeId] { trySending(invokeId); });
}

void CNotifier::finish(std::uint8_t invokeId) {
  const std::function<void()> done = std::move(underWay_.at(invokeId).done);
  underWay_.erase(invokeId);
  done();
}

}  // namespace bacnet::server
