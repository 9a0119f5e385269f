#include "helper/source/bacnet_connection.h"

#include <fmt/format.h>

#include <utility>

namespace helper {

namespace {

// A foreign device's entry at its BBMD, and how often it is made anew.
constexpr std::uint16_t kSecondsToLive = 60;
constexpr std::chrono::seconds kRegisterAgain{30};
constexpr std::chrono::seconds kFirstResult{10};
constexpr std::chrono::seconds kNextResult{70};  // with two of them lost

}  // namespace

CBacnetSource::Connection::Connection(std::unique_ptr<io::CDatagrams> opened, io::CTimers& clock,
                                      const LinkSettings& settings, bool hasOwnPort, const Log& logged)
    : log(logged),
      timers(clock),
      bbmd(settings.bbmd),
      sockets(std::move(opened)),
      network(*sockets, timers),
      client(network, timers, settings.device) {
  client.onEvent(log);
  const auto fixed = hasOwnPort ? settings.device.station : std::nullopt;
  network.onApdu([this, fixed](const bacnet::Incoming& from, const bacnet::Apdu& apdu) {
    if (!fixed || from.isBroadcast || from.station.address == fixed->address) return client.onApdu(from, apdu);
    bacnet::Incoming device = from;
    device.station.address = fixed->address;
    client.onApdu(device, apdu);
  });
  network.onMessage(
      [this](const bacnet::Incoming& from, const bacnet::NetworkMessage& message) { client.onMessage(from, message); });
  sockets->onRefused([this](const io::Address& to) { client.onRefused(to); });
  if (!settings.bbmd) return;

  network.onResult([this](const io::Address& from, std::uint16_t result) {
    if (from == bbmd) onRegistered(result);
  });
  network.registerForeignDevice(*bbmd, kSecondsToLive, kRegisterAgain);
  expectResult(kFirstResult);
}

// Said when it changes only: it is answered twice a minute.
void CBacnetSource::Connection::onRegistered(std::uint16_t result) {
  expectResult(kNextResult);
  if (std::exchange(lastResult, result) == result) return;
  log(result == 0 ? fmt::format("the BBMD {} takes the registration again", io::addressText(*bbmd))
                  : fmt::format("the BBMD {} refuses: result 0x{:04x}", io::addressText(*bbmd), result));
}

void CBacnetSource::Connection::expectResult(io::Duration within) {
  resultLacks = timers.after(within, [this] {
    lastResult.reset();
    log(fmt::format("the BBMD {} does not answer to the registration", io::addressText(*bbmd)));
  });
}

}  // namespace helper
