#include "helper/source/bacnet_connection.h"

#include <fmt/format.h>

#include <utility>

namespace helper {

namespace {

// A foreign device's entry at its BBMD, and how often it is made anew.
constexpr std::uint16_t kSecondsToLive = 60;
constexpr std::chrono::seconds kRegisterAgain{30};

}  // namespace

CBacnetSource::Connection::Connection(std::unique_ptr<io::CDatagrams> opened, io::CTimers& timers,
                                      const LinkSettings& settings, bool hasOwnPort, const Log& log)
    : sockets(std::move(opened)), network(*sockets, timers), client(network, timers, settings.device) {
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

  // Said when it changes only: it is answered twice a minute.
  network.onResult(
      [log, bbmd = *settings.bbmd, last = std::uint16_t{0}](const io::Address& from, std::uint16_t result) mutable {
        if (!(from == bbmd) || result == std::exchange(last, result)) return;
        log(result == 0 ? fmt::format("the BBMD {} takes the registration again", io::addressText(from))
                        : fmt::format("the BBMD {} refuses: result 0x{:04x}", io::addressText(from), result));
      });
  network.registerForeignDevice(*settings.bbmd, kSecondsToLive, kRegisterAgain);
}

}  // namespace helper
