#include "bacnet/client/device_client.h"

#include <algorithm>
#include <utility>

#include "bacnet/client/device_text.h"
#include "bacnet/client/discovery.h"
#include "bacnet/client/profile_reader.h"
#include "bacnet/client/property_reader.h"
#include "bacnet/client/property_writer.h"
#include "bacnet/client/silence.h"
#include "bacnet/client/subscriptions.h"
#include "bacnet/client/whereabouts.h"
#include "bacnet/number/failures.h"
#include "bacnet/number/properties.h"
#include "bacnet/service/property.h"

namespace bacnet {

namespace {

constexpr std::size_t kReadMultipleBit = 14;  // of protocol-services-supported
constexpr std::size_t kWriteMultipleBit = 16;
constexpr std::uint8_t kMessageTooLong = 4;  // reason of a Reject-Message-To-Network

bool isRefused(const BitString& services, std::size_t bit) {
  return bit < services.bits.size() && !services.bits[bit];
}

}  // namespace

/// What the parts have to do with each other; what each of them does is in its own file.
struct CDeviceClient::Impl {
  Impl(CNetwork& networkUsed, io::CTimers& timersUsed, DeviceSettings settings);

  void prepare();
  void openQueue();
  void heard(bool hasSaidIAm);
  void endSilence(bool hasSaidIAm);
  void judgeUnanswered(bool wasThere);
  void fallSilent(Failure::Kind kind);
  void giveUp(Failure::Kind failure, Answer::Kind answer);
  void probe();
  void tellSilence();
  void find(const Station& station);
  void onIAm(const Incoming& from, const IAm& answer);
  void forgetRefusals();
  void applyIAm(const IAm& answer);
  void onUnconfirmed(const Incoming& from, const UnconfirmedRequest& request);
  void onConfirmed(const Incoming& from, const ConfirmedRequest& request);
  bool answerNotification(const ConfirmedRequest& request, Apdu& answer);
  void onRouterSays(const Incoming& from, const NetworkMessage& message);
  bool isFromDevice(const Incoming& from) const {
    return state.profile.station && from.station == *state.profile.station;
  }

  CNetwork& network;
  io::CTimers& timers;
  DeviceState state;
  CTransactions transactions;
  CDeviceQueue queue;
  CPropertyReader reader;
  CPropertyWriter writer;
  CWhereabouts whereabouts;
  CProfileReader profileReader;
  CSilence silence;
  CDiscovery discovery;
  CSubscriptions subscriptions;
  bool hasProfile = false;
  bool isAsking = false;  // for the profile
  io::TimePoint lastHeard{};
  io::TimePoint refusalsForgotten = timers.now();
  io::CTimer notFound;
};

CDeviceClient::Impl::Impl(CNetwork& networkUsed, io::CTimers& timersUsed, DeviceSettings settings)
    : network(networkUsed),
      timers(timersUsed),
      state{std::move(settings), {}, {}, {}},
      transactions(network, timers),
      queue(transactions),
      reader(timers, queue, state),
      writer(timers, queue, state),
      whereabouts(timers, state, [this] { probe(); }),
      profileReader(transactions, state, [this](std::uint32_t id) { whereabouts.tellStranger(id); }),
      silence(
          timers, [this] { probe(); }, [this] { tellSilence(); }),
      discovery(network, timers, state.settings, [this](const Station& station) { find(station); }),
      subscriptions(timers, queue, state, [this](std::vector<ReadItem> items) {
        reader.readAnew(std::move(items), timers.now() + kCompareEvery, [](const auto&) {});
      }) {
  state.profile.deviceId = state.settings.deviceId;
  state.profile.station = discovery.fixed();
  state.failure.kind = state.profile.station ? Failure::Kind::kSilent : Failure::Kind::kNotFound;
  transactions.onFree([this] { queue.pump(); });
  transactions.onOverdue([this](io::TimePoint since) {
    // A device that has been heard since the first repetition is there and does not answer this one.
    if (lastHeard < since + kTryInterval) return fallSilent(Failure::Kind::kSilent);
    judgeUnanswered(true);
    prepare();
  });
  reader.setCache([this](const PropertyAddress& address) { return subscriptions.value(address); });
  reader.onValue(
      [this](const PropertyAddress& address, const Values* values) { subscriptions.onRead(address, values); });
  writer.onWrite([this](const ObjectId& object) {
    reader.forget(object);
    subscriptions.drop(object);
  });
}

/// Brings the client nearer to an open queue, by one step.
void CDeviceClient::Impl::prepare() {
  if (queue.isOpen() || silence.isOn()) return;
  if (!state.profile.station) {
    if (discovery.isSearching()) return;
    discovery.search();
    notFound = timers.after(kOverdueAfter, [this] { fallSilent(Failure::Kind::kNotFound); });
  } else if (hasProfile) {
    openQueue();
  } else if (!std::exchange(isAsking, true)) {
    profileReader.read([this] {
      isAsking = false;
      hasProfile = true;
      if (isRefused(state.profile.services, kReadMultipleBit)) reader.limit().refuse();
      if (isRefused(state.profile.services, kWriteMultipleBit)) writer.limit().refuse();
      openQueue();
    });
  }
}

void CDeviceClient::Impl::openQueue() {
  const bool takesSegments =
      state.profile.segmentation == Segmentation::kBoth || state.profile.segmentation == Segmentation::kReceive;
  const bool isFast = state.profile.maxApdu >= kOwnMaxApdu && !state.isRouted();
  queue.open(Peer{*state.profile.station, state.largestApdu(), takesSegments}, isFast ? 2 : 1);
}

void CDeviceClient::Impl::heard(bool hasSaidIAm) {
  lastHeard = timers.now();
  subscriptions.heard(lastHeard);
  if (silence.isOn()) endSilence(hasSaidIAm);
  whereabouts.endDoubt();
}

/// What says I-Am after a silence, however short, may have been restarted.
void CDeviceClient::Impl::endSilence(bool hasSaidIAm) {
  const auto ended = silence.end();

  const bool wasThere = ended == CSilence::Ended::kAtOnce;
  judgeUnanswered(wasThere);
  state.profile.isSilent = false;
  if (!wasThere && state.failure.kind != Failure::Kind::kNotFound) state.tell(deviceText(state) + " answers again");
  state.failure = {};
  discovery.stop();
  prepare();
  if (wasThere && !hasSaidIAm) {
    subscriptions.resume();
  } else {
    forgetRefusals();
    subscriptions.renewAll();
  }
}

void CDeviceClient::Impl::forgetRefusals() {
  refusalsForgotten = timers.now();
  reader.limit().forgetRefusal();
  writer.limit().forgetRefusal();
}

/// A device that was there all the time takes no batch of that size, and does not say more of itself.
void CDeviceClient::Impl::judgeUnanswered(bool wasThere) {
  reader.limit().judge(wasThere);
  writer.limit().judge(wasThere);
  if (!std::exchange(isAsking, false)) return;
  profileReader.stop();
  hasProfile = wasThere;
}

void CDeviceClient::Impl::fallSilent(Failure::Kind kind) {
  if (silence.isOn()) return;
  profileReader.stop();
  queue.close();
  state.profile.isSilent = true;
  state.failure.kind = kind;
  silence.begin();
  queue.failAll(state.failure);
}

void CDeviceClient::Impl::giveUp(Failure::Kind failure, Answer::Kind answer) {
  fallSilent(failure);
  transactions.failAll(answer);
}

void CDeviceClient::Impl::probe() {
  if (!state.profile.station) return;
  Request request;
  request.service = ConfirmedService::kReadProperty;
  request.data = encode(ReadPropertyRequest{deviceObject(state), {property::kObjectIdentifier, {}}});
  request.done = [](const Answer&) {};  // that it was heard is enough
  transactions.start(Peer{*state.profile.station}, std::move(request), CTransactions::Tries::kOnce);
}

void CDeviceClient::Impl::tellSilence() {
  const bool isLost = state.failure.kind == Failure::Kind::kNotFound;
  state.tell(deviceText(state) + (isLost ? " is not found" : " does not answer"));
  discovery.search();
}

void CDeviceClient::Impl::find(const Station& station) {
  if (state.profile.station == station) return;
  const bool isMove = state.profile.station.has_value();
  const std::string before = deviceText(state);
  state.profile.station = station;
  notFound.cancel();
  discovery.stop();
  whereabouts.drop();
  profileReader.stop();
  isAsking = false;
  queue.close();
  state.tell(isMove ? before + " has moved to " + stationText(station) : deviceText(state) + " is found");
  if (silence.isOn()) endSilence(true);
  state.failure = {};
  transactions.moveTo(station);
  prepare();
  if (isMove) subscriptions.renewAll();
}

void CDeviceClient::Impl::applyIAm(const IAm& answer) {
  state.profile.deviceId = answer.device;
  state.profile.maxApdu = usableApdu(answer.maxApdu);
  state.profile.segmentation = answer.segmentation;
  state.profile.vendor = answer.vendor;
  hasProfile = true;
  isAsking = false;
  profileReader.stop();
}

void CDeviceClient::Impl::onIAm(const Incoming& from, const IAm& answer) {
  const bool isHere = isFromDevice(from);
  const auto& expected = state.settings.deviceId;
  if (expected && *expected != answer.device) {
    if (isHere) subscriptions.onIAm();
    if (isHere) whereabouts.tellStranger(answer.device);
    return;
  }
  if (!isHere && (!expected || !discovery.mayBeAt(from.station))) return;
  if (!isHere && state.profile.station && !silence.isOn()) {
    return whereabouts.considerMove(from.station, [this, place = from.station, answer] {
      applyIAm(answer);
      find(place);
      subscriptions.onIAm();
    });
  }
  applyIAm(answer);
  find(from.station);
  heard(true);
  openQueue();  // it may take more than it did
  subscriptions.onIAm();
}

void CDeviceClient::Impl::onUnconfirmed(const Incoming& from, const UnconfirmedRequest& request) {
  if (request.service == UnconfirmedService::kIAm) {
    if (const auto answer = parseIAm(request.data)) onIAm(from, *answer);
  } else if (request.service == UnconfirmedService::kUnconfirmedCovNotification && isFromDevice(from)) {
    if (const auto notification = parseCovNotification(request.data)) subscriptions.onNotification(*notification);
  }
}

/// What the device asks of us: the notifications that it wants acknowledged, nothing else.
void CDeviceClient::Impl::onConfirmed(const Incoming& from, const ConfirmedRequest& request) {
  Apdu answer = RejectPdu{request.invokeId, reject_reason::kUnrecognizedService};
  if (request.segment) {
    answer = AbortPdu{request.invokeId, true, abort_reason::kSegmentationNotSupported};
  } else if (request.service == ConfirmedService::kConfirmedCovNotification && !answerNotification(request, answer)) {
    return;
  }
  network.send(from.station, answer, false);
}

/// Result: false if it is for another process, which may be another program's: none of ours to answer.
bool CDeviceClient::Impl::answerNotification(const ConfirmedRequest& request, Apdu& answer) {
  const auto notification = parseCovNotification(request.data);
  if (!notification) {
    answer = RejectPdu{request.invokeId, reject_reason::kInvalidTag};
    return true;
  }
  if (notification->process != state.settings.process) return false;
  if (subscriptions.knows(notification->object)) {
    subscriptions.onNotification(*notification);
    answer = SimpleAck{request.invokeId, request.service};
    return true;
  }
  static const std::string kUnknown =
      encodeError(ConfirmedService::kConfirmedCovNotification,
                  ErrorReply{{error_class::kServices, error_code::kUnknownSubscription}, {}});
  answer = ErrorPdu{request.invokeId, request.service, kUnknown};
  return true;
}

void CDeviceClient::Impl::onRouterSays(const Incoming& from, const NetworkMessage& message) {
  if (!state.isRouted() || from.datagramFrom != state.profile.station->address) return;
  const std::uint16_t deviceNetwork = state.profile.station->remote->network;
  switch (static_cast<NetworkMessageType>(message.type)) {
    case NetworkMessageType::kRejectMessageToNetwork: {
      const auto rejected = parseRejectedMessage(message.data);
      if (!rejected || rejected->network != deviceNetwork) return;
      if (rejected->reason == kMessageTooLong) return transactions.failAll(Answer::Kind::kTooLong);
      return giveUp(Failure::Kind::kUnreachable, Answer::Kind::kUnreachable);
    }
    case NetworkMessageType::kRouterBusyToNetwork: {
      const auto networks = parseNetworks(message.data);
      if (!networks) return;
      const bool isOurs =
          networks->empty() || std::find(networks->begin(), networks->end(), deviceNetwork) != networks->end();
      if (isOurs) giveUp(Failure::Kind::kUnreachable, Answer::Kind::kUnreachable);
      return;
    }
    default:
      return;
  }
}

CDeviceClient::CDeviceClient(CNetwork& network, io::CTimers& timers, DeviceSettings settings)
    : impl_(std::make_unique<Impl>(network, timers, std::move(settings))) {}

CDeviceClient::~CDeviceClient() = default;

void CDeviceClient::onEvent(EventHandler handler) {
  impl_->state.event = std::move(handler);
}

void CDeviceClient::start() {
  if (impl_->timers.now() - impl_->refusalsForgotten >= kRefusedFor) impl_->forgetRefusals();
  impl_->prepare();
}

const DeviceProfile& CDeviceClient::profile() const {
  DeviceProfile& profile = impl_->state.profile;
  profile.readBatch = impl_->reader.limit().isKnown() ? impl_->reader.limit().most() : 0;
  profile.writeBatch = impl_->writer.limit().isKnown() ? impl_->writer.limit().most() : 0;
  return profile;
}

void CDeviceClient::read(std::vector<ReadItem> items, io::TimePoint deadline,
                         std::function<void(std::vector<ReadOutcome>)> done) {
  impl_->silence.wanted();
  impl_->prepare();
  impl_->reader.read(std::move(items), deadline, std::move(done));
}

void CDeviceClient::readAnew(std::vector<ReadItem> items, io::TimePoint deadline,
                             std::function<void(std::vector<ReadOutcome>)> done) {
  impl_->silence.wanted();
  impl_->prepare();
  for (const ReadItem& each : items) impl_->reader.forget(each.address.object);
  impl_->reader.readAnew(std::move(items), deadline, std::move(done));
}

void CDeviceClient::write(std::vector<WriteItem> items, io::TimePoint deadline,
                          std::function<void(std::vector<WriteOutcome>)> done) {
  impl_->silence.wanted();
  impl_->prepare();
  impl_->writer.write(std::move(items), deadline, std::move(done));
}

const Values* CDeviceClient::told(const PropertyAddress& address) const {
  return impl_->subscriptions.value(address);
}

std::size_t CDeviceClient::countInOneRead(const std::vector<ReadItem>& items) const {
  return impl_->reader.countInOne(items);
}

void CDeviceClient::subscribe(ObjectId object, bool confirmed) {
  impl_->prepare();
  impl_->subscriptions.add(object, confirmed);
}

void CDeviceClient::onApdu(const Incoming& from, const Apdu& apdu) {
  const bool isFromDevice = impl_->isFromDevice(from);
  const auto* unconfirmed = std::get_if<UnconfirmedRequest>(&apdu);
  if (isFromDevice) impl_->heard(unconfirmed && unconfirmed->service == UnconfirmedService::kIAm);
  if (unconfirmed) {
    impl_->onUnconfirmed(from, *unconfirmed);
  } else if (const auto* confirmed = std::get_if<ConfirmedRequest>(&apdu)) {
    if (isFromDevice && !from.isBroadcast) impl_->onConfirmed(from, *confirmed);
  } else if (isFromDevice) {
    impl_->transactions.take(from, apdu);
  }
}

void CDeviceClient::onMessage(const Incoming& from, const NetworkMessage& message) {
  if (message.type == static_cast<std::uint8_t>(NetworkMessageType::kIAmRouterToNetwork)) {
    if (const auto networks = parseNetworks(message.data)) impl_->discovery.onRouter(from.station.address, *networks);
  } else {
    impl_->onRouterSays(from, message);
  }
}

void CDeviceClient::onRefused(const io::Address& to) {
  const auto& station = impl_->state.profile.station;
  // A refusal that comes when nothing is waited for says nothing of the next request.
  if (station && station->address == to && impl_->transactions.underWay() > 0) {
    impl_->giveUp(Failure::Kind::kSilent, Answer::Kind::kRefused);
  }
}

}  // namespace bacnet
