#include "host/tool/network/trial_subscription.h"

#include <unistd.h>

#include <chrono>
#include <memory>
#include <utility>

#include "bacnet/client/answers.h"
#include "bacnet/client/present_value.h"

namespace tool {

namespace {

using namespace std::chrono_literals;

constexpr std::uint32_t kLifetime = 60;  // should its end not be heard
constexpr io::Duration kSubscriptionPatience = 3s;

}  // namespace

CTrialSubscription::CTrialSubscription(CStation& station, const bacnet::Station& device, const bacnet::ObjectId& object,
                                       bool isConfirmed)
    : station_(station), device_{device}, transactions_(station.network(), station.timers()) {
  subscription_.process = static_cast<std::uint32_t>(getpid());  // none of the link's own, whoever tells them apart
  subscription_.object = object;
  subscription_.confirmed = isConfirmed;
  subscription_.lifetime = kLifetime;
  station_.onApdu([this](const bacnet::Incoming& from, const bacnet::Apdu& apdu) { take(from, apdu); });
}

CTrialSubscription::~CTrialSubscription() {
  if (mayBeMade_) cancel();
  station_.onApdu({});
}

std::optional<bacnet::Failure> CTrialSubscription::subscribe() {
  mayBeMade_ = true;
  auto failure = ask(subscription_);
  const bool isRefused = failure && failure->kind != bacnet::Failure::Kind::kSilent;
  if (isRefused) mayBeMade_ = false;
  return failure;
}

std::optional<bacnet::Values> CTrialSubscription::awaitNotification() {
  station_.waitFor([this] { return told_.has_value(); }, kSubscriptionPatience);
  return told_;
}

std::optional<bacnet::Failure> CTrialSubscription::cancel() {
  mayBeMade_ = false;
  bacnet::SubscribeCov end = subscription_;
  end.confirmed.reset();
  end.lifetime.reset();
  return ask(end);
}

std::optional<bacnet::Failure> CTrialSubscription::ask(const bacnet::SubscribeCov& request) {
  constexpr auto kService = bacnet::ConfirmedService::kSubscribeCov;
  using Outcome = std::optional<bacnet::Failure>;
  const auto outcome = std::make_shared<std::optional<Outcome>>();
  transactions_.start(device_, {kService, encode(request), [outcome, this](const bacnet::Answer& answer) {
                                  const bool isDone = answer.kind == bacnet::Answer::Kind::kAck;
                                  *outcome = isDone ? Outcome() : bacnet::failureOf(kService, answer);
                                  station_.wake();
                                }});
  station_.waitFor([&] { return outcome->has_value(); }, kSubscriptionPatience);
  return outcome->value_or(bacnet::Failure{});
}

void CTrialSubscription::take(const bacnet::Incoming& from, const bacnet::Apdu& apdu) {
  if (!(from.station == device_.station)) return;  // others too ask and tell
  if (const auto* request = std::get_if<bacnet::ConfirmedRequest>(&apdu)) {
    if (request->service != bacnet::ConfirmedService::kConfirmedCovNotification || request->segment) return;
    note(request->data);
    station_.network().send(from.station, bacnet::SimpleAck{request->invokeId, request->service}, false);
  } else if (const auto* unconfirmed = std::get_if<bacnet::UnconfirmedRequest>(&apdu)) {
    if (unconfirmed->service == bacnet::UnconfirmedService::kUnconfirmedCovNotification) note(unconfirmed->data);
  } else {
    transactions_.take(from, apdu);
  }
}

void CTrialSubscription::note(std::string_view data) {
  const auto notification = bacnet::parseCovNotification(data);
  if (!notification || notification->process != subscription_.process) return;
  if (notification->object != subscription_.object) return;
  for (const auto& each : notification->values) {
    if (bacnet::isPresentValue(each.reference)) told_ = each.values;
  }
  station_.wake();
}

}  // namespace tool
