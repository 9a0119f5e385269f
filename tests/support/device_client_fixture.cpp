#include "support/device_client_fixture.h"

#include "bacnet/codec/describe.h"

namespace test {

using namespace bacnet;

namespace {

std::string textOf(const Failure& failure) {
  switch (failure.kind) {
    case Failure::Kind::kSilent:
      return "silent";
    case Failure::Kind::kNotFound:
      return "not found";
    case Failure::Kind::kError:
      return "error " + std::to_string(failure.error.errorCode);
    case Failure::Kind::kReject:
      return "reject " + std::to_string(failure.reason);
    case Failure::Kind::kAbort:
      return "abort " + std::to_string(failure.reason);
    case Failure::Kind::kUnreachable:
      return "unreachable";
    case Failure::Kind::kUndecodable:
      return "undecodable";
    case Failure::Kind::kTooLong:
      return "too long";
  }
  return "?";
}

template <typename Outcome, typename Call>
std::vector<std::string> outcomesOf(io::CFakeClock& clock, io::Duration within, int& took, const Call& call) {
  std::vector<std::string> texts;
  int answers = 0;
  const auto start = clock.now();
  call(start + within, [&](const std::vector<Outcome>& outcomes) {
    ++answers;
    for (const auto& outcome : outcomes) texts.push_back(text(outcome));
  });
  clock.runUntil([&] { return answers > 0; }, within);
  clock.settle();
  took = static_cast<int>(std::chrono::duration_cast<milliseconds>(clock.now() - start).count());
  EXPECT_EQ(answers, 1);
  return texts;
}

}  // namespace

std::string text(const ReadOutcome& outcome) {
  const auto* failure = std::get_if<Failure>(&outcome);
  return failure ? textOf(*failure) : describe(std::get<Values>(outcome));
}

std::string text(const WriteOutcome& outcome) {
  return outcome ? textOf(*outcome) : "written";
}

DeviceClient::DeviceClient() {
  net.addBroadcastAddress(kBroadcast.ip);
  for (std::uint32_t i = 0; i < 1000; ++i) device.set(analog(i), static_cast<float>(i));
  network.onApdu([this](const Incoming& from, const Apdu& apdu) { client->onApdu(from, apdu); });
  network.onMessage([this](const Incoming& from, const NetworkMessage& message) { client->onMessage(from, message); });
  socket->onRefused([this](const io::Address& to) { client->onRefused(to); });
}

void DeviceClient::make(const std::function<void(DeviceSettings&)>& change) {
  DeviceSettings settings;
  settings.deviceId = kDeviceId;
  settings.station = Station{kDevice, {}};
  settings.broadcast = kBroadcast;
  change(settings);
  client = std::make_unique<CDeviceClient>(network, clock, settings);
  client->onEvent([this](const std::string& line) { events.push_back(line); });
  client->start();
  clock.advance(milliseconds(100));
  device.asked.clear();
  net.forget();
  events.clear();
  made = clock.now();
}

std::vector<std::string> DeviceClient::read(std::vector<ReadItem> items, milliseconds within) {
  return outcomesOf<ReadOutcome>(clock, within, took,
                                 [&](auto deadline, auto done) { client->read(std::move(items), deadline, done); });
}

std::vector<std::string> DeviceClient::write(std::vector<WriteItem> items, milliseconds within) {
  return outcomesOf<WriteOutcome>(clock, within, took,
                                  [&](auto deadline, auto done) { client->write(std::move(items), deadline, done); });
}

void DeviceClient::loseRequests(int n) {
  net.setScript([n](const io::CFakeNetwork::Datagram& datagram) mutable {
    io::CFakeNetwork::Fate fate;
    if (datagram.to == kDevice && n-- > 0) fate.delays.clear();
    return fate;
  });
}

void DeviceClient::delayAnswers(int ms) {
  net.setScript([ms](const io::CFakeNetwork::Datagram& datagram) {
    return io::CFakeNetwork::Fate{{milliseconds(datagram.from == kDevice ? ms : 1)}};
  });
}

int DeviceClient::now() const {
  return static_cast<int>(std::chrono::duration_cast<milliseconds>(clock.now() - made).count());
}

}  // namespace test
