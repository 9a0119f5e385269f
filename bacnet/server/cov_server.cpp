#include "bacnet/server/cov_server.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

#include "bacnet/codec/bvlc.h"
#include "bacnet/number/properties.h"
#include "bacnet/server/errors.h"

namespace bacnet::server {

namespace {

bool isEqual(const Value& a, const Value& b) {
  const auto first = numberOf(a);
  const auto second = numberOf(b);
  return (first && second && std::isnan(*first) && std::isnan(*second)) || a == b;
}

bool isEqual(const Values& a, const Values& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](const Value& first, const Value& second) { return isEqual(first, second); });
}

bool hasChanged(const CObject& object, const Values& told) {
  const Values present = object.values(property::kPresentValue);
  if (isEqual(present, told)) return false;
  const Values increment = object.values(property::kCovIncrement);
  if (increment.size() != 1 || present.size() != 1 || told.size() != 1) return true;
  const auto before = numberOf(told[0]);
  const auto now = numberOf(present[0]);
  const bool isSmall = before && now && std::abs(*now - *before) < numberOf(increment[0]).value_or(0);
  return !isSmall;
}

// BACnetRecipient's address, with the network that the subscriber is on.
Constructed recipientOf(const Station& station) {
  const NetworkAddress address = station.remote.value_or(NetworkAddress{kLocalNetwork, macOf(station.address)});
  return {0, {Constructed{1, {std::uint64_t{address.network}, OctetString{address.mac}}}}};
}

std::string bigEndian(std::uint32_t number, int octets) {
  std::string bytes;
  for (int octet = octets - 1; octet >= 0; --octet) bytes += static_cast<char>(number >> (8 * octet));
  return bytes;
}

std::string shortest(std::uint32_t number) {
  int octets = 1;
  while (octets < 4 && number >> (8 * octets) != 0) ++octets;
  return bigEndian(number, octets);
}

}  // namespace

CCovServer::CCovServer(CDevice& device, io::CTimers& timers, Send send)
    : device_(device), timers_(timers), send_(std::move(send)) {
  Property list;
  list.shape = Shape::kList;
  list.computed = [this](const CObject&) { return this->list(); };
  device_.deviceObject().add(property::kActiveCovSubscriptions, std::move(list));
}

std::optional<Error> CCovServer::subscribe(const Station& from, const SubscribeCov& request) {
  dropEnded();
  const Key key{from, request.process, request.object};
  if (!request.confirmed && !request.lifetime) {
    subscriptions_.erase(key);  // one that was not there is cancelled, too
    return std::nullopt;
  }
  const CObject* object = device_.find(request.object);
  if (object == nullptr) return kUnknownObject;
  if (!object->has(property::kPresentValue) || !object->has(property::kStatusFlags)) return kNoCovForObject;
  const bool isNew = subscriptions_.count(key) == 0;
  if (isNew && subscriptions_.size() >= device_.abilities().mostSubscriptions) return kNoSpaceToAddListElement;

  Subscription& subscription = subscriptions_[key];
  subscription.isConfirmed = request.confirmed.value_or(false);
  subscription.told.reset();
  subscription.end.reset();
  const std::uint32_t lifetime = request.lifetime.value_or(0);
  if (lifetime != 0) subscription.end = timers_.now() + std::chrono::seconds(lifetime);
  valuesChanged();
  return std::nullopt;
}

void CCovServer::valuesChanged() {
  soon_ = timers_.at(timers_.now(), [this] { notifyChanges(); });
}

void CCovServer::dropAll() {
  subscriptions_.clear();
}

void CCovServer::dropEnded() {
  const io::TimePoint now = timers_.now();
  for (auto each = subscriptions_.begin(); each != subscriptions_.end();) {
    const bool hasEnded = each->second.end && *each->second.end <= now;
    each = hasEnded ? subscriptions_.erase(each) : std::next(each);
  }
}

void CCovServer::notifyChanges() {
  dropEnded();
  for (auto& [key, subscription] : subscriptions_) {
    const CObject* object = device_.find(std::get<ObjectId>(key));
    if (object == nullptr || subscription.isUnderWay) continue;
    const bool isDue = !subscription.told || hasChanged(*object, subscription.told->presentValue) ||
                       !isEqual(object->values(property::kStatusFlags), subscription.told->statusFlags);
    if (isDue) notify(key, subscription, *object);
  }
}

void CCovServer::notify(const Key& key, Subscription& subscription, const CObject& object) {
  subscription.told = Told{object.values(property::kPresentValue), object.values(property::kStatusFlags)};
  subscription.isUnderWay = subscription.isConfirmed;

  CovNotification notification;
  notification.process = std::get<std::uint32_t>(key);
  notification.device = device_.instance();
  notification.object = object.id();
  notification.timeRemaining = secondsLeft(subscription);
  notification.values = {{{property::kPresentValue, std::nullopt}, subscription.told->presentValue},
                         {{property::kStatusFlags, std::nullopt}, subscription.told->statusFlags}};
  send_(std::get<Station>(key), subscription.isConfirmed, notification, [this, key] {
    const auto found = subscriptions_.find(key);
    if (found == subscriptions_.end()) return;
    found->second.isUnderWay = false;
    valuesChanged();
  });
}

std::uint32_t CCovServer::secondsLeft(const Subscription& subscription) const {
  if (!subscription.end) return 0;
  const auto left = std::chrono::ceil<std::chrono::seconds>(*subscription.end - timers_.now());
  return static_cast<std::uint32_t>(std::max<std::int64_t>(left.count(), 1));
}

// BACnetCOVSubscription: recipient with process, monitored property, kind, seconds left.
Values CCovServer::list() const {
  Values list;
  for (const auto& [key, subscription] : subscriptions_) {
    const auto& [station, process, object] = key;
    const std::uint32_t identifier = (std::uint32_t{object.type} << 22) | object.instance;
    list.emplace_back(Constructed{0, {recipientOf(station), ContextPrimitive{1, shortest(process)}}});
    list.emplace_back(Constructed{
        1, {ContextPrimitive{0, bigEndian(identifier, 4)}, ContextPrimitive{1, shortest(property::kPresentValue)}}});
    list.emplace_back(ContextPrimitive{2, std::string(1, subscription.isConfirmed ? '\1' : '\0')});
    list.emplace_back(ContextPrimitive{3, shortest(secondsLeft(subscription))});
  }
  return list;
}

}  // namespace bacnet::server
